#pragma once

#include <QString>

// An exclusive advisory lock (flock) on a folder, held while the object lives. The tasks file's
// folder is locked rather than a lock file, so no file is left behind. Where the folder cannot be
// opened or locked, nothing is held and the caller goes on alone.
class FolderLock
{
public:
    FolderLock() = default;
    ~FolderLock();
    FolderLock(FolderLock &&other) noexcept;
    FolderLock &operator=(FolderLock &&other) noexcept;
    FolderLock(const FolderLock &) = delete;
    FolderLock &operator=(const FolderLock &) = delete;

    // Waits as long as another process holds the lock.
    static FolderLock take(const QString &folder);

    bool held() const { return m_fd >= 0; }

private:
    explicit FolderLock(int fd) : m_fd(fd) {}
    int m_fd = -1;
};
