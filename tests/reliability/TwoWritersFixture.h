#pragma once

#include "Sandbox.h"
#include "SessionBus.h"
#include "StandInTool.h"
#include "app/TasksFileWatcher.h"
#include "launchd/PmsetService.h"
#include "model/TaskMigration.h"
#include "store/TaskStore.h"

#include <QDir>
#include <QProcess>
#include <QtTest>

#include <memory>

// A moxley tool started and left running.
struct ToolRun {
    QStringList arguments;
    std::shared_ptr<QProcess> process;
};

// What the two-writers tests share: the app's side (a store with its notice and watcher, as the
// app wires them) and the tool's (the real moxley, started in the same sandbox).
class TwoWritersFixture : public QObject
{
protected:
    // Set up per test function: a bus (when the notice is on), the sandbox with stand-in
    // launchctl and pmset, and the store with the watcher, as the app wires them.
    std::unique_ptr<SessionBus> bus;
    std::unique_ptr<Sandbox> sandbox;
    std::unique_ptr<StandInTool> launchctl;
    std::unique_ptr<StandInTool> pmset;
    std::unique_ptr<StandInTool> osascript;
    std::unique_ptr<TaskStore> store;
    std::unique_ptr<TasksFileWatcher> watcher;

    void open(bool notice, int watchDelayMs = 50, bool withStore = true)
    {
        if (notice) {
            bus = std::make_unique<SessionBus>();
            QVERIFY(bus->isValid());
        } else {
            // Then the tool has nowhere to post to, and only the watcher tells the store.
            qunsetenv("DBUS_SESSION_BUS_ADDRESS");
        }
        sandbox = std::make_unique<Sandbox>();
        launchctl = std::make_unique<StandInTool>(*sandbox, QStringLiteral("/bin/launchctl"));
        pmset = std::make_unique<StandInTool>(*sandbox, QStringLiteral("/usr/bin/pmset"));
        osascript = std::make_unique<StandInTool>(*sandbox, QStringLiteral("/usr/bin/osascript"));
        if (withStore) {
            startStore(notice, watchDelayMs);
        }
    }

    void startStore(bool notice, int watchDelayMs)
    {
        TaskStore::Options options;
        options.tasksFile = sandbox->tasksFile();
        options.pmsetService = std::make_shared<PmsetService>();
        options.changeNotice = notice ? ChangeNotice::system() : nullptr;
        store = std::make_unique<TaskStore>(options);
        if (watchDelayMs >= 0) {
            watcher = std::make_unique<TasksFileWatcher>(*store, watchDelayMs);
        }
    }

    QList<ScheduledTask> fileTasks() const
    {
        const TaskMigration::ReadResult read = TaskMigration::read(sandbox->readTasksFile());
        if (!read.ok()) {
            qWarning("tasks file does not read: %s", qPrintable(read.error->description));
        }
        return read.tasks;
    }

    // The store has taken in whatever the file now holds.
    bool storeCaughtUp() const { return store->fileContents() == sandbox->readTasksFile(); }

    // Plists present in LaunchAgents, as task ids.
    QSet<QUuid> installedJobs() const
    {
        QSet<QUuid> ids;
        const QStringList names =
            QDir(sandbox->launchAgentsDir()).entryList({QStringLiteral("com.moxley.task.*.plist")});
        for (QString name : names) {
            name.remove(QStringLiteral("com.moxley.task.")).remove(QStringLiteral(".plist"));
            ids.insert(QUuid::fromString(name));
        }
        return ids;
    }
    static QSet<QUuid> enabledIds(const QList<ScheduledTask> &tasks)
    {
        QSet<QUuid> ids;
        for (const ScheduledTask &task : tasks) {
            if (task.isEnabled) {
                ids.insert(task.id);
            }
        }
        return ids;
    }

    static ScheduledTask appTask(const QString &name, bool enabled)
    {
        ScheduledTask task;
        task.id = QUuid::createUuid();
        task.name = name;
        task.command = QStringLiteral("true");
        task.schedule = TaskSchedule::daily({{7, 0}});
        task.isEnabled = enabled;
        return task;
    }

    std::unique_ptr<QProcess> startTool(const QStringList &arguments) const
    {
        auto process = std::make_unique<QProcess>();
        process->setProcessEnvironment(sandbox->environment());
        process->start(QStringLiteral(MOXLEY_CLI_PATH), arguments);
        return process;
    }
    // Started now, running after `seconds`: for a tool that must work while the app is blocked.
    std::unique_ptr<QProcess> startToolAfter(double seconds, const QStringList &arguments) const
    {
        auto process = std::make_unique<QProcess>();
        process->setProcessEnvironment(sandbox->environment());
        process->start(QStringLiteral("/bin/sh"), QStringList{QStringLiteral("-c"),
                                                              QStringLiteral("sleep ") % QString::number(seconds) %
                                                                  QStringLiteral("; exec \"$0\" \"$@\""),
                                                              QStringLiteral(MOXLEY_CLI_PATH)} +
                                                      arguments);
        return process;
    }
    // Waits with the event loop running, so notices and the watcher do their work meanwhile.
    static bool waitForAll(const QList<ToolRun> &runs, int timeoutMs = 60000)
    {
        return QTest::qWaitFor(
            [&] {
                for (const ToolRun &run : runs) {
                    if (run.process->state() != QProcess::NotRunning) {
                        return false;
                    }
                }
                return true;
            },
            timeoutMs);
    }
    static QString describe(const ToolRun &run)
    {
        return u"moxley " % run.arguments.join(u' ') % u": exit " % QString::number(run.process->exitCode()) % u", " %
               QString::fromUtf8(run.process->readAllStandardError());
    }
};
