#pragma once

#include "model/TaskSchedule.h"

#include <QStringList>

// systemd calendar expressions (OnCalendar=) that fire exactly when a calendar schedule is due.
namespace TimerCalendar {
// One expression per time of day, in the form systemd normalises to ("Mon,Fri *-*-* 09:00:00",
// "*-*~01 07:00:00" for the last day, "Tue *-*-08..14 07:00:00" for the 2nd Tuesday). Times, weekdays
// and days that cannot occur are left out. Empty for interval and run-at-load schedules.
QStringList onCalendar(const TaskSchedule &schedule);
} // namespace TimerCalendar
