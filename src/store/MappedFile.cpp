#include "store/MappedFile.h"

#include <algorithm>
#include <csetjmp>
#include <csignal>
#include <limits>
#include <sys/mman.h>
#include <unistd.h>

namespace {

thread_local sigjmp_buf *t_cutShort = nullptr;

void onBusError(int signal)
{
    if (t_cutShort) {
        siglongjmp(*t_cutShort, 1);
    }
    // Not a read of ours: what the signal would have done without this handler.
    ::signal(signal, SIG_DFL);
    ::raise(signal);
}

} // namespace

MappedFile::MappedFile(int fd, qint64 size)
{
    if (fd < 0 || size <= 0 || quint64(size) > std::numeric_limits<size_t>::max()) {
        return;
    }
    void *at = ::mmap(nullptr, size_t(size), PROT_READ, MAP_SHARED, fd, 0);
    if (at == MAP_FAILED) {
        return;
    }
    ::madvise(at, size_t(size), MADV_SEQUENTIAL);
    m_data = static_cast<const char *>(at);
    m_size = size;
}

MappedFile::~MappedFile()
{
    if (m_data) {
        ::munmap(const_cast<char *>(m_data), size_t(m_size));
    }
}

void MappedFile::release(qint64 offset, qint64 length) const
{
    static const qint64 page = ::sysconf(_SC_PAGESIZE);
    const qint64 begin = (offset + page - 1) / page * page;
    const qint64 end = std::min(offset + length, m_size) / page * page;
    if (m_data && begin < end) {
        ::madvise(const_cast<char *>(m_data) + begin, size_t(end - begin), MADV_DONTNEED);
    }
}

bool MappedFile::guarded(const std::function<void()> &read)
{
    struct sigaction handler {
    };
    handler.sa_handler = onBusError;
    sigemptyset(&handler.sa_mask);
    struct sigaction previous {
    };
    ::sigaction(SIGBUS, &handler, &previous);
    sigjmp_buf cutShort;
    volatile bool finished = false;
    if (sigsetjmp(cutShort, 1) == 0) {
        t_cutShort = &cutShort;
        read();
        finished = true;
    }
    t_cutShort = nullptr;
    ::sigaction(SIGBUS, &previous, nullptr);
    return finished;
}
