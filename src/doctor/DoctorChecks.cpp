#include "doctor/DoctorChecks.h"

#include <QCoreApplication>
#include <QPointer>
#include <QThread>

DoctorChecks &DoctorChecks::instance()
{
    static QPointer<DoctorChecks> shared;
    if (!shared) {
        shared = new DoctorChecks(QCoreApplication::instance());
    }
    return *shared;
}

DoctorChecks::DoctorChecks(QObject *parent) : QObject(parent)
{
}

DoctorChecks::~DoctorChecks()
{
    for (QThread *thread : std::as_const(m_threads)) {
        thread->wait();
        delete thread;
    }
}

bool DoctorChecks::start(const ScheduledTask &task, std::shared_ptr<JobScheduler> scheduler,
                         const LaunchdService &files, int timeoutSeconds)
{
    if (m_running.contains(task.id)) {
        return false;
    }
    m_running.insert(task.id);
    // `this` outlives the thread: the destructor waits for it.
    QThread *thread = QThread::create([this, task, scheduler, files, timeoutSeconds] {
        const Doctor::Result result = Doctor::check(task, *scheduler, files, timeoutSeconds);
        QMetaObject::invokeMethod(
            this, [this, id = task.id, result] { deliver(id, result); }, Qt::QueuedConnection);
    });
    m_threads.append(thread);
    connect(thread, &QThread::finished, this, [this, thread] {
        m_threads.removeOne(thread);
        thread->deleteLater();
    });
    thread->start();
    return true;
}

std::optional<Doctor::Result> DoctorChecks::lastResult(const QUuid &id) const
{
    const auto found = m_results.constFind(id);
    if (found == m_results.cend()) {
        return std::nullopt;
    }
    return *found;
}

void DoctorChecks::deliver(const QUuid &id, const Doctor::Result &result)
{
    m_running.remove(id);
    m_results.insert(id, result);
    Q_EMIT finished(id);
}
