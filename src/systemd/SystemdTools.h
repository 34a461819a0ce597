#pragma once

#include <QString>

// The systemd programs the browser runs: the sysroot's usr/bin/NAME when MOXLEY_SYSROOT is set (as for
// systemctl everywhere), else NAME from the PATH.
namespace SystemdTools {
QString program(const QString &name);
}
