#pragma once

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QList>
#include <QString>

#include <optional>

// The options `add` and `edit` share: one table, so the two cannot drift apart.
namespace TaskOptions {

enum class For { add, edit };

// --name, --command, the schedule options, --dir, --env-file, the login-shell and wake switches;
// `add` also has --disabled, `edit` the --no-... counterparts.
QList<QCommandLineOption> options(For command);

// The usage error for --name or --command given empty (and, for `add`, not given at all).
std::optional<QString> nameAndCommandError(const QCommandLineParser &parser, For command);

// A folder or file option as the task keeps it: absolute, from the current folder; none when empty.
std::optional<QString> pathValue(const QCommandLineParser &parser, const QString &option);

} // namespace TaskOptions
