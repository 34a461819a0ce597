#pragma once

#include "doctor/Doctor.h"

#include <QHash>
#include <QObject>
#include <QSet>
#include <QUuid>

#include <memory>

class QThread;

// The app's checks: each runs Doctor::check on a thread of its own (it waits for child processes and
// for the scheduler, up to twice the time allowed), and the last result of each task is kept for the
// task's detail while the app runs. Lives on the main thread; results arrive there.
class DoctorChecks : public QObject
{
    Q_OBJECT

public:
    // The app's one instance, made on first use and owned by the application object.
    static DoctorChecks &instance();

    explicit DoctorChecks(QObject *parent = nullptr);
    // Waits for the checks still running: they hold the scheduler and may have a probe job to remove.
    ~DoctorChecks() override;

    // False (and nothing starts) while the same task is being checked. The scheduler is shared with
    // the store: a check calls only what installs nothing of the task's own (runOnce, isLoaded, texts).
    bool start(const ScheduledTask &task, std::shared_ptr<JobScheduler> scheduler, const LaunchdService &files,
               int timeoutSeconds = Doctor::kTimeoutSeconds);
    bool isChecking(const QUuid &id) const { return m_running.contains(id); }
    std::optional<Doctor::Result> lastResult(const QUuid &id) const;

Q_SIGNALS:
    void finished(const QUuid &id);

private:
    void deliver(const QUuid &id, const Doctor::Result &result);

    QHash<QUuid, Doctor::Result> m_results;
    QSet<QUuid> m_running;
    QList<QThread *> m_threads;
};
