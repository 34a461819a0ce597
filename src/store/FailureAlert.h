#pragma once

#include "model/ScheduledTask.h"

#include <QDateTime>
#include <QString>
#include <QTimeZone>

#include <optional>

// What the notification of a failed scheduled run says, the same from the app and from the
// moxley tool that systemd starts.
namespace FailureAlert {

struct Text {
    QString summary; // "Back up failed"
    QString body;    // "The run at 9:00 ended with exit status 3."
};

Text forRun(const ScheduledTask &task, const TaskRunRecord &run, const QTimeZone &zone);
// systemd reports a failure for which no run was recorded (a command that ends the script with
// `exit`, a script that could not start or was killed): the exit status when systemd tells one,
// else systemd's word for the failure ("signal", "timeout", ...; may be empty).
Text forUnrecordedFailure(const ScheduledTask &task, std::optional<int> exitStatus, const QString &result);

// The task's last recorded run when it failed and ended at most `withinSeconds` before `now`:
// the run a failure that systemd reports now is about.
std::optional<TaskRunRecord> recentFailure(const QString &runsPath, const QDateTime &now, int withinSeconds);

} // namespace FailureAlert
