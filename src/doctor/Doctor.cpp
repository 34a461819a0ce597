#include "doctor/Doctor.h"

#include "doctor/CommandWords.h"
#include "doctor/ProbeRun.h"
#include "platform/AppPaths.h"

#include <QFileInfo>
#include <QJsonArray>

using namespace Qt::StringLiterals;

namespace {

QString wrapperShell(const QString &scriptText)
{
    const QString first = scriptText.section(u'\n', 0, 0);
    return first.startsWith(u"#!"_s) ? first.mid(2).section(u' ', 0, 0) : QString();
}

QString defaultNote(const JobScheduler &scheduler, const QString &reason)
{
    return u"The scheduler could not be asked (" % reason %
           u"), so the scheduled side is its documented default environment: " %
           scheduler.defaultEnvironment().join(u", "_s) % u", working folder " % scheduler.defaultWorkingDirectory();
}

DoctorProblem probeFailed(const QString &where, const QString &failure, int timeoutSeconds)
{
    const QString why =
        failure.isEmpty() ? u"no answer within "_s % QString::number(timeoutSeconds) % u" seconds" : failure;
    return {u"probe-failed"_s, u"The probe " % where % u" failed (" % why %
                                   u"), so that side could not be compared; try again, and run the task with "
                                   "Test Run or `moxley start` to see what stops it"};
}

QJsonValue side(const std::optional<ProbeScript::Answer> &answer)
{
    if (!answer) {
        return QJsonValue::Null;
    }
    return QJsonObject{{u"PATH"_s, answer->path}, {u"shell"_s, answer->shell}, {u"cwd"_s, answer->cwd}};
}

} // namespace

Doctor::Result Doctor::check(const ScheduledTask &task, JobScheduler &scheduler, const LaunchdService &files,
                             int timeoutSeconds)
{
    Result result;
    const QStringList words = CommandWords::of(task.command);
    DoctorReport::Facts facts;
    facts.home = AppPaths::homeDir();
    facts.wrapperShell = wrapperShell(scheduler.scriptText(task));
    const QString reason = scheduler.unavailableReason();
    facts.jobLoaded = !task.isEnabled || !reason.isEmpty() || scheduler.isLoaded(task);

    QList<DoctorProblem> failures;
    const auto interactive = ProbeRun::asTestRun(task, words, QDeadlineTimer(timeoutSeconds * 1000));
    facts.interactive = interactive.answer;
    if (!interactive.answer) {
        failures << probeFailed(u"in a Test Run's shell"_s, interactive.failure, timeoutSeconds);
    }
    // A wrapper whose shell is missing cannot answer; shell-missing says so.
    if (facts.wrapperShell.isEmpty() || QFileInfo(facts.wrapperShell).isExecutable()) {
        const ScheduledTask run = ProbeRun::probeTask(task, words, files);
        const QDeadlineTimer deadline(timeoutSeconds * 1000);
        ProbeRun::Outcome scheduled;
        if (reason.isEmpty()) {
            scheduled = ProbeRun::throughScheduler(scheduler, files, run, deadline);
        } else {
            result.note = defaultNote(scheduler, reason);
            scheduled = ProbeRun::inDefaultEnvironment(scheduler, files, run, deadline);
        }
        facts.scheduled = scheduled.answer;
        if (!scheduled.answer) {
            failures << probeFailed(reason.isEmpty() ? u"through the scheduler"_s : u"in the default environment"_s,
                                    scheduled.failure, timeoutSeconds);
        }
    }
    result.problems = DoctorReport::problems(task, words, facts) + failures;
    result.scheduled = facts.scheduled;
    result.interactive = facts.interactive;
    return result;
}

QJsonObject Doctor::toJson(const Result &result)
{
    QJsonArray problems;
    for (const DoctorProblem &problem : result.problems) {
        problems.append(QJsonObject{{u"kind"_s, problem.kind}, {u"text"_s, problem.text}});
    }
    return {{u"ok"_s, result.ok()},
            {u"problems"_s, problems},
            {u"scheduled"_s, side(result.scheduled)},
            {u"interactive"_s, side(result.interactive)}};
}

QString Doctor::text(const Result &result)
{
    if (result.ok()) {
        return u"No problems: the task will run when scheduled as it does in a Test Run.\n"_s;
    }
    QString out;
    for (const DoctorProblem &problem : result.problems) {
        out += problem.kind % u": " % problem.text % u'\n';
    }
    return out;
}
