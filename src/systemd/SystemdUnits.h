#pragma once

#include "model/ScheduledTask.h"

#include <QString>
#include <QUuid>

#include <optional>

// The names and exact texts of a task's systemd user units. Pure: text in, text out.
namespace SystemdUnits {

QString serviceName(const QUuid &id); // com.moxley.task.<ID>.service
QString timerName(const QUuid &id);   // com.moxley.task.<ID>.timer
// The template unit that OnFailure= of every task's service starts, as com.moxley.alert@<ID>.service:
// it runs `moxley alert ID`, which posts the desktop notification of the failed run.
QString alertTemplateName(); // com.moxley.alert@.service
QString alertInstanceName(const QUuid &id);
// `toolPath`: the moxley executable.
QString alertTemplateText(const QString &toolPath);
// The id of one of this program's unit file names; nothing for any other name.
std::optional<QUuid> taskIdOfUnit(const QString &fileName);

// Whether the task has a timer (every schedule but run-at-load).
bool hasTimer(const ScheduledTask &task);

struct Paths {
    QString script;
    QString stdoutLog;
    QString stderrLog;
    // Whether the alert template is installed beside the units, so the service names it.
    bool alerts = false;
};
QString serviceText(const ScheduledTask &task, const Paths &paths);
// Empty for run-at-load.
QString timerText(const ScheduledTask &task);

// A word of systemd's command lines, double-quoted, with `%` doubled so that no specifier is
// expanded; in an argument (not the program) `$` is doubled too, as variables are expanded there.
QString quotedExecWord(const QString &text, bool argument);
// The ExecStart= value that runs this script. systemd refuses a program path with quotes or
// backslashes, so such a path is handed to /usr/bin/env as an argument instead.
QString execStart(const QString &scriptPath);
// A value taken whole (a path after "append:", a description): `%` doubled, control characters
// and a trailing backslash (which would continue the line) left out.
QString literalValue(const QString &text);

} // namespace SystemdUnits
