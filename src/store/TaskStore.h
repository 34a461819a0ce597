#pragma once

#include "launchd/LaunchdService.h"
#include "model/ScheduledTask.h"

#include <QObject>
#include <QSet>
#include <QString>

#include <memory>
#include <optional>

class PmsetServiceProtocol;
class ChangeNotice;

// The one owner of the task list. Every change goes through here: it saves at once, keeps the
// jobs and the wake schedule in step, and publishes failures as text. Main thread only.
class TaskStore : public QObject
{
    Q_OBJECT

public:
    enum class LogStream { standardOutput, standardError }; // the stdout and stderr logs

    struct Options {
        QString tasksFile;                 // default: AppPaths::tasksFile()
        LaunchdService launchdService;     // the store's own
        LaunchdService launchdServiceForViews;
        std::shared_ptr<PmsetServiceProtocol> pmsetService;
        std::shared_ptr<ChangeNotice> changeNotice; // may be null: no notices observed or posted
        bool resetTasks = false;           // "--reset-tasks"
    };
    // The app's and the moxley tool's defaults; `arguments` are the process arguments.
    static Options defaultOptions(const QStringList &arguments = {});

    // Runs start-up: the folder, --reset-tasks, load (with the stray-job sweep and script refresh),
    // and observing the change notice.
    explicit TaskStore(Options options, QObject *parent = nullptr);
    ~TaskStore() override;

    const QList<ScheduledTask> &tasks() const { return m_tasks; }
    std::optional<ScheduledTask> task(const QUuid &id) const;
    const std::optional<QString> &lastError() const { return m_lastError; }
    const std::optional<QString> &lastWarning() const { return m_lastWarning; }
    void clearLastError();
    void clearLastWarning();

    const QString &saveURL() const { return m_options.tasksFile; }
    const LaunchdService &launchdService() const { return m_options.launchdService; }
    const LaunchdService &launchdServiceForViews() const { return m_options.launchdServiceForViews; }
    PmsetServiceProtocol &pmsetService() const { return *m_options.pmsetService; }

    void add(const ScheduledTask &task);
    void update(const ScheduledTask &task);
    void deleteTask(const ScheduledTask &task);
    void deleteTasks(const QSet<QUuid> &ids);
    void setEnabled(bool enabled, const QUuid &id);
    // The copy (disabled, " (copy)", fresh id), appended; nothing if the task is unknown.
    std::optional<ScheduledTask> duplicate(const ScheduledTask &task);

    struct ImportResult {
        int added = 0;
        int skipped = 0;
        std::optional<QString> error; // the read failure; nothing was changed
        // The "Import Complete" text: "2 tasks imported.", "1 skipped (already present).", ...
        QString summary() const;
    };
    ImportResult importTasks(const QByteArray &data);

    void load();
    bool save();

    // Run history and logs, read afresh on every call; missing or broken files read as empty.
    QList<TaskRunRecord> runRecords(const ScheduledTask &task) const;
    QString readLog(const ScheduledTask &task, LogStream stream, int maxLines) const;

Q_SIGNALS:
    void tasksChanged();
    void lastErrorChanged();
    void lastWarningChanged();

private:
    Options m_options;
    QList<ScheduledTask> m_tasks;
    std::optional<QString> m_lastError;
    std::optional<QString> m_lastWarning;
};
