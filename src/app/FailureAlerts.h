#pragma once

#include "model/ScheduledTask.h"
#include "store/RunsWatcher.h"

#include <QHash>
#include <QObject>
#include <QUuid>

class DesktopNotifier;
class QSystemTrayIcon;
class TaskStore;

// The app's alerts: while it runs, a run of a task that ends with a non-zero status (a new line in
// its runs file) becomes a desktop notification naming the task and the status, unless the
// setting turns alerts off. Linux: the freedesktop Notifications service; macOS: the tray icon's
// message. A click asks for the task's detail.
class FailureAlerts : public QObject
{
    Q_OBJECT

public:
    // `pollMs`: the period of the runs watcher's poll, besides its file watches.
    explicit FailureAlerts(TaskStore &store, int pollMs = 30000, QObject *parent = nullptr);
    ~FailureAlerts() override;

Q_SIGNALS:
    void showTaskRequested(const QUuid &id);

private:
    void followTasks();
    void runFinished(const QUuid &id, const TaskRunRecord &run);

    TaskStore &m_store;
    RunsWatcher m_watcher;
    DesktopNotifier *m_notifier = nullptr;
    QSystemTrayIcon *m_tray = nullptr;
    QHash<quint32, QUuid> m_posted; // notification id -> task
    QUuid m_lastTrayTask;
};
