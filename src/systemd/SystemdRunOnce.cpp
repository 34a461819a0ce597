// The doctor's one-off runs through the user's manager, and what a unit meets when nothing sets it.
#include "systemd/SystemdScheduler.h"

#include "platform/AppPaths.h"
#include "platform/ChildProcess.h"
#include "systemd/SystemdTools.h"
#include "systemd/SystemdUnits.h"

#include <QFile>

using namespace Qt::StringLiterals;

namespace {
// systemd's own default where systemd-path cannot tell (the value of a build that keeps /bin apart,
// as Debian's does).
const QString kFallbackPath = u"/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin"_s;
} // namespace

std::optional<QString> SystemdScheduler::runOnce(const ScheduledTask &task)
{
    // A probe that fails is not a failed run of the task: no alert.
    if (auto failure = writeUnits(task, false)) {
        return failure;
    }
    if (auto failure = systemctl({u"daemon-reload"_s}).error) {
        return failure;
    }
    return systemctl({u"start"_s, u"--no-block"_s, SystemdUnits::serviceName(task.id)}).error;
}

void SystemdScheduler::removeRunOnce(const ScheduledTask &task)
{
    const QString service = SystemdUnits::serviceName(task.id);
    (void)systemctl({u"stop"_s, service});
    QFile::remove(servicePath(task));
    QFile::remove(timerPath(task));
    QFile::remove(m_files.scriptPath(task));
    (void)systemctl({u"daemon-reload"_s});
    // A failed unit would otherwise stay listed, file or no file.
    (void)systemctl({u"reset-failed"_s, service});
}

QString SystemdScheduler::unavailableReason() const
{
    const Reply reply = systemctl({u"show-environment"_s});
    if (!reply.error) {
        return {};
    }
    if (reply.error->startsWith(u"No systemd user instance is running"_s)) {
        return u"no systemd user instance is running"_s;
    }
    return reply.error->section(u'\n', 0, 0);
}

QStringList SystemdScheduler::defaultEnvironment() const
{
    ChildProcess::Options options;
    options.output = ChildProcess::Output::capture;
    const auto result =
        ChildProcess::run(SystemdTools::program(u"systemd-path"_s), {u"search-binaries-default"_s}, options);
    const QString path = QString::fromUtf8(result.standardOutput).trimmed();
    return {u"PATH=" % (result.succeeded() && path.startsWith(u'/') ? path : kFallbackPath)};
}

QString SystemdScheduler::defaultWorkingDirectory() const
{
    return AppPaths::homeDir();
}
