#include "platform/GeneratedFile.h"

#include <QFile>
#include <QTemporaryFile>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace GeneratedFile {

namespace {

QString failure(const QString &path, const QString &reason)
{
    return QStringLiteral("The file “") + path + QStringLiteral("” could not be saved: ") + reason;
}

} // namespace

std::optional<QString> write(const QString &path, const QByteArray &bytes, Sync sync,
                             QFileDevice::Permissions permissions)
{
    // Beside the file, so the rename stays on one file system; the suffix keeps it out of every
    // sweep, which all look for whole names ending in .sh, .plist, .service or .timer.
    QTemporaryFile file(path + QStringLiteral(".XXXXXX"));
    if (!file.open()) {
        return failure(path, file.errorString());
    }
    if (permissions == QFileDevice::Permissions{}) {
        permissions = QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadUser | QFileDevice::WriteUser;
    }
    if (file.write(bytes) != bytes.size() || !file.flush()) {
        return failure(path, file.errorString());
    }
    if (!file.setPermissions(permissions)) {
        return failure(path, file.errorString());
    }
    if (sync == Sync::now && ::fsync(file.handle()) != 0) {
        return failure(path, QString::fromLocal8Bit(std::strerror(errno)));
    }
    // QFile::rename refuses to replace a file; the system's rename does so in one step.
    if (std::rename(QFile::encodeName(file.fileName()).constData(), QFile::encodeName(path).constData()) != 0) {
        return failure(path, QString::fromLocal8Bit(std::strerror(errno)));
    }
    file.setAutoRemove(false);
    return std::nullopt;
}

void syncAll()
{
    ::sync();
}

} // namespace GeneratedFile
