#pragma once

#include "launchd/LaunchdJob.h"
#include "model/ScheduledTask.h"
#include "systemd/CronTable.h"
#include "systemd/TimerUnit.h"

#include <QColor>
#include <QRect>
#include <QString>

#include <optional>

class QPainter;

// The sidebar's task and job rows: what each shows, where each part goes, and the drawing. The
// list draws its rows itself rather than holding a widget per row: a row's labels, layouts and
// their polishing were most of the app's start-up.
namespace SidebarRows {

// One task: a status dot (with marks for a failed last run and missed runs), the name and the
// schedule's description. In select mode a tick mark leads the row.
struct TaskLook {
    QString name;
    QString schedule;
    bool enabled = true;
    std::optional<bool> tick; // none outside select mode
    QString failedTip;        // the last run failed: the mark's tool tip; empty: no mark
    QString missedTip;        // runs were missed in the last 7 days; empty: no mark
    QString toolTip;
};

TaskLook taskLook(const ScheduledTask &task);
// The marks beside the dot: the last run failed; runs were missed in the last 7 days.
void setGlance(TaskLook &look, const std::optional<TaskRunRecord> &lastRun, qsizetype missedCount);

// One system job: its label, a badge naming where it was found, and when it runs.
struct JobLook {
    QString title;
    QString source;
    QString summary; // one line
    QString toolTip;
};

JobLook jobLook(const LaunchdJob &job);
JobLook jobLook(const TimerUnit &timer);
JobLook jobLook(const CronEntry &entry);

// Where the parts of a task row go inside `row`.
struct TaskGeometry {
    QRect tick; // empty outside select mode
    QRect dot;
    QRect failed; // empty without the mark
    QRect missed; // empty without the mark
    QRect name;
    QRect schedule;
};
TaskGeometry taskGeometry(const TaskLook &look, const QRect &row);

struct JobGeometry {
    QRect title;
    QRect badge;
    QRect summary;
};
JobGeometry jobGeometry(const JobLook &look, const QRect &row);

// Every task row has the same height, as has every job row.
int taskRowHeight();
int jobRowHeight();

QColor dotColor(bool enabled);
// What a text shows in `width`: all of it, or its start and "…".
QString elided(const QString &text, const QFont &font, int width);

struct Colors {
    QColor text;
    QColor secondary;
};
void paintTask(QPainter &painter, const TaskLook &look, const QRect &row, const Colors &colors);
void paintJob(QPainter &painter, const JobLook &look, const QRect &row, const Colors &colors);

} // namespace SidebarRows
