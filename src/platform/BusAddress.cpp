#include "platform/BusAddress.h"

#include <QFileInfo>

QString BusAddress::session()
{
    const QString address = qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS");
    if (!address.isEmpty()) {
        return address;
    }
    const QString runtimeDir = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (!runtimeDir.isEmpty() && QFileInfo::exists(runtimeDir + QStringLiteral("/bus"))) {
        return u"unix:path=" % runtimeDir % u"/bus";
    }
    return {};
}
