#pragma once

#include <QString>

// The settings the app and the moxley tool share, in one INI file: macOS
// ~/Library/Application Support/Moxley/settings.ini; elsewhere $XDG_CONFIG_HOME/Moxley/settings.ini
// (~/.config by default). Read afresh on every call, so a change in the app reaches the next alert.
namespace AppSettings {

QString filePath();

// A notification when a scheduled run fails (key alerts/failedRuns); on unless turned off.
bool alertsEnabled();
void setAlertsEnabled(bool enabled);

} // namespace AppSettings
