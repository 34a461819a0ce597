#include "UiWorld.h"

#include "ui/FullLogView.h"
#include "ui/TaskDetailView.h"
#include "ui/TestRunView.h"
#include "ui/ToggleSwitch.h"

#include <QClipboard>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QToolButton>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

QString runLine(const QDateTime &start, int seconds, int exitCode)
{
    const QString format = u"yyyy-MM-ddTHH:mm:ssZ"_s;
    return start.toUTC().toString(format) % u'\t' % start.addSecs(seconds).toUTC().toString(format) % u'\t' %
           QString::number(exitCode) % u'\n';
}

QByteArray numberedLines(int count)
{
    QByteArray text;
    for (int i = 1; i <= count; ++i) {
        text += "line " + QByteArray::number(i) + "\n";
    }
    return text;
}

QString joinedLines(int from, int to)
{
    QStringList lines;
    for (int i = from; i <= to; ++i) {
        lines << u"line " % QString::number(i);
    }
    return lines.join(u'\n');
}

} // namespace

class TaskDetailViewTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<UiWorld> world;
    std::unique_ptr<TaskStore> store;
    std::unique_ptr<TaskDetailView> view;

    void open(const ScheduledTask &task)
    {
        world->writeTasks({task});
        store = world->openStore();
        view = std::make_unique<TaskDetailView>(*store, *store->task(task.id));
        view->resize(700, 900);
        view->show();
        QVERIFY(QTest::qWaitForWindowExposed(view.get()));
    }

    QString text(const QString &name) const
    {
        auto *label = visibleChild<QLabel>(view.get(), name);
        return label ? label->text() : u"<no " % name % u">";
    }
    bool has(const QString &name) const { return visibleChild<QWidget>(view.get(), name) != nullptr; }
    int count(const QString &name) const
    {
        int n = 0;
        for (QWidget *widget : view->findChildren<QWidget *>(name)) {
            n += widget->isVisibleTo(view.get());
        }
        return n;
    }
    void writeRuns(const ScheduledTask &task, int good, int failedAtEnd = 0)
    {
        QString text;
        const QDateTime start(QDate(2025, 3, 1), QTime(6, 0), QTimeZone::utc());
        for (int i = 0; i < good + failedAtEnd; ++i) {
            text += runLine(start.addSecs(3600 * i), 5, i < good ? 0 : 3);
        }
        Sandbox::writeFile(store->launchdServiceForViews().runsPath(task), text.toUtf8());
    }
    void writeLog(const ScheduledTask &task, const QByteArray &text, bool standardError = false)
    {
        const LaunchdService &files = store->launchdServiceForViews();
        Sandbox::writeFile(standardError ? files.stderrLogPath(task) : files.stdoutLogPath(task), text);
    }
    void refresh()
    {
        QTest::mouseClick(visibleChild<QToolButton>(view.get(), u"detail-refresh-history"_s), Qt::LeftButton);
        flushDeletes();
    }

