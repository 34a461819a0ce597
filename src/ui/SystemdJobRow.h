#pragma once

#include "systemd/CronTable.h"
#include "systemd/TimerUnit.h"

#include <QWidget>

// One line of the sidebar for a systemd timer or a cron line: its name, a badge with its source
// ("User Timers", "System Timers", "Cron") and when it runs.
class SystemdJobRow : public QWidget
{
    Q_OBJECT

public:
    explicit SystemdJobRow(const TimerUnit &timer, QWidget *parent = nullptr);
    explicit SystemdJobRow(const CronEntry &entry, QWidget *parent = nullptr);

private:
    void build(const QString &title, const QString &source, const QString &summary);
};
