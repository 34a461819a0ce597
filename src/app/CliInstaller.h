#pragma once

#include <QString>

class QWidget;

// "Install CLI Command...": links the moxley tool that ships beside the app into /usr/local/bin
// (under MOXLEY_SYSROOT when set), with administrator rights, and says how it went.
namespace CliInstaller {

// The tool that ships with the app: in the macOS bundle, Contents/MacOS/moxley; on Linux, the
// moxley installed beside moxley-app. Both are the app executable's own folder.
QString bundledToolPath();
// SystemPaths::cliLinkDir() + "/moxley".
QString linkPath();
// ln -sf 'SOURCE' 'LINK', each path single-quoted with '\'' for a quote inside.
QString linkCommand(const QString &sourcePath, const QString &linkPath);

// The whole command: checks the tool exists, runs the link command through the administrator
// shell and shows "CLI Binary Not Found", "Installation Failed" or "CLI Installed".
void install(QWidget *parent, const QString &sourcePath);

} // namespace CliInstaller
