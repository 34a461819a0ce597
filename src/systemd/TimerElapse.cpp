#include "systemd/TimerElapse.h"

#include "platform/ChildProcess.h"
#include "systemd/SystemdTools.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimeZone>

using namespace Qt::StringLiterals;

namespace {

// Microseconds since the epoch; 0 (or anything not a positive number) means never.
std::optional<QDateTime> timeOf(const QJsonValue &value)
{
    const double usec = value.toDouble(0);
    if (!(usec > 0) || usec > 253402300799.0 * 1e6) {
        return std::nullopt;
    }
    return QDateTime::fromMSecsSinceEpoch(qint64(usec / 1000), QTimeZone::utc());
}

} // namespace

QHash<QString, TimerElapse::Elapse> TimerElapse::parse(const QByteArray &json)
{
    QHash<QString, Elapse> found;
    const QJsonDocument document = QJsonDocument::fromJson(json);
    const QJsonArray rows = document.array();
    for (const QJsonValue &row : rows) {
        const QJsonObject object = row.toObject();
        const QString unit = object.value(u"unit"_s).toString();
        if (!unit.isEmpty()) {
            found.insert(unit, Elapse{timeOf(object.value(u"next"_s)), timeOf(object.value(u"last"_s))});
        }
    }
    return found;
}

QHash<QString, TimerElapse::Elapse> TimerElapse::query(bool user)
{
    QStringList arguments{u"list-timers"_s, u"--all"_s, u"--no-pager"_s, u"--output=json"_s};
    if (user) {
        arguments.prepend(u"--user"_s);
    }
    const ChildProcess::Result result = ChildProcess::run(SystemdTools::program(u"systemctl"_s), arguments,
                                                          {ChildProcess::Output::capture, std::nullopt, std::nullopt});
    return result.succeeded() ? parse(result.standardOutput) : QHash<QString, Elapse>();
}

void TimerElapse::apply(QList<TimerUnit> &timers)
{
    const QHash<QString, Elapse> user = query(true);
    const QHash<QString, Elapse> system = query(false);
    for (TimerUnit &timer : timers) {
        const QHash<QString, Elapse> &known = timer.source == TimerUnit::Source::userTimers ? user : system;
        const auto found = known.constFind(timer.name);
        if (found != known.cend()) {
            timer.nextElapse = found->next;
            timer.lastElapse = found->last;
        }
    }
}
