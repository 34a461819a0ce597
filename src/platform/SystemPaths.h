#pragma once

#include <QString>

// Every fixed system path goes through here. With MOXLEY_SYSROOT set, "/bin/launchctl"
// becomes "$MOXLEY_SYSROOT/bin/launchctl", so tests and demonstrations use stand-in tools.
namespace SystemPaths {

QString sysroot();
// `absolutePath` must begin with "/".
QString resolve(const QString &absolutePath);

QString launchctl();        // /bin/launchctl
QString pmset();            // /usr/bin/pmset
QString osascript();        // /usr/bin/osascript
QString shortcuts();        // /usr/bin/shortcuts
QString globalAgentsDir();  // /Library/LaunchAgents
QString globalDaemonsDir(); // /Library/LaunchDaemons
QString cliLinkDir();       // /usr/local/bin
// $MOXLEY_SYSROOT/usr/bin/systemctl under a sysroot; else the one on the PATH ("systemctl" when none).
QString systemctl();

} // namespace SystemPaths
