#pragma once

#include <QString>

#include <optional>

// Runs one shell command with administrator rights: the wake schedule and the command-line link
// need them. macOS asks through an AppleScript "do shell script ... with administrator privileges"
// (osascript), which shows the system's password prompt; Linux asks through pkexec.
//
// With MOXLEY_SYSROOT set, the AppleScript route is taken on every platform, through the osascript
// found under the sysroot, so tests and demonstrations on Linux drive the same code as a Mac.
namespace AdminShell {

// Backslashes doubled first, then each double quote preceded by a backslash.
QString escapeForAppleScript(const QString &text);
// do shell script "ESCAPED" with administrator privileges
QString appleScriptSource(const QString &shellCommand);
// Whether the AppleScript route (osascript) is the one taken.
bool usesAppleScript();

// Nothing on success; otherwise the failure's message: the AppleScript error's text (for a
// cancelled password prompt, "User canceled."), "Failed to create script" when the script could
// not be compiled or osascript could not be started, or "Unknown error" when the failure came
// without text.
std::optional<QString> runWithAdministratorPrivileges(const QString &shellCommand);

} // namespace AdminShell
