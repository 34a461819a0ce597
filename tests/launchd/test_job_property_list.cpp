#include "PlistTree.h"
#include "launchd/LaunchdService.h"

#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

const QUuid kId = QUuid::fromString(u"0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9"_s);
const QString kLabel = u"com.moxley.task.0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9"_s;
const LaunchdService kService(u"/LA"_s, u"/S"_s, u"/L"_s);

ScheduledTask makeTask(TaskSchedule schedule)
{
    ScheduledTask task;
    task.id = kId;
    task.name = u"Job"_s;
    task.command = u"true"_s;
    task.schedule = std::move(schedule);
    return task;
}

const QByteArray kHead = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                         "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                         "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                         "<plist version=\"1.0\">\n"
                         "<dict>\n"
                         "    <key>Label</key>\n"
                         "    <string>com.moxley.task.0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9</string>\n"
                         "    <key>ProgramArguments</key>\n"
                         "    <array>\n"
                         "        <string>/S/Moxley_0a1b2c3d.sh</string>\n"
                         "    </array>\n";

QByteArray tail(bool runAtLoad)
{
    return QByteArray("    <key>StandardOutPath</key>\n"
                      "    <string>/L/0a1b2c3d.stdout.log</string>\n"
                      "    <key>StandardErrorPath</key>\n"
                      "    <string>/L/0a1b2c3d.stderr.log</string>\n"
                      "    <key>RunAtLoad</key>\n") +
           (runAtLoad ? "    <true/>\n" : "    <false/>\n") + "</dict>\n</plist>";
}

QByteArray entry(std::optional<int> weekday, std::optional<int> day, int hour, int minute)
{
    QByteArray text = "    <dict>\n";
    if (weekday) {
        text += "        <key>Weekday</key>\n        <integer>" + QByteArray::number(*weekday) + "</integer>\n";
    }
    if (day) {
        text += "        <key>Day</key>\n        <integer>" + QByteArray::number(*day) + "</integer>\n";
    }
    text += "        <key>Hour</key>\n        <integer>" + QByteArray::number(hour) + "</integer>\n";
    text += "        <key>Minute</key>\n        <integer>" + QByteArray::number(minute) + "</integer>\n";
    return text + "    </dict>";
}

QVariantMap calendar(std::optional<int> weekday, std::optional<int> day, int hour, int minute)
{
    QVariantMap map{{u"Hour"_s, qint64(hour)}, {u"Minute"_s, qint64(minute)}};
    if (weekday) {
        map.insert(u"Weekday"_s, qint64(*weekday));
    }
    if (day) {
        map.insert(u"Day"_s, qint64(*day));
    }
    return map;
}

// The whole job as launchd would read it, with `schedule` holding the schedule keys.
QVariantMap job(const QVariantMap &schedule, bool runAtLoad = false, const QString &script = u"/S/Moxley_0a1b2c3d.sh"_s)
{
    QVariantMap map{{u"Label"_s, kLabel},
                    {u"ProgramArguments"_s, QVariantList{script}},
                    {u"StandardOutPath"_s, u"/L/0a1b2c3d.stdout.log"_s},
                    {u"StandardErrorPath"_s, u"/L/0a1b2c3d.stderr.log"_s},
                    {u"RunAtLoad"_s, runAtLoad}};
    map.insert(schedule);
    return map;
}

QVariantMap parsed(const QString &text)
{
    const auto tree = PlistTree::fromXml(text.toUtf8());
    if (!tree) {
        qWarning("libplist could not read:\n%s", qPrintable(text));
        return {};
    }
    return tree->toMap();
}

} // namespace

