#pragma once

#include <QByteArray>
#include <QFileDevice>
#include <QString>

#include <optional>

// Files the program can always make again from the tasks file (wrapper scripts, job property
// lists, units). Each is written to a temporary file beside it and renamed over it, so a reader
// sees the old text or the new one, never half of either.
namespace GeneratedFile {

// `now` brings each file to disk before it replaces the old one. A batch of thousands writes with
// `later` and calls syncAll() once at its end: one sync instead of one per file, which on a
// journalling file system costs a commit each.
enum class Sync { now, later };

// Writes `bytes` to `path` with `permissions` (owner read and write when left out). Fails with
// "The file “PATH” could not be saved: " and the system's text; nothing is left behind then.
std::optional<QString> write(const QString &path, const QByteArray &bytes, Sync sync,
                             QFileDevice::Permissions permissions = {});

// Brings everything written with Sync::later to disk.
void syncAll();

} // namespace GeneratedFile
