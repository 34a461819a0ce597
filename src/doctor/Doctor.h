#pragma once

#include "doctor/DoctorReport.h"
#include "launchd/LaunchdService.h"
#include "model/JobScheduler.h"

#include <QJsonObject>

// `moxley doctor` and the app's Check: the probe through the scheduler and in a Test Run's shell,
// and what differs between the two. Blocks for up to twice the time allowed; the app runs it on a
// thread of its own.
namespace Doctor {

struct Result {
    QList<DoctorProblem> problems;
    std::optional<ProbeScript::Answer> scheduled;
    std::optional<ProbeScript::Answer> interactive;
    // How the scheduled side was found when the scheduler could not be asked; empty otherwise.
    QString note;
    bool ok() const { return problems.isEmpty(); }
};

constexpr int kTimeoutSeconds = 20;

Result check(const ScheduledTask &task, JobScheduler &scheduler, const LaunchdService &files,
             int timeoutSeconds = kTimeoutSeconds);

// {"ok", "problems": [{"kind", "text"}], "scheduled": {"PATH", "shell", "cwd"}, "interactive": {...}};
// a side whose probe did not answer is null.
QJsonObject toJson(const Result &result);
// One line per problem, "KIND: TEXT"; a line saying so when there are none.
QString text(const Result &result);

} // namespace Doctor
