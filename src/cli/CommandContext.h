#pragma once

#include "model/JobScheduler.h"
#include "model/ScheduledTask.h"

#include <QList>
#include <QString>
#include <QTextStream>

#include <memory>
#include <optional>

// What a command reads and writes through: the two output streams (tests swap them for
// buffers) and the tasks file.
class CommandContext
{
public:
    CommandContext(QTextStream &out, QTextStream &err) : out(out), err(err) {}

    QTextStream &out;
    QTextStream &err;
    // Set while a command runs, for its usage hints.
    QString commandName;

    // "moxley: MESSAGE" on standard error; returns 1.
    int fail(const QString &message);
    // "moxley: MESSAGE" and a hint to --help; returns 2.
    int usageError(const QString &message);
    // "moxley: notice: TEXT"; leaves the exit status alone.
    void notice(const QString &text);

    // The tasks, read as the app reads them. A missing file is an empty list; a file that cannot
    // be read prints "moxley: Failed to load tasks: DESCRIPTION" and gives nothing.
    std::optional<QList<ScheduledTask>> loadTasks();

    // The scheduler chosen at start-up (SchedulerChoice), over the default folders; made on first use.
    // Cli::run has already refused an unknown MOXLEY_SCHEDULER.
    std::shared_ptr<JobScheduler> scheduler();

    // Finds TASK by full id, unique id prefix of 4 or more characters, or unique name; prints the
    // failure and gives nothing when there is no single match.
    std::optional<ScheduledTask> findTask(const QList<ScheduledTask> &tasks, const QString &query);
    // Both of the above: the one task that `query` names in the tasks file.
    std::optional<ScheduledTask> loadTask(const QString &query);

private:
    std::shared_ptr<JobScheduler> m_scheduler;
};
