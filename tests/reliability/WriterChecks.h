#pragma once

#include "model/ScheduledTask.h"
#include "model/TaskMigration.h"

#include <QByteArray>
#include <QDebug>
#include <QFile>
#include <QList>
#include <QString>
#include <QUuid>

#include <atomic>
#include <chrono>
#include <thread>

// What the writer tests check the tasks file with.

// What a check compares: a task's identity and the fields the writers here change.
struct Summary {
    QUuid id;
    QString name;
    bool enabled = false;
    friend bool operator==(const Summary &, const Summary &) = default;
};

inline QDebug operator<<(QDebug debug, const Summary &summary)
{
    return debug << summary.name << (summary.enabled ? "on" : "off");
}

inline QList<Summary> summarise(const QList<ScheduledTask> &tasks)
{
    QList<Summary> out;
    for (const ScheduledTask &task : tasks) {
        out << Summary{task.id, task.name, task.isEnabled};
    }
    return out;
}

// Reads the tasks file over and over on a thread of its own while the writers work.
class TasksFileReader
{
public:
    explicit TasksFileReader(QString path) : m_path(std::move(path))
    {
        m_thread = std::thread([this] { loop(); });
    }
    ~TasksFileReader() { stop(); }

    void stop()
    {
        m_stop = true;
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }
    int reads() const { return m_reads; }
    int broken() const { return m_broken; }
    QByteArray firstBroken() const { return m_firstBroken; }

private:
    void loop()
    {
        while (!m_stop) {
            QFile file(m_path);
            if (file.open(QIODevice::ReadOnly)) {
                const QByteArray bytes = file.readAll();
                const TaskMigration::ReadResult read = TaskMigration::read(bytes);
                // Whole means: it reads, and it is byte for byte what the writer makes of its tasks.
                if (!read.ok() || TaskMigration::encode(read.tasks) != bytes) {
                    if (m_broken++ == 0) {
                        m_firstBroken = bytes;
                    }
                }
                ++m_reads;
            }
            std::this_thread::sleep_for(std::chrono::microseconds(300));
        }
    }

    QString m_path;
    std::thread m_thread;
    std::atomic<bool> m_stop = false;
    std::atomic<int> m_reads = 0;
    std::atomic<int> m_broken = 0;
    QByteArray m_firstBroken;
};
