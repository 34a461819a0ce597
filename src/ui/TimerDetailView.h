#pragma once

#include "systemd/TimerUnit.h"

#include <QScrollArea>

// The read-only detail of one systemd timer: badges, the command its service runs, its triggers, the
// manager's next and last elapse, its files and their text, and what could not be read.
class TimerDetailView : public QScrollArea
{
    Q_OBJECT

public:
    explicit TimerDetailView(const TimerUnit &timer, QWidget *parent = nullptr);

    const TimerUnit &timer() const { return m_timer; }

private:
    QWidget *badges(QWidget *page) const;
    QWidget *schedule(QWidget *page) const;
    QWidget *elapses(QWidget *page) const;
    QWidget *paths(QWidget *page) const;

    TimerUnit m_timer;
};
