#include "DataGen.h"

#include "launchd/LaunchdService.h"
#include "model/JsonWriter.h"
#include "model/TaskMigration.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimeZone>

#include "launchd/PlistCompat.h"

#include <cstdio>
#include <ctime>

namespace {

// "2025-03-01T06:00:00Z"
void putDate(QByteArray &out, qint64 secs)
{
    const time_t t = time_t(secs);
    tm parts{};
    gmtime_r(&t, &parts);
    char text[32];
    const int n = std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02dZ", parts.tm_year + 1900,
                                parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
    out.append(text, n);
}

int exitCodeFor(DataGen::Random &random)
{
    const int roll = random.below(100);
    return roll < 90 ? 0 : roll < 95 ? 1 : roll < 98 ? -15 : 127;
}

QList<TimeOfDay> someTimes(DataGen::Random &random)
{
    QList<TimeOfDay> times;
    const int count = 1 + random.below(3);
    for (int i = 0; i < count; ++i) {
        times.append(TimeOfDay{random.below(24), random.below(60)});
    }
    return times;
}

} // namespace

QUuid DataGen::Random::uuid()
{
    const quint64 high = next();
    const quint64 low = next();
    return QUuid(uint(high >> 32), ushort(high >> 16), ushort((high & 0x0FFF) | 0x4000),
                 uchar(((low >> 56) & 0x3F) | 0x80), uchar(low >> 48), uchar(low >> 40), uchar(low >> 32),
                 uchar(low >> 24), uchar(low >> 16), uchar(low >> 8), uchar(low));
}

bool DataGen::writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size();
}

DataGen::RunsFile DataGen::writeRunsFile(const QString &path, qint64 lines, int malformedEvery, Random &random)
{
    RunsFile info;
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        return info;
    }
    QByteArray buffer;
    buffer.reserve(1 << 21);
    qint64 secs = 1609459200; // 2021-01-01T00:00:00Z
    int broken = 0;
    for (qint64 i = 0; i < lines; ++i) {
        secs += 240 + random.below(120);
        const qint64 end = secs + random.below(300);
        const int exitCode = exitCodeFor(random);
        const bool malformed = malformedEvery > 0 && i % malformedEvery == malformedEvery - 1;
        const bool olderForm = malformedEvery > 0 && i % malformedEvery == malformedEvery / 2;
        if (malformed) {
            switch (broken++ % 7) {
            case 0: // carriage return before the line feed
                putDate(buffer, secs), buffer.append('\t'), putDate(buffer, end), buffer.append("\t0\r");
                break;
            case 1: // four pieces
                putDate(buffer, secs), buffer.append('\t'), putDate(buffer, end), buffer.append("\t0\t0");
                break;
            case 2: // no such month
                buffer.append("2021-13-01T06:00:00Z\t2021-13-01T06:00:05Z\t0");
                break;
            case 3: // not decimal
                putDate(buffer, secs), buffer.append('\t'), putDate(buffer, end), buffer.append("\t0x1");
                break;
            case 4: // empty
                break;
            case 5: // out of range
                putDate(buffer, secs), buffer.append('\t'), putDate(buffer, end), buffer.append("\t2147483648");
                break;
            default: // cut off while being written
                putDate(buffer, secs), buffer.append("\t2021-0");
                break;
            }
        } else if (olderForm) {
            putDate(buffer, secs), buffer.append('\t'), buffer.append(QByteArray::number(exitCode));
            ++info.records;
        } else {
            putDate(buffer, secs);
            // Now and then two tabs in a row, which still make one separator.
            buffer.append(i % 997 == 5 ? "\t\t" : "\t");
            putDate(buffer, end);
            buffer.append('\t');
            buffer.append(QByteArray::number(exitCode));
            ++info.records;
        }
        buffer.append('\n');
        if (buffer.size() > (1 << 21) - 256) {
            info.bytes += file.write(buffer);
            buffer.clear();
        }
    }
    info.bytes += file.write(buffer);
    info.lines = lines;
    return info;
}

