#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

// The user's Shortcuts, as the system's `shortcuts` tool lists them, and the command that runs one.
namespace ShortcutsList {

// SystemPaths::shortcuts() and its one argument, "list".
QString program();
QStringList arguments();

// The tool's output as names: one per line, blanks and tabs trimmed, empty lines dropped, in the
// tool's order.
QStringList parse(const QByteArray &output);

// Runs the tool and waits for it; empty when it cannot be started. Blocks: keep it off the
// interface thread.
QStringList load(int timeoutMs = 30000);

// The names containing `search` (case-insensitive, by Unicode case folding), in list order;
// all of them for an empty search.
QStringList filter(const QStringList &names, const QString &search);

// "shortcuts run 'NAME'", single quotes in the name written as '\''.
QString runCommand(const QString &name);

} // namespace ShortcutsList
