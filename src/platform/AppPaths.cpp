#include "platform/AppPaths.h"

#include <QDir>

QString AppPaths::homeDir()
{
    const QString home = qEnvironmentVariable("HOME");
    return home.isEmpty() ? QDir::homePath() : QDir::cleanPath(home);
}

QString AppPaths::dataDir()
{
#ifdef Q_OS_MACOS
    return homeDir() + QStringLiteral("/Library/Application Support/Moxley");
#else
    // Only an absolute XDG_DATA_HOME counts, as the XDG rules say.
    const QString xdg = qEnvironmentVariable("XDG_DATA_HOME");
    const QString base = xdg.startsWith(u'/') ? QDir::cleanPath(xdg) : homeDir() + QStringLiteral("/.local/share");
    return base + QStringLiteral("/Moxley");
#endif
}

QString AppPaths::tasksFile() { return dataDir() + QStringLiteral("/tasks.json"); }
QString AppPaths::scriptsDir() { return dataDir() + QStringLiteral("/Scripts"); }
QString AppPaths::logDir() { return dataDir() + QStringLiteral("/Logs"); }
QString AppPaths::userLaunchAgentsDir() { return homeDir() + QStringLiteral("/Library/LaunchAgents"); }
