#include "platform/AppSettings.h"

#include "platform/AppPaths.h"

#include <QDir>
#include <QSettings>

using namespace Qt::StringLiterals;

namespace {

const QString kAlertsKey = u"alerts/failedRuns"_s;

} // namespace

QString AppSettings::filePath()
{
#ifdef Q_OS_MACOS
    return AppPaths::dataDir() + u"/settings.ini"_s;
#else
    const QString xdg = qEnvironmentVariable("XDG_CONFIG_HOME");
    const QString base = xdg.startsWith(u'/') ? QDir::cleanPath(xdg) : AppPaths::homeDir() + u"/.config"_s;
    return base + u"/Moxley/settings.ini"_s;
#endif
}

bool AppSettings::alertsEnabled()
{
    const QSettings settings(filePath(), QSettings::IniFormat);
    return settings.value(kAlertsKey, true).toBool();
}

void AppSettings::setAlertsEnabled(bool enabled)
{
    QSettings settings(filePath(), QSettings::IniFormat);
    settings.setValue(kAlertsKey, enabled);
    settings.sync();
}
