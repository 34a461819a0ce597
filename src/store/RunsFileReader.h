#pragma once

#include "model/ScheduledTask.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <functional>
#include <optional>
#include <vector>

namespace RunHistoryDetail {

// Every good line of a runs file, in file order; empty when the file cannot be read or is not
// UTF-8.
QList<TaskRunRecord> readRunsFile(const QString &runsPath);

// The last line feed in [begin, end), or null.
const char *lastFeedIn(const char *begin, const char *end);
// How many line feeds [begin, end) holds.
qint64 feedsIn(const char *begin, const char *end);

// One line-feed-separated piece of a file: its bytes and where it starts. Returning false stops
// the walk.
using PieceVisitor = std::function<bool(const char *begin, const char *end, qint64 offset)>;

// An open file read in fixed blocks with pread, forwards or backwards, a piece at a time. Only a
// piece longer than a block is gathered whole, so memory follows the longest line, never the file.
// The size is taken once, at opening: what is appended later is left for the next reader.
class BlockFile
{
public:
    explicit BlockFile(const QString &path);
    ~BlockFile();
    BlockFile(const BlockFile &) = delete;
    BlockFile &operator=(const BlockFile &) = delete;

    // What tells one version of a file from another without reading it.
    struct Identity {
        quint64 device = 0;
        quint64 inode = 0;
        qint64 size = -1;
        qint64 modifiedNs = 0;
        bool operator==(const Identity &) const = default;
    };
    // Of the file at `path` now; size -1 when there is none.
    static Identity identityOf(const QString &path);

    bool isOpen() const { return m_fd >= 0; }
    const Identity &identity() const { return m_identity; }
    int handle() const { return m_fd; }
    qint64 size() const { return m_size; }
    // Where the text begins: after a byte-order mark at the very start, which is no text.
    qint64 textStart() const { return m_textStart; }

    // The pieces of [begin, end) in file order; `begin` must start a piece. The last one runs to
    // `end` (empty when the range ends with a line feed). False on a read error.
    bool forEachPiece(qint64 begin, qint64 end, const PieceVisitor &visit);
    // The same pieces, last first.
    bool forEachPieceBackward(qint64 begin, qint64 end, const PieceVisitor &visit);
    bool readAt(qint64 offset, char *into, qint64 size) const;

private:
    const char *gather(qint64 begin, qint64 end);

    int m_fd = -1;
    qint64 m_size = 0;
    Identity m_identity;
    qint64 m_textStart = 0;
    std::vector<char> m_block;
    std::vector<char> m_long; // a piece that spans blocks
};

// The records of the pieces of [textStart, end) whose start lies in [from, to) (seconds), in file
// order; `end` starts a piece. Nothing when the file cannot be read or [0, end) is not UTF-8.
std::optional<QList<TaskRunRecord>> runsStartingIn(BlockFile &file, qint64 end, qint64 from, qint64 to);

} // namespace RunHistoryDetail
