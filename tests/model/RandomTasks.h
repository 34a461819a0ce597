#pragma once

#include "model/ScheduledTask.h"

#include <QRandomGenerator>

using namespace Qt::StringLiterals;

// Tasks of every schedule kind with texts that need escaping or are not ASCII, for round trips.
namespace RandomTasks {

inline QString text(QRandomGenerator &random)
{
    // Whole code points, so no surrogate pair is ever cut in half.
    static const QList<uint> pool = u"abcXYZ 019'\"\\$`\n\t/&<>é漢🙂\x01"_s.toUcs4();
    QList<uint> text;
    const int length = random.bounded(0, 12);
    for (int i = 0; i < length; ++i) {
        text.append(pool.at(random.bounded(int(pool.size()))));
    }
    return QString::fromUcs4(reinterpret_cast<const char32_t *>(text.constData()), text.size());
}

inline QList<TimeOfDay> times(QRandomGenerator &random)
{
    QList<TimeOfDay> times;
    const int count = random.bounded(0, 4);
    for (int i = 0; i < count; ++i) {
        times.append({random.bounded(0, 24), random.bounded(0, 60)});
    }
    return times;
}

inline TaskSchedule schedule(QRandomGenerator &random)
{
    switch (random.bounded(7)) {
    case 0:
        return TaskSchedule::interval(random.bounded(1, 1441));
    case 1:
        return TaskSchedule::daily(times(random));
    case 2:
        return TaskSchedule::weekly({random.bounded(1, 8), random.bounded(1, 8)}, times(random));
    case 3:
        return TaskSchedule::monthly(random.bounded(1, 32), times(random));
    case 4:
        return TaskSchedule::monthlyLastDay(times(random));
    case 5:
        return TaskSchedule::monthlyNthWeekday(random.bounded(1, 5), random.bounded(1, 8), times(random));
    default:
        return TaskSchedule::runAtLoad();
    }
}

// One in `logsOneIn` tasks has a past run in its logs (0: none has).
inline QList<ScheduledTask> tasks(QRandomGenerator &random, int count, int logsOneIn)
{
    QList<ScheduledTask> tasks;
    for (int i = 0; i < count; ++i) {
        ScheduledTask task;
        task.id = QUuid::createUuid();
        task.name = text(random);
        task.command = text(random);
        if (random.bounded(2)) {
            task.workingDirectory = text(random);
        }
        if (random.bounded(2)) {
            task.envFilePath = text(random);
        }
        task.useLoginShell = random.bounded(2);
        task.wakeBeforeRun = random.bounded(2);
        task.isEnabled = random.bounded(2);
        task.schedule = schedule(random);
        if (logsOneIn > 0 && random.bounded(logsOneIn) == 0) {
            TaskLog log;
            log.id = QUuid::createUuid();
            log.timestamp = random.generateDouble() * 1e9;
            log.exitCode = int(random.generate());
            log.output = text(random);
            task.logs.append(log);
        }
        tasks.append(task);
    }
    return tasks;
}

} // namespace RandomTasks
