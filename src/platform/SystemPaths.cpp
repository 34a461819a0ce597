#include "platform/SystemPaths.h"

#include <QDir>
#include <QStandardPaths>

QString SystemPaths::sysroot()
{
    QString root = qEnvironmentVariable("MOXLEY_SYSROOT");
    while (root.size() > 1 && root.endsWith(u'/')) {
        root.chop(1);
    }
    return root == u"/" ? QString() : root;
}

QString SystemPaths::resolve(const QString &absolutePath)
{
    Q_ASSERT(absolutePath.startsWith(u'/'));
    return sysroot() + absolutePath;
}

QString SystemPaths::launchctl()
{
    return resolve(QStringLiteral("/bin/launchctl"));
}
QString SystemPaths::pmset()
{
    return resolve(QStringLiteral("/usr/bin/pmset"));
}
QString SystemPaths::osascript()
{
    return resolve(QStringLiteral("/usr/bin/osascript"));
}
QString SystemPaths::shortcuts()
{
    return resolve(QStringLiteral("/usr/bin/shortcuts"));
}
QString SystemPaths::globalAgentsDir()
{
    return resolve(QStringLiteral("/Library/LaunchAgents"));
}
QString SystemPaths::globalDaemonsDir()
{
    return resolve(QStringLiteral("/Library/LaunchDaemons"));
}
QString SystemPaths::cliLinkDir()
{
    return resolve(QStringLiteral("/usr/local/bin"));
}

QString SystemPaths::systemctl()
{
    if (!sysroot().isEmpty()) {
        return resolve(QStringLiteral("/usr/bin/systemctl"));
    }
    const QString found = QStandardPaths::findExecutable(QStringLiteral("systemctl"));
    return found.isEmpty() ? QStringLiteral("systemctl") : found;
}
