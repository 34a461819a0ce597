#pragma once

#include <QString>

#include <chrono>

// The advisory locks (flock) that let the app and the moxley tool change one tasks file.
//
// The write lock, on ".tasks.json.lock" beside the file, is held only around read -> apply one
// change -> atomic write, never across a prompt or a launchctl call; its holder writes
// "PID NAME" into it, so a writer that waits too long can say who holds it.
//
// The change lock, on ".tasks.json.changing", is held shared by every writer from the start of a
// change (a job may be installed before its task is saved) to its save. The stray-job sweep runs
// only when it can take it exclusively at once: a job with no task in the file is then truly a
// stray, never one whose task is about to be written.
class TasksFileLock
{
public:
    static constexpr std::chrono::milliseconds defaultWait{5000};

    enum class Kind { write, change, sweep };

    TasksFileLock() = default;
    ~TasksFileLock();
    TasksFileLock(TasksFileLock &&other) noexcept;
    TasksFileLock &operator=(TasksFileLock &&other) noexcept;
    TasksFileLock(const TasksFileLock &) = delete;
    TasksFileLock &operator=(const TasksFileLock &) = delete;

    // write and change wait up to `wait`; sweep never waits.
    static TasksFileLock take(Kind kind, const QString &tasksFile, std::chrono::milliseconds wait = defaultWait);

    bool held() const { return m_fd >= 0; }
    // Another process held it for the whole wait. Not busy and not held: the lock file could not
    // be opened (a read-only folder), and the caller goes on alone.
    bool busy() const { return !m_busyText.isEmpty(); }
    // "the tasks file is locked by process 123 (moxley)"
    const QString &busyText() const { return m_busyText; }

    static QString lockFilePath(Kind kind, const QString &tasksFile);

private:
    explicit TasksFileLock(int fd) : m_fd(fd) {}
    int m_fd = -1;
    QString m_busyText;
};
