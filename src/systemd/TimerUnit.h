#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <optional>

// A systemd timer already on the machine, read from its unit file, its drop-ins and the service
// it starts. Only what could be read is filled in; `problems` says what could not.
struct TimerUnit {
    enum class Source { userTimers, systemTimers };
    // "User Timers", "System Timers"
    static QString sourceTitle(Source source);

    QString id;   // the timer file's path (for an enabled instance of a template: path + "#" + name)
    QString name; // "apt-daily.timer", "pg_dump@.timer", "pg_dump@15-main.timer"
    Source source = Source::systemTimers;
    QString path;        // the timer's unit file
    QStringList dropIns; // its NAME.timer.d/*.conf files, in the order they apply
    QString description;
    QStringList calendars;     // OnCalendar= values as written
    QStringList otherTriggers; // "OnBootSec=15min", "OnUnitActiveSec=1d", ...
    bool enabled = false;      // linked from a *.wants or *.requires folder
    bool masked = false;       // the unit file is a link to /dev/null
    bool isTemplate = false;   // "NAME@.timer": a pattern for instances, not a job of its own
    QString serviceName;       // Unit=, else the timer's own name with ".service"
    QString servicePath;       // empty when no such service was found
    QStringList execStart;     // the service's ExecStart= lines, as written
    QString timerText;         // the timer file and its drop-ins, each after a "# PATH" line
    QString serviceText;       // the same for the service
    QStringList problems;

    // From the systemd manager, when one answers.
    std::optional<QDateTime> nextElapse;
    std::optional<QDateTime> lastElapse;

    // The calendar expressions joined with "; ", else the other triggers, else "Manual".
    QString scheduleSummary() const;
    // The ExecStart= lines joined with "; ", else "(unknown)".
    QString commandLine() const;
    // The name without ".timer".
    QString shortName() const;
};
