#include "store/FailureAlert.h"

#include "store/RunHistory.h"

using namespace Qt::StringLiterals;

namespace {

QString summaryOf(const ScheduledTask &task)
{
    const QString name = task.name.trimmed().isEmpty() ? task.shortId() : task.name;
    return name + u" failed"_s;
}

} // namespace

FailureAlert::Text FailureAlert::forRun(const ScheduledTask &task, const TaskRunRecord &run, const QTimeZone &zone)
{
    const QString at = runDateTime(run.startedAt).toTimeZone(zone).toString(u"H:mm"_s);
    return {summaryOf(task),
            u"The run at "_s + at + u" ended with exit status "_s + QString::number(run.exitCode) + u'.'};
}

FailureAlert::Text FailureAlert::forUnrecordedFailure(const ScheduledTask &task, std::optional<int> exitStatus,
                                                      const QString &result)
{
    if (exitStatus) {
        return {summaryOf(task), u"The run ended with exit status "_s + QString::number(*exitStatus) + u'.'};
    }
    QString body = u"The run did not finish"_s;
    if (!result.isEmpty()) {
        body += u" (systemd: "_s + result + u')';
    }
    return {summaryOf(task), body + u'.'};
}

std::optional<TaskRunRecord> FailureAlert::recentFailure(const QString &runsPath, const QDateTime &now,
                                                         int withinSeconds)
{
    const auto last = RunHistory::lastRun(runsPath);
    if (!last || last->exitCode == 0) {
        return std::nullopt;
    }
    const qint64 age = runDateTime(last->endedAt).secsTo(now);
    if (age > withinSeconds) {
        return std::nullopt;
    }
    return last;
}