DataGen::Log DataGen::writeLog(const QString &path, qint64 bytes, Random &random)
{
    static const char *const kinds[] = {
        "INFO  backup: copied %d files to /Volumes/Backup, nothing to report",
        "WARN  sync: caf\xC3\xA9 r\xC3\xA9sum\xC3\xA9 na\xC3\xAFve \xE2\x80\x94 retrying item %d",
        "DEBUG \xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E\xE3\x81\xAE\xE3\x83\xAD\xE3\x82\xB0 %d \xE2\x9C\x93",
        "ERROR \xF0\x9F\x98\x80 emoji in output, code %d",
        "\t    indented continuation line %d    ",
        "",
    };
    QByteArray block;
    for (int i = 0; i < 400; ++i) {
        char line[256];
        const int kind = random.below(int(std::size(kinds)));
        const int n = std::snprintf(line, sizeof line, kinds[kind], random.below(100000));
        block.append(line, n);
        block.append(' ', random.below(40)); // lines of varying length
        block.append('\n');
    }
    QByteArray chunk;
    while (chunk.size() < (4 << 20)) {
        chunk.append(block);
    }
    Log info;
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        return info;
    }
    QByteArray end;
    for (int i = 0; i < 150; ++i) {
        end.append("line " + QByteArray::number(i) + " of the end: \xC3\xBC\xE2\x82\xAC\xF0\x9F\x93\x84 " +
                   QByteArray(random.below(30), 'x') + '\n');
    }
    end.append("\n   \n\t\n\n");
    while (info.bytes + chunk.size() + end.size() <= bytes) {
        info.bytes += file.write(chunk);
    }
    const qint64 rest = bytes - info.bytes - end.size();
    // Cut the last repeat at a line end so the file stays valid UTF-8, and fill up to the size
    // with one line of ASCII.
    const qsizetype cut = rest > 0 ? chunk.lastIndexOf('\n', rest - 1) + 1 : 0;
    info.bytes += file.write(chunk.constData(), cut);
    const qint64 gap = bytes - info.bytes - end.size();
    if (gap > 0) {
        info.bytes += file.write(QByteArray(gap - 1, 'y') + '\n');
    }
    info.bytes += file.write(end);
    return info;
}

QList<ScheduledTask> DataGen::makeTasks(int count, Random &random, int everyMinuteEvery, bool allEnabled)
{
    static const QStringList commands = {
        QStringLiteral("rsync -a ~/Documents/ /Volumes/Backup/Documents/"),
        QStringLiteral("/usr/local/bin/cleanup --older-than 30d \"$HOME/Downloads\""),
        QStringLiteral("echo 'it'\\''s done' >> ~/log.txt && date"),
        QStringLiteral("python3 -c 'print(\"\\u00e9t\\u00e9\")'"),
        QStringLiteral("osascript -e 'display notification \"Time to stretch\" with title \"Break\"'"),
    };
    static const QStringList names = {QStringLiteral("Backup"), QStringLiteral("Nettoyage d\u2019\u00e9t\u00e9"),
                                      QStringLiteral("\u65e5\u6b21\u30ec\u30dd\u30fc\u30c8"),
                                      QStringLiteral("Sync \U0001F4C1"), QStringLiteral("Stretch break")};
    QList<ScheduledTask> tasks;
    tasks.reserve(count);
    for (int i = 0; i < count; ++i) {
        ScheduledTask task;
        task.id = random.uuid();
        task.name = names[i % names.size()] + u' ' + QString::number(i);
        task.command = commands[random.below(int(commands.size()))];
        if (random.percent(30)) {
            task.workingDirectory = QStringLiteral("/Users/someone/Projects/it's here");
        }
        if (random.percent(10)) {
            task.envFilePath = QStringLiteral("/Users/someone/.config/env");
        }
        task.useLoginShell = random.percent(70);
        task.isEnabled = allEnabled || random.percent(90);
        if (everyMinuteEvery > 0 && i % everyMinuteEvery == 0) {
            task.schedule = TaskSchedule::interval(1);
        } else {
            switch (i % 7) {
            case 0:
                task.schedule = TaskSchedule::interval(5 + random.below(120));
                break;
            case 1:
                task.schedule = TaskSchedule::daily(someTimes(random));
                break;
            case 2:
                task.schedule = TaskSchedule::weekly({1 + random.below(7), 1 + random.below(7)}, someTimes(random));
                break;
            case 3:
                task.schedule = TaskSchedule::monthly(1 + random.below(31), someTimes(random));
                break;
            case 4:
                task.schedule = TaskSchedule::monthlyLastDay(someTimes(random));
                break;
            case 5:
                task.schedule =
                    TaskSchedule::monthlyNthWeekday(1 + random.below(4), 1 + random.below(7), someTimes(random));
                break;
            default:
                task.schedule = TaskSchedule::runAtLoad();
                break;
            }
        }
        task.wakeBeforeRun = task.schedule.times() != nullptr && random.percent(20);
        if (random.percent(5)) {
            // Older log entries, still carried in the file.
            task.logs.append(TaskLog{random.uuid(), 700000000.5 + random.below(1000000), 0,
                                     QStringLiteral("done\nall good \u2713")});
        }
        tasks.append(task);
    }
    return tasks;
}

