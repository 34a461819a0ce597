#include "Sandbox.h"
#include "StandInTool.h"
#include "model/TaskMigration.h"

#include <QDir>
#include <QProcess>
#include <QtTest>

using namespace Qt::StringLiterals;

// Tasks files holding values the form cannot make (tests/data/out-of-range): the reader refuses
// each with its located message, and no command of the tool and no start of the app ends by a
// signal on any of them.
namespace {

QString dataFile(const QString &name)
{
    return QStringLiteral(MOXLEY_TEST_DATA_DIR "/out-of-range/") + name;
}

const QString kId = u"0A1B2C3D-0000-4000-8000-000000000001"_s;

// Every command, with the one task of the file named where one is wanted.
QList<QStringList> everyCommand(const QString &importFile)
{
    return {
        {u"list"_s},
        {u"list"_s, u"--json"_s},
        {u"show"_s, kId},
        {u"show"_s, kId, u"--json"_s},
        {u"export"_s},
        {u"script"_s, kId},
        {u"plist"_s, kId},
        {u"run"_s, kId},
        {u"jobs"_s},
        {u"add"_s, u"--name"_s, u"New"_s, u"--command"_s, u"true"_s},
        {u"edit"_s, kId, u"--name"_s, u"Renamed"_s},
        {u"enable"_s, kId},
        {u"disable"_s, kId},
        {u"delete"_s, kId},
        {u"duplicate"_s, kId},
        {u"import"_s, importFile},
        {u"wake-command"_s, kId},
        {u"history"_s, kId},
        {u"logs"_s, kId},
        {u"timeline"_s},
        {u"timeline"_s, u"--json"_s},
        {u"timeline"_s, u"--at"_s, u"2026-03-02T08:00"_s},
    };
}

} // namespace

class OutOfRangeFilesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void file_refusedWithItsMessage_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("message");
        const auto row = [](const char *name, const QString &message) {
            QTest::newRow(name) << u"tasks-"_s % QString::fromLatin1(name) % u".json" << message;
        };
        const auto at = [](const char *what, const char *path) -> QString {
            return QString::fromUtf8(what) % u" (task 1, at schedule." % QString::fromUtf8(path) % u')';
        };
        row("interval-zero", at("\"minutes\" must be 1 to 35791394, found 0.", "interval.minutes"));
        row("interval-negative", at("\"minutes\" must be 1 to 35791394, found -5.", "interval.minutes"));
        row("interval-int-max", at("\"minutes\" must be 1 to 35791394, found 2147483647.", "interval.minutes"));
        row("daily-hour-24", at("\"hour\" must be 0 to 23, found 24.", "daily.times[0].hour"));
        row("daily-hour-negative", at("\"hour\" must be 0 to 23, found -1.", "daily.times[0].hour"));
        row("daily-hour-40000000", at("\"hour\" must be 0 to 23, found 40000000.", "daily.times[0].hour"));
        row("daily-hour-int-max", at("\"hour\" must be 0 to 23, found 2147483647.", "daily.times[0].hour"));
        row("daily-hour-beyond-int", at("Expected a 32-bit integer, found 4294967296.", "daily.times[0].hour"));
        row("daily-minute-60", at("\"minute\" must be 0 to 59, found 60.", "daily.times[0].minute"));
        row("daily-minute-int-min", at("\"minute\" must be 0 to 59, found -2147483648.", "daily.times[0].minute"));
        row("weekly-weekday-0", at("\"weekdays\" must be 1 to 7, found 0.", "weekly.weekdays[0]"));
        row("weekly-weekday-8", at("\"weekdays\" must be 1 to 7, found 8.", "weekly.weekdays[1]"));
        row("weekly-hour-int-max", at("\"hour\" must be 0 to 23, found 2147483647.", "weekly.times[0].hour"));
        row("monthly-day-0", at("\"day\" must be 1 to 31, found 0.", "monthly.day"));
        row("monthly-day-32", at("\"day\" must be 1 to 31, found 32.", "monthly.day"));
        row("monthly-last-day-minute-99",
            at("\"minute\" must be 0 to 59, found 99.", "monthlyLastDay.times[0].minute"));
        row("nth-weekday-nth-0", at("\"nth\" must be 1 to 4, found 0.", "monthlyNthWeekday.nth"));
        row("nth-weekday-nth-5", at("\"nth\" must be 1 to 4, found 5.", "monthlyNthWeekday.nth"));
        row("nth-weekday-weekday-0", at("\"weekday\" must be 1 to 7, found 0.", "monthlyNthWeekday.weekday"));
        row("nth-weekday-weekday-9", at("\"weekday\" must be 1 to 7, found 9.", "monthlyNthWeekday.weekday"));
    }
    void file_refusedWithItsMessage()
    {
        QFETCH(QString, file);
        QFETCH(QString, message);
        const QByteArray bytes = Sandbox::readFile(dataFile(file));
        QVERIFY(!bytes.isEmpty());
        const TaskMigration::ReadResult read = TaskMigration::read(bytes);
        QVERIFY(!read.ok());
        QCOMPARE(read.error->description, message);

        Sandbox sandbox;
        sandbox.writeTasksFile(bytes);
        const Sandbox::Result list = sandbox.runCli({u"list"_s});
        QCOMPARE(list.exitCode, 1);
        QCOMPARE(QString::fromUtf8(list.err), QString(u"moxley: Failed to load tasks: "_s % message % u'\n'));
        QCOMPARE(sandbox.readTasksFile(), bytes);

        // Imported into a good file, it is refused with the same words and changes nothing.
        Sandbox good;
        StandInTool launchctl(good, u"/bin/launchctl"_s);
        QCOMPARE(good.runCli({u"add"_s, u"--name"_s, u"Good"_s, u"--command"_s, u"true"_s}).exitCode, 0);
        const QByteArray before = good.readTasksFile();
        const Sandbox::Result import = good.runCli({u"import"_s, dataFile(file)});
        QCOMPARE(import.exitCode, 1);
        QVERIFY2(QString::fromUtf8(import.err).contains(message), import.err.constData());
        QCOMPARE(good.readTasksFile(), before);
    }

    // Every command on every file, and the app's start-up: an exit status, never a signal.
    void everyCommandAndTheApp_neverASignal()
    {
        const QStringList files = QDir(dataFile({})).entryList({u"tasks-*.json"_s}, QDir::Files);
        QCOMPARE(files.size(), 20);
        for (const QString &file : files) {
            const QByteArray bytes = Sandbox::readFile(dataFile(file));
            Sandbox sandbox;
            StandInTool launchctl(sandbox, u"/bin/launchctl"_s);
            StandInTool pmset(sandbox, u"/usr/bin/pmset"_s);
            sandbox.writeTasksFile(bytes);
            for (const QStringList &arguments : everyCommand(dataFile(file))) {
                const Sandbox::Result result = sandbox.runCli(arguments);
                const QString what = file % u": moxley " % arguments.join(u' ') % u": " % QString::fromUtf8(result.err);
                QVERIFY2(result.exitCode == 0 || result.exitCode == 1, qPrintable(what));
                // The file is never read as tasks, so no command acts on it or writes over it.
                QVERIFY2(sandbox.readTasksFile() == bytes, qPrintable(what));
            }
            const QString shot = sandbox.root() + u"/shot.png"_s;
            const Sandbox::Result app = sandbox.run(QStringLiteral(MOXLEY_APP_PATH), {u"--screenshot"_s, shot});
            QVERIFY2(app.exitCode == 0, qPrintable(file % u": moxley-app: " % QString::fromUtf8(app.err)));
            QVERIFY2(QFileInfo::exists(shot), qPrintable(file));
        }
    }
};

QTEST_GUILESS_MAIN(OutOfRangeFilesTest)
#include "test_out_of_range_files.moc"
