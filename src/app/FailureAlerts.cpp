#include "app/FailureAlerts.h"

#include "platform/AppSettings.h"
#include "platform/DesktopNotifier.h"
#include "store/FailureAlert.h"
#include "store/TaskStore.h"
#include "ui/Icons.h"

#include <QSystemTrayIcon>

FailureAlerts::FailureAlerts(TaskStore &store, int pollMs, QObject *parent)
    : QObject(parent), m_store(store), m_watcher(200, pollMs)
{
#ifdef Q_OS_MACOS
    m_tray = new QSystemTrayIcon(Icons::appIcon(), this);
    connect(m_tray, &QSystemTrayIcon::messageClicked, this, [this] {
        if (!m_lastTrayTask.isNull()) {
            Q_EMIT showTaskRequested(m_lastTrayTask);
        }
    });
#else
    m_notifier = new DesktopNotifier(this);
    connect(m_notifier, &DesktopNotifier::clicked, this, [this](quint32 id) {
        if (const auto task = m_posted.constFind(id); task != m_posted.cend()) {
            Q_EMIT showTaskRequested(*task);
        }
    });
    connect(m_notifier, &DesktopNotifier::closed, this, [this](quint32 id) { m_posted.remove(id); });
#endif
    connect(&m_watcher, &RunsWatcher::runFinished, this, &FailureAlerts::runFinished);
    connect(&m_store, &TaskStore::tasksChanged, this, &FailureAlerts::followTasks);
    followTasks();
}

FailureAlerts::~FailureAlerts() = default;

void FailureAlerts::followTasks()
{
    QHash<QUuid, QString> files;
    for (const ScheduledTask &task : m_store.tasks()) {
        files.insert(task.id, m_store.launchdService().runsPath(task));
    }
    m_watcher.setFiles(files);
}

void FailureAlerts::runFinished(const QUuid &id, const TaskRunRecord &run)
{
    const auto task = m_store.task(id);
    if (run.exitCode == 0 || !task || !AppSettings::alertsEnabled()) {
        return;
    }
    const FailureAlert::Text text = FailureAlert::forRun(*task, run, QTimeZone::systemTimeZone());
    if (m_notifier) {
        if (const auto posted = m_notifier->post({text.summary, text.body, true, 0})) {
            m_posted.insert(*posted, id);
        }
    } else if (m_tray) {
        // macOS shows the message as a notification of the app; the icon need not stay visible.
        m_tray->show();
        m_tray->showMessage(text.summary, text.body, QSystemTrayIcon::Warning);
        m_lastTrayTask = id;
    }
}
