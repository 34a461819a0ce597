#pragma once

#include <QtGlobal>

#include <functional>

// An open file's bytes mapped read-only, so that a large file can be read once where it lies
// instead of being copied into the process first.
//
// Reading a page of the mapping after another process cut the file short raises SIGBUS; code
// that reads it runs inside `guarded`, which turns that into a false return.
class MappedFile
{
public:
    // Maps [0, size) of `fd`; not mapped when the system refuses (or size is 0).
    MappedFile(int fd, qint64 size);
    ~MappedFile();
    MappedFile(const MappedFile &) = delete;
    MappedFile &operator=(const MappedFile &) = delete;

    bool isMapped() const { return m_data != nullptr; }
    const char *data() const { return m_data; }
    qint64 size() const { return m_size; }

    // Lets go of the pages of [offset, offset + length) that were read: they stay in the system's
    // cache but no longer count in this process's memory. Read again, they come back.
    void release(qint64 offset, qint64 length) const;

    // Runs `read` and says whether it ran to its end: false when the file was cut short under it,
    // and `read` was left where it stood. So `read` must own nothing that needs destroying (its
    // results go to variables of the caller's), and it must not be nested.
    static bool guarded(const std::function<void()> &read);

private:
    const char *m_data = nullptr;
    qint64 m_size = 0;
};
