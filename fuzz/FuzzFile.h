#pragma once

// One scratch file per fuzzer process: the readers under test take a path, so each input is
// written there first.
#include <QByteArray>
#include <QFile>
#include <QString>
#include <QTemporaryDir>

#include <cstdlib>

namespace FuzzFile {

inline QString write(const QByteArray &bytes, const QString &name)
{
    static QTemporaryDir dir;
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
