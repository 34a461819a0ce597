#pragma once

#include "launchd/LaunchdJob.h"
#include "platform/PowerHistory.h"
#include "store/RunHistoryCache.h"
#include "systemd/SystemdBrowser.h"
#include "timeline/DayTimeline.h"
#include "ui/TimelineItemView.h"

#include <QDateTime>
#include <QList>
#include <QTimeZone>
#include <QWidget>

#include <functional>
#include <optional>

class QCheckBox;
class QScrollArea;
class TaskStore;

// Today's timeline in the detail pane: the hour ruler, one lane per placed task and, when switched
// on, one per system job that fires at a time of day.
class DayTimelineView : public QWidget
{
    Q_OBJECT

public:
    using Clock = std::function<QDateTime()>;

    DayTimelineView(TaskStore &store, const QList<LaunchdJob> &systemJobs, QWidget *parent = nullptr);

    // "Now" and the calendar's zone; tests fix both.
    void setClock(Clock clock);
    void setTimeZone(const QTimeZone &zone);
    void setSystemJobs(const QList<LaunchdJob> &jobs);
    // The machine's timers and cron lines, drawn in the system lane after any launchd jobs.
    void setSystemdJobs(const SystemdJobs &jobs);
    void setShowSystemJobs(bool show);
    bool showSystemJobs() const { return m_showSystemJobs; }

    // The day as last drawn.
    const Timeline::Day &day() const { return m_day; }

public Q_SLOTS:
    // Reads the store, the run histories and the clock again and rebuilds the lanes.
    void reload();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    // Gives the lanes in and near the scroll area's sight their widgets.
    void placeLanesInSight();
    // Today's occurrences of the row's task that went without a run, with why.
    QList<TimelineItemView::Missed> missedToday(const Timeline::TaskRow &row);

    // One lane: where it goes, which row it draws, and its widget once it has been in sight.
    struct LaneSlot {
        int top = 0;
        bool system = false;
        qsizetype index = 0;
        QWidget *widget = nullptr;
    };

    TaskStore &m_store;
    QList<LaunchdJob> m_systemJobs;
    SystemdJobs m_systemdJobs;
    Clock m_clock;
    QTimeZone m_zone;
    bool m_showSystemJobs = false;
    Timeline::Day m_day;
    // Each runs file is read whole once, then only where it grew.
    RunHistoryCache m_runs;
    QDateTime m_now;
    // When the computer was off or asleep, read once per reload and only when a lane needs it.
    std::optional<QList<PowerHistory::Interval>> m_power;

    QCheckBox *m_toggle = nullptr;
    QWidget *m_ruler = nullptr;
    QScrollArea *m_scroll = nullptr;
    QWidget *m_lanes = nullptr;
    QList<LaneSlot> m_laneSlots;
};
