#include "systemd/SystemdTools.h"

#include "platform/SystemPaths.h"

QString SystemdTools::program(const QString &name)
{
    return SystemPaths::sysroot().isEmpty() ? name : SystemPaths::resolve(QStringLiteral("/usr/bin/") + name);
}
