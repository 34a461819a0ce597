// launchctl, and the error every job operation reports.
#include "launchd/LaunchdService.h"

#include "platform/ChildProcess.h"
#include "platform/SystemPaths.h"

JobControlError JobControlError::installFailed(const QString &message)
{
    JobControlError error;
    error.kind = Kind::installFailed;
    error.message = message;
    return error;
}

JobControlError JobControlError::launchctlFailed(const QString &subcommand, qint32 status)
{
    JobControlError error;
    error.kind = Kind::launchctlFailed;
    error.subcommand = subcommand;
    error.status = status;
    return error;
}

QString JobControlError::description() const
{
    if (kind == Kind::installFailed) {
        return u"Failed to install task: " % message;
    }
    return u"launchctl " % subcommand % u" failed (exit code " % QString::number(status) % u')';
}

std::optional<JobControlError> LaunchdService::runJobControl(const QStringList &arguments) const
{
    // Its chatter is of no use to anyone; only the exit status counts.
    const ChildProcess::Result result = ChildProcess::run(SystemPaths::launchctl(), arguments);
    const QString subcommand = arguments.value(0);
    if (!result.started) {
        return JobControlError::launchctlFailed(subcommand, -1);
    }
    if (result.crashed || result.exitStatus != 0) {
        return JobControlError::launchctlFailed(subcommand, result.exitStatus);
    }
    return std::nullopt;
}