void DataGen::writeTasksFile(const QString &path, const QList<ScheduledTask> &tasks, int version)
{
    const QByteArray current = TaskMigration::encode(tasks);
    if (version >= 2) {
        writeFile(path, current);
        return;
    }
    // Version 1: a bare array, one time per daily, weekly or monthly payload.
    QJsonArray array = QJsonDocument::fromJson(current).object().value(QStringLiteral("tasks")).toArray();
    for (qsizetype i = 0; i < array.size(); ++i) {
        QJsonObject task = array[i].toObject();
        QJsonObject schedule = task.value(QStringLiteral("schedule")).toObject();
        for (const QString &key : {QStringLiteral("daily"), QStringLiteral("weekly"), QStringLiteral("monthly")}) {
            QJsonObject payload = schedule.value(key).toObject();
            const QJsonArray times = payload.value(QStringLiteral("times")).toArray();
            if (!schedule.contains(key) || times.size() != 1) {
                continue;
            }
            payload.remove(QStringLiteral("times"));
            payload.insert(QStringLiteral("hour"), times[0].toObject().value(QStringLiteral("hour")));
            payload.insert(QStringLiteral("minute"), times[0].toObject().value(QStringLiteral("minute")));
            schedule.insert(key, payload);
        }
        task.insert(QStringLiteral("schedule"), schedule);
        array[i] = task;
    }
    writeFile(path, JsonWriter::pretty(array));
}

void DataGen::writeInstalledJobs(const QString &launchAgentsDir, const QString &scriptsDir,
                                 const QList<ScheduledTask> &tasks)
{
    const LaunchdService service(launchAgentsDir, scriptsDir);
    for (const ScheduledTask &task : tasks) {
        if (task.isEnabled) {
            writeFile(service.scriptPath(task), service.scriptText(task).toUtf8());
            writeFile(service.plistPath(task), service.plistText(task).toUtf8());
        }
    }
}

qint64 DataGen::writeRunHistories(const QString &logDir, const QList<ScheduledTask> &tasks, int perTask,
                                  const QDateTime &now, Random &random)
{
    QDir().mkpath(logDir);
    qint64 total = 0;
    const qint64 nowSecs = now.toSecsSinceEpoch();
    for (const ScheduledTask &task : tasks) {
        // Interval tasks at their interval, calendar tasks once a day, newest last.
        const qint64 step = task.schedule.kind() == TaskSchedule::Kind::interval
                                ? qint64(task.schedule.as<Schedule::Interval>()->minutes) * 60
                                : 86400;
        QByteArray text;
        text.reserve(perTask * 44);
        for (int k = perTask; k >= 1; --k) {
            const qint64 start = nowSecs - k * step + random.below(90);
            putDate(text, start);
            text.append('\t');
            putDate(text, start + random.below(200));
            text.append('\t');
            text.append(QByteArray::number(exitCodeFor(random)));
            text.append('\n');
        }
        writeFile(logDir + u'/' + task.shortId() + u".runs", text);
        total += perTask;
    }
    return total;
}

void DataGen::writeTimelineData(const QString &dir)
{
    Random random;
    const QList<ScheduledTask> tasks = makeTasks(1000, random, 10, true);
    writeTasksFile(dir + u"/tasks.json", tasks, 2);
    writeInstalledJobs(dir + u"/LaunchAgents", dir + u"/Scripts", tasks);
    const QTimeZone zone(kTimelineZone);
    const QDateTime wall = QDateTime::fromString(QString::fromLatin1(kTimelineNow), Qt::ISODate);
    const QDateTime now(wall.date(), wall.time(), zone);
    writeRunHistories(dir + u"/Logs", tasks, 1000, now, random);
}