private Q_SLOTS:
    void init() { world = std::make_unique<UiWorld>(); }
    void cleanup()
    {
        view.reset();
        store.reset();
        flushDeletes();
        world.reset();
    }

    void header_nameStatusAndEnabledSwitch()
    {
        const ScheduledTask task =
            UiWorld::task(u"Backup"_s, u"tar czf a.tgz ."_s, TaskSchedule::daily({{9, 0}}), true);
        open(task);
        QCOMPARE(text(u"detail-name"_s), u"Backup"_s);
        QCOMPARE(text(u"detail-status"_s), u"Active"_s);
        auto *toggle = visibleChild<ToggleSwitch>(view.get(), u"detail-enabled-toggle"_s);
        QVERIFY(toggle);
        QCOMPARE(toggle->accessibleName(), u"detail-enabled-toggle"_s);
        QCOMPARE(toggle->text(), u"Enabled"_s);
        QVERIFY(toggle->isChecked());

        world->launchctl.clearCalls();
        QTest::mouseClick(toggle, Qt::LeftButton);
        QVERIFY(!store->task(task.id)->isEnabled);
        QCOMPARE(world->launchctl.calls().value(0).value(0), u"unload"_s);
        view->setTask(*store->task(task.id)); // as the main window does after a change
        flushDeletes();
        QCOMPARE(text(u"detail-status"_s), u"Disabled"_s);
        QVERIFY(!visibleChild<ToggleSwitch>(view.get(), u"detail-enabled-toggle"_s)->isChecked());
    }

    void actions_reachTheMainWindowAndOpenTheTestRun()
    {
        open(UiWorld::task(u"t"_s, u"echo from-test-run"_s));
        QCOMPARE(visibleChild<QPushButton>(view.get(), u"detail-test-run"_s)->text(), u"Test Run"_s);
        QSignalSpy edit(view.get(), &TaskDetailView::editRequested);
        QSignalSpy duplicate(view.get(), &TaskDetailView::duplicateRequested);
        QSignalSpy remove(view.get(), &TaskDetailView::deleteRequested);
        QTest::mouseClick(visibleChild<QPushButton>(view.get(), u"detail-edit"_s), Qt::LeftButton);
        QTest::mouseClick(visibleChild<QPushButton>(view.get(), u"detail-duplicate"_s), Qt::LeftButton);
        QTest::mouseClick(visibleChild<QPushButton>(view.get(), u"detail-delete"_s), Qt::LeftButton);
        QCOMPARE(edit.size(), 1);
        QCOMPARE(duplicate.size(), 1);
        QCOMPARE(remove.size(), 1);

        QTest::mouseClick(visibleChild<QPushButton>(view.get(), u"detail-test-run"_s), Qt::LeftButton);
        auto *sheet = view->findChild<TestRunView *>();
        QVERIFY(sheet);
        QTRY_VERIFY(sheet->findChild<QPlainTextEdit *>() &&
                    sheet->findChild<QPlainTextEdit *>()->toPlainText().contains(u"from-test-run"_s));
        sheet->close();
    }

    void copyButton_copiesAndShowsCopiedBriefly()
    {
        open(UiWorld::task(u"t"_s, u"echo 'a b' | wc -c"_s));
        QCOMPARE(text(u"detail-command"_s), u"echo 'a b' | wc -c"_s);
        auto *copy = visibleChild<QToolButton>(view.get(), u"detail-copy-command"_s);
        QVERIFY(copy);
        QCOMPARE(copy->accessibleName(), u"detail-copy-command"_s);
        QVERIFY(copy->text().isEmpty());
        QTest::mouseClick(copy, Qt::LeftButton);
        QCOMPARE(QGuiApplication::clipboard()->text(), u"echo 'a b' | wc -c"_s);
        QCOMPARE(copy->text(), u"Copied"_s);
        QTRY_VERIFY_WITH_TIMEOUT(copy->text().isEmpty(), TaskDetailView::kCopiedMilliseconds + 2000);
    }

    void environment_rowsOnlyForSetValues()
    {
        ScheduledTask task = UiWorld::task(u"t"_s, u"make"_s);
        task.workingDirectory = u"/Users/me/project"_s;
        open(task);
        QCOMPARE(text(u"detail-directory-label"_s), u"Directory:"_s);
        QCOMPARE(text(u"detail-directory"_s), u"/Users/me/project"_s);
        QVERIFY(!has(u"detail-env-file"_s));
        QCOMPARE(text(u"detail-shell-label"_s), u"Shell:"_s);

        ScheduledTask withEnv = UiWorld::task(u"u"_s, u"make"_s);
        withEnv.envFilePath = u"/Users/me/.env"_s;
        cleanup();
        init();
        open(withEnv);
        QVERIFY(!has(u"detail-directory"_s));
        QCOMPARE(text(u"detail-env-file-label"_s), u".env:"_s);
        QCOMPARE(text(u"detail-env-file"_s), u"/Users/me/.env"_s);
    }

    void notInstalled_showsTheMissingFileTexts()
    {
        open(UiWorld::task(u"off"_s, u"true"_s)); // disabled: nothing is installed
        QCOMPARE(text(u"detail-script"_s), u"Script not installed."_s);
        QCOMPARE(text(u"detail-plist"_s), u"Plist not installed."_s);
        QCOMPARE(text(u"detail-shell"_s), u"Unknown (script not found)"_s);
        QCOMPARE(text(u"detail-no-runs"_s), u"No runs recorded yet."_s);
        QCOMPARE(text(u"detail-log-text"_s), u"No stdout output."_s);
        QTest::mouseClick(visibleChild<QPushButton>(view.get(), u"detail-log-stderr"_s), Qt::LeftButton);
        flushDeletes();
        QCOMPARE(view->selectedLogTab(), TaskStore::LogStream::standardError);
        QCOMPARE(text(u"detail-log-text"_s), u"No stderr output."_s);
    }

    void installed_showsScriptPlistAndShell()
    {
        ScheduledTask task = UiWorld::task(u"on"_s, u"true"_s, TaskSchedule::daily({{9, 0}}), true);
        open(task); // the store installs enabled tasks that lack a current script
        const LaunchdService &files = store->launchdServiceForViews();
        QCOMPARE(text(u"detail-script"_s), QString::fromUtf8(Sandbox::readFile(files.scriptPath(task))));
        QCOMPARE(text(u"detail-plist"_s), QString::fromUtf8(Sandbox::readFile(files.plistPath(task))));
        QVERIFY(text(u"detail-plist"_s).contains(u"com.moxley.task."_s));
        QCOMPARE(text(u"detail-shell"_s), u"zsh (with shell profile)"_s);

        task.useLoginShell = false;
        store->update(task);
        view->setTask(*store->task(task.id));
        flushDeletes();
        QCOMPARE(text(u"detail-shell"_s), u"bash"_s);
    }

    void shellDetection_rules()
    {
        QCOMPARE(TaskDetailView::detectShell(std::nullopt), u"Unknown (script not found)"_s);
        QCOMPARE(TaskDetailView::detectShell(u""_s), u"Unknown"_s);
        QCOMPARE(TaskDetailView::detectShell(u"echo hi\n"_s), u"Unknown"_s);
        QCOMPARE(TaskDetailView::detectShell(u"#!/bin/bash\necho hi\n"_s), u"bash"_s);
        QCOMPARE(TaskDetailView::detectShell(u"#!/bin/zsh\nsource ~/.zprofile\n"_s), u"zsh (with shell profile)"_s);
        QCOMPARE(TaskDetailView::detectShell(u"#!/bin/zsh\nsource ~/.zshrc 2>/dev/null\n"_s),
                 u"zsh (with shell profile)"_s);
        QCOMPARE(TaskDetailView::detectShell(u"#!/usr/local/bin/fish"_s), u"fish"_s);
        // A script written by hand shows what its first line says.
        const ScheduledTask task = UiWorld::task(u"t"_s, u"true"_s);
        open(task);
        Sandbox::writeFile(store->launchdServiceForViews().scriptPath(task), "#!/bin/bash\necho hi\n", 0700);
        refresh();
        QCOMPARE(text(u"detail-shell"_s), u"bash"_s);
    }

    void wakeStatus_activeOrWarning()
    {
        ScheduledTask task = UiWorld::task(u"w"_s, u"true"_s, TaskSchedule::daily({{7, 0}}));
        task.wakeBeforeRun = true;
        world->pmset.setOutput("Repeating power events:\n  wakepoweron at 6:55AM every day\n", u"-g"_s);
        open(task);
        QCOMPARE(text(u"detail-schedule"_s), u"Daily at 7:00"_s);
        QCOMPARE(text(u"detail-wake-status"_s), u"Wakes Mac 5 min before"_s);

        // The wake entry removed outside the program.
        world->pmset.setOutput("Repeating power events:\n", u"-g"_s);
        refresh();
        QCOMPARE(text(u"detail-wake-status"_s), u"Wake requested but not active in system"_s);
    }

    void noWake_noWakeRow()
    {
        open(UiWorld::task(u"t"_s, u"true"_s));
        QVERIFY(!has(u"detail-wake-status"_s));
    }

    void history_twelveRuns_showTenAndTheRest()
    {
        const ScheduledTask task = UiWorld::task(u"t"_s, u"true"_s);
        open(task);
        writeRuns(task, 11, 1);
        refresh();
        QCOMPARE(count(u"detail-run-row"_s), 10);
        QCOMPARE(text(u"detail-more-runs"_s), u"2 more runs not shown"_s);
        // Oldest of the ten first; the last one failed.
        const QList<QLabel *> dates = view->widget()->findChildren<QLabel *>(u"detail-run-date"_s);
        QCOMPARE(dates.size(), 10);
        const QDateTime third =
            QDateTime(QDate(2025, 3, 1), QTime(6, 0), QTimeZone::utc()).addSecs(2 * 3600).toLocalTime();
        const QLocale locale;
        QCOMPARE(dates.first()->text(), locale.toString(third.date(), QLocale::ShortFormat) % u' ' %
                                            locale.toString(third.time(), QLocale::ShortFormat));
        const QList<QLabel *> exits = view->widget()->findChildren<QLabel *>(u"detail-run-exit"_s);
        QCOMPARE(exits.first()->text(), u"Exit: 0"_s);
        QCOMPARE(exits.last()->text(), u"Exit: 3"_s);
        const QList<QLabel *> icons = view->widget()->findChildren<QLabel *>(u"detail-run-icon"_s);
        QCOMPARE(icons.first()->accessibleName(), u"checkmark.circle.fill"_s);
        QCOMPARE(icons.last()->accessibleName(), u"xmark.circle.fill"_s);
    }

    void history_exactlyTenRuns_noMoreLine()
    {
        const ScheduledTask task = UiWorld::task(u"t"_s, u"true"_s);
        open(task);
        writeRuns(task, 10);
        refresh();
        QCOMPARE(count(u"detail-run-row"_s), 10);
        QVERIFY(!has(u"detail-more-runs"_s));
        QVERIFY(!has(u"detail-no-runs"_s));
    }

    void output_thirtyLines_noFullLogButton()
    {
        const ScheduledTask task = UiWorld::task(u"t"_s, u"true"_s);
        open(task);
        writeLog(task, numberedLines(30));
        refresh();
        QCOMPARE(text(u"detail-log-text"_s), joinedLines(1, 30));
        QVERIFY(!has(u"detail-show-full-log"_s));
    }

    void output_thirtyOneLines_buttonCountsThem()
    {
        const ScheduledTask task = UiWorld::task(u"t"_s, u"true"_s);
        open(task);
        writeLog(task, numberedLines(31));
        refresh();
        QCOMPARE(text(u"detail-log-text"_s), joinedLines(2, 31));
        QCOMPARE(visibleChild<QPushButton>(view.get(), u"detail-show-full-log"_s)->text(),
                 u"Show full log (31 lines)"_s);
    }

    void output_fiveHundredLines_lastThirtyInPlace_fullLogReadsAll()
    {
        const ScheduledTask task = UiWorld::task(u"t"_s, u"true"_s);
        open(task);
        // No line feed after the last line: the reader then keeps exactly 100 lines.
        writeLog(task, numberedLines(500).chopped(1), true);
        writeLog(task, "only stdout\n");
        refresh();
        QCOMPARE(text(u"detail-log-text"_s), u"only stdout"_s);
        QTest::mouseClick(visibleChild<QPushButton>(view.get(), u"detail-log-stderr"_s), Qt::LeftButton);
        flushDeletes();
        QCOMPARE(text(u"detail-log-text"_s), joinedLines(471, 500));
        auto *button = visibleChild<QPushButton>(view.get(), u"detail-show-full-log"_s);
        QCOMPARE(button->text(), u"Show full log (100 lines)"_s);
        QTest::mouseClick(button, Qt::LeftButton);
        auto *full = view->findChild<FullLogView *>();
        QVERIFY(full);
        QCOMPARE(full->title(), u"stderr"_s);
        QCOMPARE(full->content(), joinedLines(1, 500)); // read with the 10000-line limit
        full->close();
    }

    void refresh_readsTheFilesAgain()
    {
        const ScheduledTask task = UiWorld::task(u"t"_s, u"true"_s);
        open(task);
        QVERIFY(has(u"detail-no-runs"_s));
        writeRuns(task, 2);
        QVERIFY(has(u"detail-no-runs"_s)); // nothing changes by itself
        refresh();
        QCOMPARE(count(u"detail-run-row"_s), 2);
        QVERIFY(!has(u"detail-no-runs"_s));
    }
    void runNow_startsTheRealJobThroughTheScheduler()
    {
        ScheduledTask task = UiWorld::task(u"job"_s, u"true"_s, TaskSchedule::daily({{9, 0}}), true);
        open(task);
        auto *runNow = visibleChild<QPushButton>(view.get(), u"detail-run-now"_s);
        QVERIFY(runNow);
        QCOMPARE(runNow->text(), u"Run Now"_s);
        QVERIFY(runNow->isEnabled());
        world->launchctl.clearCalls();
        QTest::mouseClick(runNow, Qt::LeftButton);
        const QString target =
            u"gui/"_s + QString::number(::getuid()) + u"/com.moxley.task."_s + ScheduledTask::fullId(task.id);
        QCOMPARE(world->launchctl.calls(), (QList<QStringList>{{u"kickstart"_s, target}}));
        QVERIFY(!store->lastError());

        // The scheduler's failure reaches the Error alert through the store.
        world->launchctl.setExitStatus(113, u"kickstart"_s);
        QTest::mouseClick(runNow, Qt::LeftButton);
        QCOMPARE(store->lastError(), std::optional(u"launchctl kickstart failed (exit code 113)"_s));
    }

    void runNow_disabledTask_cannotStart()
    {
        open(UiWorld::task(u"off"_s, u"true"_s));
        QVERIFY(!visibleChild<QPushButton>(view.get(), u"detail-run-now"_s)->isEnabled());
        QCOMPARE(text(u"glance-next-runs"_s), u"None while the task is disabled."_s);
    }

    void nextRuns_dailyTask_theGlanceShowsTheComingTimeOnce()
    {
        open(UiWorld::task(u"job"_s, u"true"_s, TaskSchedule::daily({{9, 0}}), true));
        QDateTime expected(QDate::currentDate(), QTime(9, 0));
        if (expected <= QDateTime::currentDateTime()) {
            expected = expected.addDays(1);
        }
        // Under the schedule, the glance gives the coming runs; the schedule itself repeats none of them.
        const QString firstLine = text(u"glance-next-runs"_s).section(u'\n', 0, 0);
        QVERIFY2(firstLine.startsWith(QLocale::c().toString(expected, u"ddd d MMM HH:mm"_s) + u" (in "_s),
                 qPrintable(firstLine));
        QVERIFY(!view->findChild<QLabel *>(u"detail-next-run"_s));
    }
};

QTEST_MAIN(TaskDetailViewTest)
#include "test_task_detail_view.moc"
