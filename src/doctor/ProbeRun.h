#pragma once

#include "doctor/ProbeScript.h"
#include "launchd/LaunchdService.h"
#include "model/JobScheduler.h"

#include <QDeadlineTimer>
#include <QProcessEnvironment>

#include <optional>

// Runs the probe and collects its answer, within a deadline, leaving no file of its own behind.
namespace ProbeRun {

struct Outcome {
    std::optional<ProbeScript::Answer> answer;
    QString failure; // why there is no answer; empty when the time ran out
};

// A copy of `task` that runs once, at once, with the probe as its command: the same shell, profile,
// .env file and working folder, a fresh id so that the task's own job is never touched. It answers
// in answerPath().
ScheduledTask probeTask(const ScheduledTask &task, const QStringList &words, const LaunchdService &files);
// The file the scheduled probe answers in (beside the logs, where a job of the user may write).
QString answerPath(const LaunchdService &files, const ScheduledTask &probe);

// Through the scheduler, as `start` runs a job; the job, its script, its logs and the answer are
// removed whatever happens.
Outcome throughScheduler(JobScheduler &scheduler, const LaunchdService &files, const ScheduledTask &probe,
                         QDeadlineTimer deadline);
// The job's script run here in the scheduler's documented default environment, for when the
// scheduler cannot be asked.
Outcome inDefaultEnvironment(const JobScheduler &scheduler, const LaunchdService &files, const ScheduledTask &probe,
                             QDeadlineTimer deadline);
// The probe lines run as Test Run runs a command (the same shell, .env file and folder).
Outcome asTestRun(const ScheduledTask &task, const QStringList &words, QDeadlineTimer deadline);

} // namespace ProbeRun
