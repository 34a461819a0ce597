#include "ui/TaskGlanceSection.h"

#include "model/NextRuns.h"
#include "ui/TaskGlance.h"
#include "ui/ViewStyle.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

QLabel *keyLabel(const QString &text, QWidget *parent)
{
    QLabel *label = ViewStyle::captionLabel(text, parent);
    ViewStyle::setTextColor(label, ViewStyle::secondaryText());
    return label;
}

} // namespace

TaskGlanceSection::TaskGlanceSection(const TaskStatus::Status &status, const QList<PowerHistory::Interval> &power,
                                     const QDateTime &now, const QTimeZone &zone, QWidget *parent)
    : QWidget(parent)
{
    setObjectName(u"glance-section"_s);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(8);
    layout->addWidget(ViewStyle::sectionHeader(u"calendar.badge.clock"_s, u"At a Glance"_s, this));

    auto *grid = new QGridLayout;
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setHorizontalSpacing(12);
    grid->setVerticalSpacing(6);
    grid->setColumnStretch(1, 1);
    grid->addWidget(keyLabel(u"Next runs"_s, this), 0, 0, Qt::AlignLeft | Qt::AlignTop);
    grid->addWidget(
        ViewStyle::textLabel(nextRunsText(status, now, zone), u"glance-next-runs"_s, ViewStyle::Selectable::no, this),
        0, 1);

    grid->addWidget(keyLabel(u"Last result"_s, this), 1, 0, Qt::AlignLeft | Qt::AlignTop);
    auto *last = new QWidget(this);
    auto *lastRow = new QHBoxLayout(last);
    lastRow->setContentsMargins(0, 0, 0, 0);
    lastRow->setSpacing(6);
    if (status.lastRun) {
        const bool ok = status.lastRun->exitCode == 0;
        QLabel *icon = ViewStyle::iconLabel(ok ? u"checkmark.circle.fill"_s : u"xmark.circle.fill"_s,
                                            ok ? ViewStyle::green() : ViewStyle::red(), 14, last);
        icon->setObjectName(u"glance-last-icon"_s);
        lastRow->addWidget(icon);
        const QString when = TaskGlance::shortTime(runDateTime(status.lastRun->startedAt), zone);
        const QString text =
            ok ? QString(u"Succeeded, "_s + when)
               : QString(u"Failed with exit status "_s + QString::number(status.lastRun->exitCode) + u", "_s + when);
        lastRow->addWidget(ViewStyle::textLabel(text, u"glance-last-result"_s, ViewStyle::Selectable::no, last), 1);
    } else {
        lastRow->addWidget(
            ViewStyle::textLabel(u"No runs recorded yet."_s, u"glance-last-result"_s, ViewStyle::Selectable::no, last),
            1);
    }
    grid->addWidget(last, 1, 1);

    grid->addWidget(keyLabel(u"Missed"_s, this), 2, 0, Qt::AlignLeft | Qt::AlignTop);
    auto *missed = new QWidget(this);
    missed->setObjectName(u"glance-missed"_s);
    auto *missedRows = new QVBoxLayout(missed);
    missedRows->setContentsMargins(0, 0, 0, 0);
    missedRows->setSpacing(4);
    if (status.missed.isEmpty()) {
        missedRows->addWidget(
            ViewStyle::textLabel(u"No runs missed in the last %1 days."_s.arg(TaskStatus::kMissedWindowDays),
                                 u"glance-no-missed"_s, ViewStyle::Selectable::no, missed));
    }
    // Newest first, like the execution history.
    for (auto due = status.missed.crbegin(); due != status.missed.crend(); ++due) {
        const PowerHistory::Reason reason = PowerHistory::reasonFor(*due, power);
        auto *row = new QWidget(missed);
        row->setObjectName(u"glance-missed-row"_s);
        auto *rowLayout = new QHBoxLayout(row);
        rowLayout->setContentsMargins(0, 0, 0, 0);
        rowLayout->setSpacing(6);
        rowLayout->addWidget(ViewStyle::iconLabel(u"clock.badge.exclamationmark"_s, ViewStyle::orange(), 14, row));
        rowLayout->addWidget(ViewStyle::textLabel(TaskGlance::shortTime(*due, zone), u"glance-missed-time"_s,
                                                  ViewStyle::Selectable::no, row));
        QLabel *why = ViewStyle::captionLabel(PowerHistory::reasonText(reason), row);
        why->setObjectName(u"glance-missed-reason"_s);
        rowLayout->addWidget(why, 1);
        missedRows->addWidget(row);
    }
    grid->addWidget(missed, 2, 1);
    layout->addLayout(grid);
}

QString TaskGlanceSection::nextRunsText(const TaskStatus::Status &status, const QDateTime &now,
                                        const QTimeZone &zone) const
{
    if (!status.task.isEnabled) {
        return u"None while the task is disabled."_s;
    }
    QList<QDateTime> times = nextRuns(status.task.schedule, now, kShownNextRuns, zone);
    if (times.isEmpty() && status.nextRun) {
        times << *status.nextRun;
    }
    if (times.isEmpty()) {
        return u"No calendar times: "_s + status.task.schedule.description() + u'.';
    }
    QStringList lines;
    for (const QDateTime &time : times) {
        lines << TaskGlance::shortTime(time, zone) + u" ("_s + TaskGlance::relative(now, time) + u')';
    }
    return lines.join(u'\n');
}

TaskGlanceSection *TaskGlanceSection::forTask(const TaskStore &store, const ScheduledTask &task, QWidget *parent)
{
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const QTimeZone zone = QTimeZone::systemTimeZone();
    const TaskStatus::Status status = TaskGlance::status(store, task, now, zone);
    // Reading the journal or the power log costs a process or two: only when there is something to explain.
    const QList<PowerHistory::Interval> power =
        status.missed.isEmpty() ? QList<PowerHistory::Interval>()
                                : PowerHistory::read(now.addDays(-(TaskStatus::kMissedWindowDays + 1)), zone);
    return new TaskGlanceSection(status, power, now, zone, parent);
}
