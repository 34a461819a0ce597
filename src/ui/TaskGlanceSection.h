#pragma once

#include "platform/PowerHistory.h"
#include "store/TaskStore.h"
#include "timeline/TaskStatus.h"

#include <QDateTime>
#include <QTimeZone>
#include <QWidget>

// The task detail's "At a Glance": the next three run times (with how far off they are), the last
// result, and the due times of the last 7 days that went without a run, with why where the
// system's power records tell.
class TaskGlanceSection : public QWidget
{
    Q_OBJECT

public:
    static constexpr int kShownNextRuns = 3;

    TaskGlanceSection(const TaskStatus::Status &status, const QList<PowerHistory::Interval> &power,
                      const QDateTime &now, const QTimeZone &zone, QWidget *parent = nullptr);

    // The store's runs, this machine's clock, zone and power records.
    static TaskGlanceSection *forTask(const TaskStore &store, const ScheduledTask &task, QWidget *parent = nullptr);

private:
    QString nextRunsText(const TaskStatus::Status &status, const QDateTime &now, const QTimeZone &zone) const;
};
