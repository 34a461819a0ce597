#include "platform/FolderLock.h"

#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace {

int openFolder(const QString &folder)
{
    return ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

// flock, again after a signal.
int lock(int fd, int operation)
{
    int result = 0;
    do {
        result = ::flock(fd, operation);
    } while (result != 0 && errno == EINTR);
    return result;
}

} // namespace

FolderLock::~FolderLock()
{
    if (m_fd >= 0) {
        ::close(m_fd); // closing the last descriptor releases the lock
    }
}

FolderLock::FolderLock(FolderLock &&other) noexcept : m_fd(other.m_fd)
{
    other.m_fd = -1;
}

FolderLock &FolderLock::operator=(FolderLock &&other) noexcept
{
    if (this != &other) {
        if (m_fd >= 0) {
            ::close(m_fd);
        }
        m_fd = other.m_fd;
        other.m_fd = -1;
    }
    return *this;
}

FolderLock FolderLock::take(const QString &folder)
{
    const int fd = openFolder(folder);
    if (fd < 0) {
        return {};
    }
    if (lock(fd, LOCK_EX) != 0) {
        ::close(fd);
        return {};
    }
    return FolderLock(fd);
}