// The job property list: exact text, and what launchd's own parser makes of it.
class JobPropertyListTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void daily_singleTime_isOneDictionary()
    {
        const ScheduledTask task = makeTask(TaskSchedule::daily({{9, 30}}));
        const QByteArray expected = kHead +
                                    "    <key>StartCalendarInterval</key>\n"
                                    "    <dict>\n"
                                    "        <key>Hour</key>\n"
                                    "        <integer>9</integer>\n"
                                    "        <key>Minute</key>\n"
                                    "        <integer>30</integer>\n"
                                    "    </dict>\n" +
                                    tail(false);
        QCOMPARE(kService.plistText(task).toUtf8(), expected);
        QCOMPARE(parsed(kService.plistText(task)),
                 job({{u"StartCalendarInterval"_s, calendar(std::nullopt, std::nullopt, 9, 30)}}));
    }

    void weekly_weekdaysOutermost_weekdayMinusOne()
    {
        const ScheduledTask task = makeTask(TaskSchedule::weekly({2, 6}, {{8, 0}, {17, 15}}));
        const QByteArray expected = kHead + "    <key>StartCalendarInterval</key>\n    <array>\n" +
                                    entry(1, std::nullopt, 8, 0) + '\n' + entry(1, std::nullopt, 17, 15) + '\n' +
                                    entry(5, std::nullopt, 8, 0) + '\n' + entry(5, std::nullopt, 17, 15) +
                                    "\n    </array>\n" + tail(false);
        QCOMPARE(kService.plistText(task).toUtf8(), expected);
        // The fragment exactly as it reads in the file.
        QVERIFY(kService.plistText(task).contains(u"    <array>\n"
                                                  "    <dict>\n"
                                                  "        <key>Weekday</key>\n"
                                                  "        <integer>1</integer>\n"
                                                  "        <key>Hour</key>\n"
                                                  "        <integer>8</integer>\n"
                                                  "        <key>Minute</key>\n"
                                                  "        <integer>0</integer>\n"
                                                  "    </dict>\n"
                                                  "    <dict>\n"
                                                  "        <key>Weekday</key>\n"
                                                  "        <integer>1</integer>\n"
                                                  "        <key>Hour</key>\n"
                                                  "        <integer>17</integer>\n"
                                                  "        <key>Minute</key>\n"
                                                  "        <integer>15</integer>\n"
                                                  "    </dict>\n"));
        const QVariantList entries{calendar(1, std::nullopt, 8, 0), calendar(1, std::nullopt, 17, 15),
                                   calendar(5, std::nullopt, 8, 0), calendar(5, std::nullopt, 17, 15)};
        QCOMPARE(parsed(kService.plistText(task)), job({{u"StartCalendarInterval"_s, entries}}));
    }

    void weekly_sundayIsZeroSaturdaySix()
    {
        const ScheduledTask task = makeTask(TaskSchedule::weekly({1, 7}, {{6, 5}}));
        const QVariantList entries{calendar(0, std::nullopt, 6, 5), calendar(6, std::nullopt, 6, 5)};
        QCOMPARE(parsed(kService.plistText(task)), job({{u"StartCalendarInterval"_s, entries}}));
        QVERIFY(kService.plistText(task).contains(u"<key>Weekday</key>\n        <integer>0</integer>\n"));
        QVERIFY(kService.plistText(task).contains(u"<key>Weekday</key>\n        <integer>6</integer>\n"));
    }

    void weekly_oneDayOneTime_isOneDictionary()
    {
        const ScheduledTask task = makeTask(TaskSchedule::weekly({4}, {{12, 0}}));
        const QByteArray expected =
            kHead + "    <key>StartCalendarInterval</key>\n" + entry(3, std::nullopt, 12, 0) + '\n' + tail(false);
        QCOMPARE(kService.plistText(task).toUtf8(), expected);
        QCOMPARE(parsed(kService.plistText(task)),
                 job({{u"StartCalendarInterval"_s, calendar(3, std::nullopt, 12, 0)}}));
    }

    void interval_isSecondsAndNotAtLoad()
    {
        const ScheduledTask task = makeTask(TaskSchedule::interval(15));
        const QByteArray expected = kHead +
                                    "    <key>StartInterval</key>\n"
                                    "    <integer>900</integer>\n" +
                                    tail(false);
        QCOMPARE(kService.plistText(task).toUtf8(), expected);
        QCOMPARE(parsed(kService.plistText(task)), job({{u"StartInterval"_s, qint64(900)}}, false));
    }

    void runAtLoad_emptyLineNoScheduleKeyAndTrue()
    {
        const ScheduledTask task = makeTask(TaskSchedule::runAtLoad());
        const QByteArray expected = kHead + "\n" + tail(true);
        QCOMPARE(kService.plistText(task).toUtf8(), expected);
        QVERIFY(kService.plistText(task).contains(u"    </array>\n\n    <key>StandardOutPath</key>\n"));
        QCOMPARE(parsed(kService.plistText(task)), job({}, true));
    }

    void daily_noTimes_isEmptyArray()
    {
        const ScheduledTask task = makeTask(TaskSchedule::daily({}));
        const QByteArray expected = kHead +
                                    "    <key>StartCalendarInterval</key>\n"
                                    "    <array>\n"
                                    "    </array>\n" +
                                    tail(false);
        QCOMPARE(kService.plistText(task).toUtf8(), expected);
        QCOMPARE(parsed(kService.plistText(task)), job({{u"StartCalendarInterval"_s, QVariantList()}}));
    }

    void daily_timesInListOrder()
    {
        const ScheduledTask task = makeTask(TaskSchedule::daily({{18, 0}, {7, 45}}));
        const QVariantList entries{calendar(std::nullopt, std::nullopt, 18, 0),
                                   calendar(std::nullopt, std::nullopt, 7, 45)};
        QCOMPARE(parsed(kService.plistText(task)), job({{u"StartCalendarInterval"_s, entries}}));
    }

    void monthly_dayEntryPerTime()
    {
        const ScheduledTask task = makeTask(TaskSchedule::monthly(15, {{6, 0}, {20, 30}}));
        const QByteArray expected = kHead + "    <key>StartCalendarInterval</key>\n    <array>\n" +
                                    entry(std::nullopt, 15, 6, 0) + '\n' + entry(std::nullopt, 15, 20, 30) +
                                    "\n    </array>\n" + tail(false);
        QCOMPARE(kService.plistText(task).toUtf8(), expected);
        const QVariantList entries{calendar(std::nullopt, 15, 6, 0), calendar(std::nullopt, 15, 20, 30)};
        QCOMPARE(parsed(kService.plistText(task)), job({{u"StartCalendarInterval"_s, entries}}));
    }

    void monthly_oneTime_isOneDictionary()
    {
        const ScheduledTask task = makeTask(TaskSchedule::monthly(1, {{0, 5}}));
        QCOMPARE(parsed(kService.plistText(task)),
                 job({{u"StartCalendarInterval"_s, calendar(std::nullopt, 1, 0, 5)}}));
    }

    void lastDay_oneTime_isArrayOfFourDays()
    {
        const ScheduledTask task = makeTask(TaskSchedule::monthlyLastDay({{23, 0}}));
        const QByteArray expected = kHead + "    <key>StartCalendarInterval</key>\n    <array>\n" +
                                    entry(std::nullopt, 28, 23, 0) + '\n' + entry(std::nullopt, 29, 23, 0) + '\n' +
                                    entry(std::nullopt, 30, 23, 0) + '\n' + entry(std::nullopt, 31, 23, 0) +
                                    "\n    </array>\n" + tail(false);
        QCOMPARE(kService.plistText(task).toUtf8(), expected);
        const QVariantList entries{calendar(std::nullopt, 28, 23, 0), calendar(std::nullopt, 29, 23, 0),
                                   calendar(std::nullopt, 30, 23, 0), calendar(std::nullopt, 31, 23, 0)};
        QCOMPARE(parsed(kService.plistText(task)), job({{u"StartCalendarInterval"_s, entries}}));
    }

    void lastDay_twoTimes_dayOutermost()
    {
        const ScheduledTask task = makeTask(TaskSchedule::monthlyLastDay({{8, 0}, {20, 0}}));
        QVariantList entries;
        for (int day = 28; day <= 31; ++day) {
            entries << calendar(std::nullopt, day, 8, 0) << calendar(std::nullopt, day, 20, 0);
        }
        QCOMPARE(parsed(kService.plistText(task)), job({{u"StartCalendarInterval"_s, entries}}));
    }

    void nthWeekday_weekdayEntriesWithoutWeek()
    {
        const ScheduledTask oneTime = makeTask(TaskSchedule::monthlyNthWeekday(3, 2, {{9, 0}}));
        const QByteArray expected =
            kHead + "    <key>StartCalendarInterval</key>\n" + entry(1, std::nullopt, 9, 0) + '\n' + tail(false);
        QCOMPARE(kService.plistText(oneTime).toUtf8(), expected);
        const ScheduledTask twoTimes = makeTask(TaskSchedule::monthlyNthWeekday(1, 7, {{9, 0}, {10, 0}}));
        const QVariantList entries{calendar(6, std::nullopt, 9, 0), calendar(6, std::nullopt, 10, 0)};
        QCOMPARE(parsed(kService.plistText(twoTimes)), job({{u"StartCalendarInterval"_s, entries}}));
    }

    void ampersandInScriptPath_escapedThereOnly()
    {
        const LaunchdService service(u"/LA"_s, u"/S&<\"'>"_s, u"/L&s"_s);
        const ScheduledTask task = makeTask(TaskSchedule::interval(1));
        const QString text = service.plistText(task);
        QVERIFY(text.contains(u"        <string>/S&amp;&lt;&quot;&apos;&gt;/Moxley_0a1b2c3d.sh</string>\n"));
        QVERIFY(text.contains(u"    <string>/L&s/0a1b2c3d.stdout.log</string>\n"));
        QVERIFY(text.contains(u"    <string>/L&s/0a1b2c3d.stderr.log</string>\n"));
        // The script path round-trips through a real parser.
        const LaunchdService parsable(u"/LA"_s, u"/Tom & Jerry's <jobs>"_s, u"/L"_s);
        QCOMPARE(parsed(parsable.plistText(task)),
                 job({{u"StartInterval"_s, qint64(60)}}, false, u"/Tom & Jerry's <jobs>/Moxley_0a1b2c3d.sh"_s));
    }

    void text_hasNoFinalLineFeed()
    {
        const QString text = kService.plistText(makeTask(TaskSchedule::daily({{7, 0}})));
        QVERIFY(text.endsWith(u"</dict>\n</plist>"));
    }
};

QTEST_GUILESS_MAIN(JobPropertyListTest)
#include "test_job_property_list.moc"
