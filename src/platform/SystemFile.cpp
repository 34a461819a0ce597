#include "platform/SystemFile.h"

#include <QFile>

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// To its end, or nothing once it passes `limit` (it may have grown since it was looked at).
std::optional<QByteArray> readUpTo(int fd, qint64 limit)
{
    QByteArray bytes;
    char block[64 << 10];
    for (;;) {
        const ssize_t got = ::read(fd, block, sizeof block);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0 || bytes.size() + got > limit) {
            return std::nullopt;
        }
        if (got == 0) {
            return bytes;
        }
        bytes.append(block, got);
    }
}

} // namespace

std::optional<QByteArray> SystemFile::read(const QString &path, qint64 limit)
{
    const QByteArray name = QFile::encodeName(path);
    struct stat info {
    };
    // Looked at before it is opened: opening some devices does something by itself.
    if (::stat(name.constData(), &info) != 0 || !S_ISREG(info.st_mode) || info.st_size > limit) {
        return std::nullopt;
    }
    // Without blocking, should it have become a FIFO since.
    const int fd = ::open(name.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) {
        return std::nullopt;
    }
    std::optional<QByteArray> bytes;
    if (::fstat(fd, &info) == 0 && S_ISREG(info.st_mode)) {
        bytes = readUpTo(fd, limit);
    }
    ::close(fd);
    return bytes;
}
