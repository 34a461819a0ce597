#include "cli/ByteOutput.h"

#include <cerrno>

#if defined(Q_OS_LINUX)
#include <sys/sendfile.h>
#endif

qint64 ByteOutput::copyFromFile([[maybe_unused]] int fd, [[maybe_unused]] qint64 offset, [[maybe_unused]] qint64 length)
{
#if defined(Q_OS_LINUX)
    auto *file = qobject_cast<QFileDevice *>(m_device);
    if (!file || file->handle() < 0) {
        return 0;
    }
    flush();
    if (!file->flush()) {
        return 0;
    }
    off_t at = off_t(offset);
    qint64 copied = 0;
    while (copied < length) {
        // At most 1 GiB a call, which every kernel takes.
        const ssize_t sent = ::sendfile(file->handle(), fd, &at, size_t(std::min<qint64>(length - copied, 1 << 30)));
        if (sent <= 0) {
            if (sent < 0 && errno == EINTR) {
                continue;
            }
            break; // refused (the output takes no such copy) or the file ended early: the caller goes on
        }
        copied += sent;
    }
    return copied;
#else
    return 0;
#endif
}
