#pragma once

#include <QString>

// The user's folders, as the app and the moxley tool both find them.
namespace AppPaths {

// HOME (honoured on every platform).
QString homeDir();
// macOS: ~/Library/Application Support/Moxley; elsewhere: $XDG_DATA_HOME/Moxley
// (~/.local/share/Moxley by default).
QString dataDir();
QString tasksFile();           // dataDir()/tasks.json
QString scriptsDir();          // dataDir()/Scripts
QString logDir();              // dataDir()/Logs
QString userLaunchAgentsDir(); // ~/Library/LaunchAgents
QString systemdUserUnitDir();  // $XDG_CONFIG_HOME/systemd/user (~/.config/systemd/user by default)
// The executable `name` in this program's own folder (the app and the moxley tool are installed
// side by side); empty when there is none.
QString besideThisProgram(const QString &name);
// The user's login shell (the password database's, else $SHELL) when it is an executable file; empty otherwise.
QString loginShell();

} // namespace AppPaths
