#pragma once

#include "model/ScheduledTask.h"

#include <QDateTime>
#include <QString>

#include <functional>
#include <optional>

// A failure of waking for a task.
struct PmsetError {
    enum class Kind { scriptFailed, unsupportedSchedule };
    Kind kind = Kind::unsupportedSchedule;
    QString text; // scriptFailed: the administrator script's message

    static PmsetError scriptFailed(const QString &text) { return {Kind::scriptFailed, text}; }
    static PmsetError unsupportedSchedule() { return {Kind::unsupportedSchedule, {}}; }
    // "pmset failed: TEXT" or "This schedule type does not support wake."
    QString description() const;
    friend bool operator==(const PmsetError &, const PmsetError &) = default;
};

// What the store needs of the wake scheduler, so a test or another platform can hand in its own.
class PmsetServiceProtocol
{
public:
    virtual ~PmsetServiceProtocol() = default;
    // Registers the wake five minutes before the task's earliest time (blocks while the
    // administrator prompt is up).
    virtual std::optional<PmsetError> scheduleWake(const ScheduledTask &task) const = 0;
    // Whether the system's power schedule shows the task's wake.
    virtual bool isWakeActive(const ScheduledTask &task) const = 0;
};

// Wake through the power-management tool: one command per schedule kind, run with administrator
// rights, and the power schedule read back with "pmset -g sched". No state beyond its clock.
class PmsetService final : public PmsetServiceProtocol
{
public:
    using Clock = std::function<QDateTime()>;
    // `now` decides the date of a monthly task's one-time wake; by default the current local time.
    explicit PmsetService(Clock now = {});

    std::optional<PmsetError> scheduleWake(const ScheduledTask &task) const override;
    bool isWakeActive(const ScheduledTask &task) const override;

    struct Command {
        std::optional<QString> text;     // nothing with no error: a monthly day that never comes
        std::optional<PmsetError> error; // unsupportedSchedule
    };
    Command wakeCommand(const TaskSchedule &schedule) const { return wakeCommand(schedule, m_now()); }
    static Command wakeCommand(const TaskSchedule &schedule, const QDateTime &now);

    // The earliest of the times (the first on a tie) five minutes earlier, wrapped within the day;
    // nothing for an empty list.
    static std::optional<TimeOfDay> wakeTime(const QList<TimeOfDay> &times);
    // The first local date-time after `now` on day `day` of a month at `time`; nothing when no
    // month has that day.
    static std::optional<QDateTime> nextMonthlyWake(int day, TimeOfDay time, const QDateTime &now);
    // "6:55AM", "12:03PM": how "pmset -g sched" shows a repeating wake's time.
    static QString twelveHourText(TimeOfDay time);

private:
    Clock m_now;
};
