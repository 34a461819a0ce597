#pragma once

#include "model/TaskSchedule.h"

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QList>
#include <QString>

#include <optional>

// The schedule options of `add` and `edit`: exactly one kind, and --at for the calendar kinds.
namespace ScheduleOptions {

QList<QCommandLineOption> options();
// For `--help`.
QString help();

struct Parsed {
    // The kind chosen with its values; the times are left empty here and filled by `build`.
    std::optional<TaskSchedule> kind;
    std::optional<QList<TimeOfDay>> times; // --at, sorted
    QString error;                         // a usage error; the rest is then meaningless
};
Parsed parse(const QCommandLineParser &parser);

// The schedule these options give. `current` is the task's schedule when editing: its times are
// kept when only the kind changes, and --at alone changes only its times. Nothing (and `error`)
// when --at is given for a kind that has no times.
std::optional<TaskSchedule> build(const Parsed &parsed, const std::optional<TaskSchedule> &current, QString *error);

} // namespace ScheduleOptions
