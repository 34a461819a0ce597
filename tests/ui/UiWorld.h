#pragma once

#include "Sandbox.h"
#include "StandInTool.h"
#include "launchd/PmsetService.h"
#include "model/TaskMigration.h"
#include "store/TaskStore.h"
#include "ui/MessageBox.h"

#include <QApplication>
#include <QDir>
#include <QtTest>

#include <memory>

// A sandbox with stand-in launchctl, pmset and osascript, and the real store over it: the world
// the widget tests drive.
class UiWorld
{
public:
    UiWorld()
        : launchctl(sandbox, QStringLiteral("/bin/launchctl")), pmset(sandbox, QStringLiteral("/usr/bin/pmset")),
          osascript(sandbox, QStringLiteral("/usr/bin/osascript"))
    {
        MessageBox::clearHistory();
    }
    ~UiWorld()
    {
        // An answer a test queued but never used must not leak into the next test.
        MessageBox::clearPendingAnswers();
    }

    // 5 March 2025, 14:30 UTC: a Wednesday.
    static QDateTime now() { return QDateTime(QDate(2025, 3, 5), QTime(14, 30), QTimeZone::utc()); }

    std::unique_ptr<TaskStore> openStore() const
    {
        TaskStore::Options options;
        options.tasksFile = sandbox.tasksFile();
        options.pmsetService = std::make_shared<PmsetService>([] { return now(); });
        return std::make_unique<TaskStore>(std::move(options));
    }

    void writeTasks(const QList<ScheduledTask> &tasks) const { sandbox.writeTasksFile(TaskMigration::encode(tasks)); }

    static ScheduledTask task(const QString &name, const QString &command,
                              const TaskSchedule &schedule = TaskSchedule::daily({{9, 0}}), bool enabled = false)
    {
        ScheduledTask task;
        task.id = QUuid::createUuid();
        task.name = name;
        task.command = command;
        task.schedule = schedule;
        task.isEnabled = enabled;
        return task;
    }

    // A job property list in one of the three job folders of the sandbox.
    void writeJob(const QString &folder, const QString &label, const QByteArray &extraKeys = {}) const
    {
        const QByteArray xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
                               "<key>Label</key><string>" +
                               label.toUtf8() + "</string>" + extraKeys + "</dict></plist>\n";
        Sandbox::writeFile(folder % u'/' % label % u".plist", xml);
    }
    QString globalAgentsDir() const { return sandbox.sysroot() % u"/Library/LaunchAgents"; }
    QString globalDaemonsDir() const { return sandbox.sysroot() % u"/Library/LaunchDaemons"; }

    Sandbox sandbox;
    StandInTool launchctl;
    StandInTool pmset;
    StandInTool osascript;
};

// The visible widget of that type and name under `root` (rebuilt rows leave hidden ones behind
// until the event loop deletes them).
template <typename T> T *visibleChild(const QWidget *root, const QString &name = {})
{
    for (T *child : root->findChildren<T *>(name)) {
        if (child->isVisibleTo(root->window())) {
            return child;
        }
    }
    return nullptr;
}

inline void flushDeletes()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::processEvents();
}
