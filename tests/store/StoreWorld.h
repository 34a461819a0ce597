#pragma once

#include "Sandbox.h"
#include "StandInTool.h"
#include "launchd/PmsetService.h"
#include "model/TaskMigration.h"
#include "store/TaskStore.h"

#include <QFileInfo>
#include <QRegularExpression>
#include <QtTest>

// A sandbox with stand-in launchctl, osascript and pmset, and the real store over it. Calls are
// read back in the order they happened across the three tools, in a short form:
// "load <ID>" / "unload <ID>" for launchctl (the id from the property list's name) and
// "wake <shell command>" for the administrator script.
class StoreWorld
{
public:
    StoreWorld()
        : launchctl(sandbox, QStringLiteral("/bin/launchctl")),
          osascript(sandbox, QStringLiteral("/usr/bin/osascript")), pmset(sandbox, QStringLiteral("/usr/bin/pmset"))
    {
    }

    // A fixed "now" for the one-time wake of monthly tasks: 1 March 2025, 10:00 local time.
    static QDateTime now() { return QDateTime(QDate(2025, 3, 1), QTime(10, 0)); }

    TaskStore::Options options() const
    {
        TaskStore::Options options;
        options.tasksFile = sandbox.tasksFile();
        options.pmsetService = std::make_shared<PmsetService>([] { return now(); });
        return options;
    }
    std::unique_ptr<TaskStore> open() const { return std::make_unique<TaskStore>(options()); }
    std::unique_ptr<TaskStore> open(TaskStore::Options custom) const
    {
        return std::make_unique<TaskStore>(std::move(custom));
    }

    void writeTasks(const QList<ScheduledTask> &tasks) const { sandbox.writeTasksFile(TaskMigration::encode(tasks)); }
    QList<ScheduledTask> savedTasks() const { return TaskMigration::read(sandbox.readTasksFile()).tasks; }

    // Calls from here on.
    void mark() { m_mark = StandInTool::allCalls(sandbox).size(); }
    QStringList calls() const
    {
        static const QRegularExpression script(
            QStringLiteral("^do shell script \"(.*)\" with administrator privileges$"),
            QRegularExpression::DotMatchesEverythingOption);
        QStringList out;
        const QList<QStringList> all = StandInTool::allCalls(sandbox);
        for (qsizetype i = m_mark; i < all.size(); ++i) {
            const QStringList &call = all.at(i);
            if (call.value(0) == u"launchctl") {
                // A batch loads many jobs in one call: "load ID1 ID2".
                QStringList names;
                for (const QString &path : call.mid(2)) {
                    names << QFileInfo(path)
                                 .fileName()
                                 .remove(QStringLiteral("com.moxley.task."))
                                 .remove(QStringLiteral(".plist"));
                }
                out << call.value(1) % u' ' % names.join(u' ');
            } else if (call.value(0) == u"osascript") {
                const QRegularExpressionMatch match = script.match(call.value(2));
                // Undo the AppleScript string escapes: a backslash takes the next character as it is.
                const QString escaped = match.captured(1);
                QString command;
                for (qsizetype c = 0; c < escaped.size(); ++c) {
                    if (escaped.at(c) == u'\\' && c + 1 < escaped.size()) {
                        ++c;
                    }
                    command += escaped.at(c);
                }
                out << (match.hasMatch() ? QString(u"wake " % command)
                                         : QString(u"osascript " % call.mid(1).join(u' ')));
            } else {
                out << call.join(u' ');
            }
        }
        return out;
    }

    static ScheduledTask task(const QString &name, const TaskSchedule &schedule, bool enabled = true, bool wake = false)
    {
        ScheduledTask task;
        task.id = QUuid::createUuid();
        task.name = name;
        task.command = u"echo " % name;
        task.schedule = schedule;
        task.isEnabled = enabled;
        task.wakeBeforeRun = wake;
        return task;
    }
    static QString daily(int hour, int minute) // the wake command of a daily task at that time
    {
        const TimeOfDay wake = *PmsetService::wakeTime({TimeOfDay{hour, minute}});
        return QString::asprintf("wake pmset repeat wakeorpoweron MTWRFSU %02d:%02d:00", wake.hour, wake.minute);
    }

    bool plistExists(const ScheduledTask &task) const { return QFileInfo::exists(LaunchdService().plistPath(task)); }
    bool scriptExists(const ScheduledTask &task) const { return QFileInfo::exists(LaunchdService().scriptPath(task)); }

    Sandbox sandbox;
    StandInTool launchctl;
    StandInTool osascript;
    StandInTool pmset;

private:
    qsizetype m_mark = 0;
};

// "load <ID>" and friends for a task.
inline QString load(const ScheduledTask &task)
{
    return u"load " % task.fullId();
}
inline QString unload(const ScheduledTask &task)
{
    return u"unload " % task.fullId();
}
