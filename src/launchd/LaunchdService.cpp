#include "launchd/LaunchdService.h"

#include "platform/AppPaths.h"

LaunchdService::LaunchdService(std::optional<QString> launchAgentsDir, std::optional<QString> scriptsDir,
                               std::optional<QString> logDir)
    : m_launchAgentsDir(launchAgentsDir ? *launchAgentsDir : AppPaths::userLaunchAgentsDir()),
      m_scriptsDir(scriptsDir ? *scriptsDir : AppPaths::scriptsDir()), m_logDir(logDir ? *logDir : AppPaths::logDir())
{
}

QString LaunchdService::jobLabel(const QUuid &id)
{
    return u"com.moxley.task." % ScheduledTask::fullId(id);
}

QString LaunchdService::plistPath(const QUuid &id) const
{
    return m_launchAgentsDir % u'/' % jobLabel(id) % u".plist";
}

QString LaunchdService::scriptPath(const QUuid &id) const
{
    return m_scriptsDir % u"/Moxley_" % ScheduledTask::shortId(id) % u".sh";
}

QString LaunchdService::legacyScriptPath(const QUuid &id) const
{
    return m_scriptsDir % u'/' % ScheduledTask::fullId(id) % u".sh";
}

QString LaunchdService::runsPath(const QUuid &id) const
{
    return m_logDir % u'/' % ScheduledTask::shortId(id) % u".runs";
}

QString LaunchdService::stdoutLogPath(const QUuid &id) const
{
    return m_logDir % u'/' % ScheduledTask::shortId(id) % u".stdout.log";
}

QString LaunchdService::stderrLogPath(const QUuid &id) const
{
    return m_logDir % u'/' % ScheduledTask::shortId(id) % u".stderr.log";
}
