#include "platform/AppPaths.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

#include <pwd.h>
#include <unistd.h>

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

QString AppPaths::tasksFile()
{
    return dataDir() + QStringLiteral("/tasks.json");
}
QString AppPaths::scriptsDir()
{
    return dataDir() + QStringLiteral("/Scripts");
}
QString AppPaths::logDir()
{
    return dataDir() + QStringLiteral("/Logs");
}
QString AppPaths::userLaunchAgentsDir()
{
    return homeDir() + QStringLiteral("/Library/LaunchAgents");
}

QString AppPaths::systemdUserUnitDir()
{
    const QString xdg = qEnvironmentVariable("XDG_CONFIG_HOME");
    const QString base = xdg.startsWith(u'/') ? QDir::cleanPath(xdg) : homeDir() + QStringLiteral("/.config");
    return base + QStringLiteral("/systemd/user");
}

QString AppPaths::besideThisProgram(const QString &name)
{
    if (!QCoreApplication::instance()) {
        return {};
    }
    const QFileInfo info(QCoreApplication::applicationDirPath() + u'/' + name);
    return info.isFile() && info.isExecutable() ? info.absoluteFilePath() : QString();
}

QString AppPaths::loginShell()
{
    QStringList candidates;
    if (const passwd *entry = ::getpwuid(::getuid()); entry && entry->pw_shell) {
        candidates << QString::fromLocal8Bit(entry->pw_shell);
    }
    candidates << qEnvironmentVariable("SHELL");
    for (const QString &path : std::as_const(candidates)) {
        const QFileInfo info(path);
        if (path.startsWith(u'/') && info.isFile() && info.isExecutable()) {
            return path;
        }
    }
    return {};
}