void DataGen::writeAppData(const QString &home, const QString &dataDir, const QString &sysroot)
{
    Random random;
    const QList<ScheduledTask> tasks = makeTasks(1000, random);
    writeTasksFile(dataDir + u"/Moxley/tasks.json", tasks, 2);
    writeInstalledJobs(home + u"/Library/LaunchAgents", dataDir + u"/Moxley/Scripts", tasks);
    writePlists(
        {home + u"/Library/LaunchAgents", sysroot + u"/Library/LaunchAgents", sysroot + u"/Library/LaunchDaemons"},
        1000, random);
}

DataGen::Plists DataGen::writePlists(const QStringList &folders, int count, Random &random)
{
    Plists info;
    for (const QString &folder : folders) {
        QDir().mkpath(folder);
    }
    for (int i = 0; i < count; ++i) {
        const QString folder = folders[i % folders.size()];
        plist_t dict = plist_new_dict();
        const bool ours = i % 50 == 7;
        const QByteArray label = (ours ? QByteArray("com.moxley.task.") : QByteArray("org.example.")) +
                                 QByteArray::number(random.next() % 1000000) + ".agent" + QByteArray::number(i);
        plist_t arguments = plist_new_array();
        plist_array_append_item(arguments, plist_new_string("/usr/local/bin/tool"));
        plist_array_append_item(arguments, plist_new_string("--flag"));
        plist_array_append_item(arguments, plist_new_string("caf\xC3\xA9"));
        plist_dict_set_item(dict, "ProgramArguments", arguments);
        switch (i % 4) {
        case 0:
            plist_dict_set_item(dict, "StartInterval", plist_new_uint(30 + random.below(7200)));
            break;
        case 1: {
            plist_t calendar = plist_new_dict();
            plist_dict_set_item(calendar, "Hour", plist_new_uint(random.below(24)));
            plist_dict_set_item(calendar, "Minute", plist_new_uint(random.below(60)));
            if (random.percent(30)) {
                plist_dict_set_item(calendar, "Weekday", plist_new_uint(random.below(7)));
            }
            plist_dict_set_item(dict, "StartCalendarInterval", calendar);
            break;
        }
        case 2:
            plist_dict_set_item(dict, "RunAtLoad", plist_new_bool(1));
            break;
        default:
            plist_dict_set_item(dict, "KeepAlive", plist_new_bool(1));
            break;
        }
        plist_dict_set_item(dict, "StandardOutPath", plist_new_string("/tmp/agent.out"));
        plist_dict_set_item(dict, "Disabled", plist_new_bool(random.percent(10)));
        plist_t environment = plist_new_dict();
        plist_dict_set_item(environment, "PATH", plist_new_string("/usr/bin:/bin:/usr/sbin:/sbin"));
        plist_dict_set_item(dict, "EnvironmentVariables", environment);

        const int broken = i % 40 == 13 ? (i / 40) % 4 + 1 : 0;
        if (broken == 1) {
            plist_dict_set_item(dict, "Label", plist_new_uint(42)); // not a string
        } else if (broken != 2) {
            plist_dict_set_item(dict, "Label", plist_new_string(label.constData()));
        } // broken == 2: no label at all
        char *data = nullptr;
        uint32_t length = 0;
        const bool binary = i % 2 == 1;
        if (binary) {
            plist_to_bin(dict, &data, &length);
        } else {
            plist_to_xml(dict, &data, &length);
        }
        QByteArray bytes(data, length);
        if (binary) {
            plistcompat::freeBin(data);
        } else {
            plistcompat::freeXml(data);
        }
        plist_free(dict);
        if (broken == 3) {
            bytes.truncate(bytes.size() / 2); // cut off
        } else if (broken == 4) {
            bytes = "not a property list at all";
        }
        const QString path = folder + u"/job" + QString::number(i) + u".plist";
        writeFile(path, bytes);
        info.paths.append(path);
        ++info.files;
        if (broken == 0 && !ours) {
            ++info.expectedJobs;
        }
    }
    // Neighbours the scanner must pass over.
    writeFile(folders.first() + u"/notes.txt", "not a job");
    writeFile(folders.first() + u"/upper.PLIST", "not read");
    return info;
}
