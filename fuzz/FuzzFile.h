#pragma once

// One scratch file per fuzzer process: the readers under test take a path, so each input is
// written there first.
#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QString>
#include <QTemporaryDir>

#include <cstdlib>

namespace FuzzFile {

// In memory where the system offers it (/dev/shm): a file written per input on a disk costs more
// than the code under test.
inline QString write(const QByteArray &bytes, const QString &name)
{
    static QTemporaryDir dir(QFileInfo(QStringLiteral("/dev/shm")).isWritable()
                                 ? QStringLiteral("/dev/shm/moxley-fuzz-XXXXXX")
                                 : QDir::tempPath() + QStringLiteral("/moxley-fuzz-XXXXXX"));
    if (!dir.isValid()) {
        std::abort();
    }
    const QString path = dir.filePath(name);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(bytes) != bytes.size()) {
        std::abort();
    }
    return path;
}

} // namespace FuzzFile
