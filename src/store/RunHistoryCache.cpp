#include "store/RunHistoryCache.h"
#include "store/RunLineParser.h"
#include "store/RunsFileReader.h"
#include "store/Utf8Validator.h"

#include <QByteArray>

#include <algorithm>
#include <memory>

using namespace RunHistoryDetail;

namespace {

// A file rewritten in place but grown is told from one appended to by the bytes before the point
// read up to.
constexpr qint64 kGuardSize = 64;

// Where the last piece of [begin, end) starts: just after its last line feed, or `begin`.
std::optional<qint64> lastPieceStart(BlockFile &file, qint64 begin, qint64 end)
{
    qint64 start = begin;
    const bool read = file.forEachPieceBackward(begin, end, [&start](const char *, const char *, qint64 at) {
        start = at;
        return false;
    });
    return read ? std::optional(start) : std::nullopt;
}

} // namespace

struct RunHistoryCache::Entry {
    BlockFile::Identity identity;
    qint64 from = 0;
    qint64 to = 0;
    // The lines up to `committedEnd`, just after a line feed, are read for good; the piece after it
    // (a line still being written) is read again whenever the file changes.
    qint64 committedEnd = 0;
    bool committedUtf8 = true;
    QList<TaskRunRecord> committed;
    bool partialUtf8 = true;
    QList<TaskRunRecord> partial;
    QByteArray guard;
    bool used = true;

    QList<TaskRunRecord> answer() const
    {
        if (!committedUtf8 || !partialUtf8) {
            return {};
        }
        return partial.isEmpty() ? committed : committed + partial;
    }

    bool readGuard(BlockFile &file, QByteArray &into) const
    {
        const qint64 begin = std::max<qint64>(0, committedEnd - kGuardSize);
        into.resize(committedEnd - begin);
        return file.readAt(begin, into.data(), into.size());
    }

    // The piece after the committed lines, and the bytes before them.
    bool finish(BlockFile &file)
    {
        partial.clear();
        const qint64 size = file.size();
        partialUtf8 = isUtf8(file.handle(), committedEnd, size);
        if (partialUtf8 && size > committedEnd) {
            QByteArray piece(size - committedEnd, Qt::Uninitialized);
            if (!file.readAt(committedEnd, piece.data(), piece.size())) {
                return false;
            }
            DateCache<char> cache;
            const auto fields = parseFields(piece.constData(), piece.constData() + piece.size(), cache);
            if (fields && fields->startedAt >= from && fields->startedAt < to) {
                partial.append(makeRecord(*fields, QUuid::createUuid()));
            }
        }
        identity = file.identity();
        return readGuard(file, guard);
    }

    bool readWhole(BlockFile &file)
    {
        const auto end = lastPieceStart(file, file.textStart(), file.size());
        if (!end) {
            return false;
        }
        committedEnd = *end;
        auto runs = runsStartingIn(file, committedEnd, from, to);
        committedUtf8 = runs.has_value();
        committed = runs.value_or(QList<TaskRunRecord>());
        return finish(file);
    }

    // Reads only what was appended since; false when the file is not the same one grown.
    bool readAppended(BlockFile &file)
    {
        const BlockFile::Identity &now = file.identity();
        QByteArray before;
        if (now.device != identity.device || now.inode != identity.inode || now.size <= identity.size ||
            !readGuard(file, before) || before != guard) {
            return false;
        }
        const auto end = lastPieceStart(file, committedEnd, file.size());
        if (!end) {
            return false;
        }
        if (committedUtf8 && *end > committedEnd) {
            committedUtf8 = isUtf8(file.handle(), committedEnd, *end);
            IdSource ids;
            DateCache<char> cache;
            const bool read =
                committedUtf8 && file.forEachPiece(committedEnd, *end, [&](const char *b, const char *e, qint64) {
                    const auto fields = parseFields(b, e, cache);
                    if (fields && fields->startedAt >= from && fields->startedAt < to) {
                        committed.append(makeRecord(*fields, ids.next()));
                    }
                    return true;
                });
            if (committedUtf8 && !read) {
                return false;
            }
        }
        if (!committedUtf8) {
            committed.clear();
        }
        committedEnd = *end;
        return finish(file);
    }
};

QList<TaskRunRecord> RunHistoryCache::runsStartingBetween(const QString &runsPath, std::chrono::sys_seconds from,
                                                          std::chrono::sys_seconds to)
{
    const qint64 first = from.time_since_epoch().count();
    const qint64 last = to.time_since_epoch().count();
    std::shared_ptr<Entry> &entry = m_entries[runsPath];
    if (entry && entry->from == first && entry->to == last && entry->identity == BlockFile::identityOf(runsPath)) {
        entry->used = true;
        return entry->answer();
    }
    BlockFile file(runsPath);
    if (!file.isOpen()) {
        m_entries.remove(runsPath);
        return {};
    }
    if (entry && entry->from == first && entry->to == last && entry->readAppended(file)) {
        entry->used = true;
        return entry->answer();
    }
    auto fresh = std::make_shared<Entry>();
    fresh->from = first;
    fresh->to = last;
    if (!fresh->readWhole(file)) {
        m_entries.remove(runsPath);
        return {};
    }
    entry = fresh;
    return entry->answer();
}

void RunHistoryCache::dropUnused()
{
    for (auto it = m_entries.begin(); it != m_entries.end();) {
        if (!(*it)->used) {
            it = m_entries.erase(it);
        } else {
            (*it)->used = false;
            ++it;
        }
    }
}
