#pragma once

#include "model/ScheduledTask.h"

#include <QWidget>

#include <optional>

class QLabel;

// One task in the sidebar: a status dot (with marks for a failed last run and missed runs), the name and the schedule's
// description. In select mode a tick mark leads the row.
class TaskRowView : public QWidget
{
    Q_OBJECT

public:
    explicit TaskRowView(const ScheduledTask &task, QWidget *parent = nullptr);

    const ScheduledTask &task() const { return m_task; }
    // Nothing: no tick mark (outside select mode); otherwise whether the task is ticked.
    void setTick(std::optional<bool> ticked);
    std::optional<bool> tick() const { return m_tick; }
    // The marks beside the dot: the last run failed; runs were missed in the last 7 days.
    void setGlance(const std::optional<TaskRunRecord> &lastRun, qsizetype missedCount);

private:
    ScheduledTask m_task;
    std::optional<bool> m_tick;
    QLabel *m_tickLabel = nullptr;
    QLabel *m_failedMark = nullptr;
    QLabel *m_missedMark = nullptr;
};
