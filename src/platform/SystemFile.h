#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// A file of the system's configuration (a job's property list, a cron table, a unit file), read
// whole. Only a regular file counts, after symbolic links: a FIFO would block the reader, and a
// link to a device such as /dev/zero would never end. Nothing past `limit` bytes either.
namespace SystemFile {

inline constexpr qint64 kLimit = 4 << 20;

// The bytes; nothing when it is not a regular file, cannot be read or is longer than `limit`.
std::optional<QByteArray> read(const QString &path, qint64 limit = kLimit);

} // namespace SystemFile
