#pragma once

#include <QtGlobal>

#include <cerrno>
#include <unistd.h>

// Reads exactly `size` bytes at `offset` of the open file `fd`, however pread splits them; false on
// an error or a file that ends first.
inline bool readFully(int fd, qint64 offset, char *into, qint64 size)
{
    while (size > 0) {
        const ssize_t got = ::pread(fd, into, size_t(size), off_t(offset));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return false;
        }
        into += got;
        offset += got;
        size -= got;
    }
    return true;
}
