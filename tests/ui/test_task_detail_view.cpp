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

namespace {

QString runLine(const QDateTime &start, int seconds, int exitCode)
{
    const QString format = u"yyyy-MM-ddTHH:mm:ssZ"_qs;
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
        QTest::mouseClick(visibleChild<QToolButton>(view.get(), u"detail-refresh-history"_qs), Qt::LeftButton);
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
        const ScheduledTask task = UiWorld::task(u"Backup"_qs, u"tar czf a.tgz ."_qs, TaskSchedule::daily({{9, 0}}), true);
        open(task);
        QCOMPARE(text(u"detail-name"_qs), u"Backup"_qs);
        QCOMPARE(text(u"detail-status"_qs), u"Active"_qs);
        auto *toggle = visibleChild<ToggleSwitch>(view.get(), u"detail-enabled-toggle"_qs);
        QVERIFY(toggle);
        QCOMPARE(toggle->accessibleName(), u"detail-enabled-toggle"_qs);
        QCOMPARE(toggle->text(), u"Enabled"_qs);
        QVERIFY(toggle->isChecked());

        world->launchctl.clearCalls();
        QTest::mouseClick(toggle, Qt::LeftButton);
        QVERIFY(!store->task(task.id)->isEnabled);
        QCOMPARE(world->launchctl.calls().value(0).value(0), u"unload"_qs);
        view->setTask(*store->task(task.id)); // as the main window does after a change
        flushDeletes();
        QCOMPARE(text(u"detail-status"_qs), u"Disabled"_qs);
        QVERIFY(!visibleChild<ToggleSwitch>(view.get(), u"detail-enabled-toggle"_qs)->isChecked());
    }

    void actions_reachTheMainWindowAndOpenTheTestRun()
    {
        open(UiWorld::task(u"t"_qs, u"echo from-test-run"_qs));
        QCOMPARE(visibleChild<QPushButton>(view.get(), u"detail-test-run"_qs)->text(), u"Test Run"_qs);
        QSignalSpy edit(view.get(), &TaskDetailView::editRequested);
        QSignalSpy duplicate(view.get(), &TaskDetailView::duplicateRequested);
        QSignalSpy remove(view.get(), &TaskDetailView::deleteRequested);
        QTest::mouseClick(visibleChild<QPushButton>(view.get(), u"detail-edit"_qs), Qt::LeftButton);
        QTest::mouseClick(visibleChild<QPushButton>(view.get(), u"detail-duplicate"_qs), Qt::LeftButton);
        QTest::mouseClick(visibleChild<QPushButton>(view.get(), u"detail-delete"_qs), Qt::LeftButton);
        QCOMPARE(edit.size(), 1);
        QCOMPARE(duplicate.size(), 1);
        QCOMPARE(remove.size(), 1);

        QTest::mouseClick(visibleChild<QPushButton>(view.get(), u"detail-test-run"_qs), Qt::LeftButton);
        auto *sheet = view->findChild<TestRunView *>();
        QVERIFY(sheet);
        QTRY_VERIFY(sheet->findChild<QPlainTextEdit *>() &&
                    sheet->findChild<QPlainTextEdit *>()->toPlainText().contains(u"from-test-run"_qs));
        sheet->close();
    }

    void copyButton_copiesAndShowsCopiedBriefly()
    {
        open(UiWorld::task(u"t"_qs, u"echo 'a b' | wc -c"_qs));
        QCOMPARE(text(u"detail-command"_qs), u"echo 'a b' | wc -c"_qs);
        auto *copy = visibleChild<QToolButton>(view.get(), u"detail-copy-command"_qs);
        QVERIFY(copy);
        QCOMPARE(copy->accessibleName(), u"detail-copy-command"_qs);
        QVERIFY(copy->text().isEmpty());
        QTest::mouseClick(copy, Qt::LeftButton);
        QCOMPARE(QGuiApplication::clipboard()->text(), u"echo 'a b' | wc -c"_qs);
        QCOMPARE(copy->text(), u"Copied"_qs);
        QTRY_VERIFY_WITH_TIMEOUT(copy->text().isEmpty(), TaskDetailView::kCopiedMilliseconds + 2000);
    }

    void environment_rowsOnlyForSetValues()
    {
        ScheduledTask task = UiWorld::task(u"t"_qs, u"make"_qs);
        task.workingDirectory = u"/Users/me/project"_qs;
        open(task);
        QCOMPARE(text(u"detail-directory-label"_qs), u"Directory:"_qs);
        QCOMPARE(text(u"detail-directory"_qs), u"/Users/me/project"_qs);
        QVERIFY(!has(u"detail-env-file"_qs));
        QCOMPARE(text(u"detail-shell-label"_qs), u"Shell:"_qs);

        ScheduledTask withEnv = UiWorld::task(u"u"_qs, u"make"_qs);
        withEnv.envFilePath = u"/Users/me/.env"_qs;
        cleanup();
        init();
        open(withEnv);
        QVERIFY(!has(u"detail-directory"_qs));
        QCOMPARE(text(u"detail-env-file-label"_qs), u".env:"_qs);
        QCOMPARE(text(u"detail-env-file"_qs), u"/Users/me/.env"_qs);
    }

    void notInstalled_showsTheMissingFileTexts()
    {
        open(UiWorld::task(u"off"_qs, u"true"_qs)); // disabled: nothing is installed
        QCOMPARE(text(u"detail-script"_qs), u"Script not installed."_qs);
        QCOMPARE(text(u"detail-plist"_qs), u"Plist not installed."_qs);
        QCOMPARE(text(u"detail-shell"_qs), u"Unknown (script not found)"_qs);
        QCOMPARE(text(u"detail-no-runs"_qs), u"No runs recorded yet."_qs);
        QCOMPARE(text(u"detail-log-text"_qs), u"No stdout output."_qs);
        QTest::mouseClick(visibleChild<QPushButton>(view.get(), u"detail-log-stderr"_qs), Qt::LeftButton);
        flushDeletes();
        QCOMPARE(view->selectedLogTab(), TaskStore::LogStream::standardError);
        QCOMPARE(text(u"detail-log-text"_qs), u"No stderr output."_qs);
    }

    void installed_showsScriptPlistAndShell()
    {
        ScheduledTask task = UiWorld::task(u"on"_qs, u"true"_qs, TaskSchedule::daily({{9, 0}}), true);
        open(task); // the store installs enabled tasks that lack a current script
        const LaunchdService &files = store->launchdServiceForViews();
        QCOMPARE(text(u"detail-script"_qs), QString::fromUtf8(Sandbox::readFile(files.scriptPath(task))));
        QCOMPARE(text(u"detail-plist"_qs), QString::fromUtf8(Sandbox::readFile(files.plistPath(task))));
        QVERIFY(text(u"detail-plist"_qs).contains(u"com.moxley.task."_qs));
        QCOMPARE(text(u"detail-shell"_qs), u"zsh (with shell profile)"_qs);

        task.useLoginShell = false;
        store->update(task);
        view->setTask(*store->task(task.id));
        flushDeletes();
        QCOMPARE(text(u"detail-shell"_qs), u"bash"_qs);
    }

    void shellDetection_rules()
    {
        QCOMPARE(TaskDetailView::detectShell(std::nullopt), u"Unknown (script not found)"_qs);
        QCOMPARE(TaskDetailView::detectShell(u""_qs), u"Unknown"_qs);
        QCOMPARE(TaskDetailView::detectShell(u"echo hi\n"_qs), u"Unknown"_qs);
        QCOMPARE(TaskDetailView::detectShell(u"#!/bin/bash\necho hi\n"_qs), u"bash"_qs);
        QCOMPARE(TaskDetailView::detectShell(u"#!/bin/zsh\nsource ~/.zprofile\n"_qs), u"zsh (with shell profile)"_qs);
        QCOMPARE(TaskDetailView::detectShell(u"#!/bin/zsh\nsource ~/.zshrc 2>/dev/null\n"_qs), u"zsh (with shell profile)"_qs);
        QCOMPARE(TaskDetailView::detectShell(u"#!/usr/local/bin/fish"_qs), u"fish"_qs);
        // A script written by hand shows what its first line says.
        const ScheduledTask task = UiWorld::task(u"t"_qs, u"true"_qs);
        open(task);
        Sandbox::writeFile(store->launchdServiceForViews().scriptPath(task), "#!/bin/bash\necho hi\n", 0700);
        refresh();
        QCOMPARE(text(u"detail-shell"_qs), u"bash"_qs);
    }

    void wakeStatus_activeOrWarning()
    {
        ScheduledTask task = UiWorld::task(u"w"_qs, u"true"_qs, TaskSchedule::daily({{7, 0}}));
        task.wakeBeforeRun = true;
        world->pmset.setOutput("Repeating power events:\n  wakepoweron at 6:55AM every day\n", u"-g"_qs);
        open(task);
        QCOMPARE(text(u"detail-schedule"_qs), u"Daily at 7:00"_qs);
        QCOMPARE(text(u"detail-wake-status"_qs), u"Wakes Mac 5 min before"_qs);

        // The wake entry removed outside the program.
        world->pmset.setOutput("Repeating power events:\n", u"-g"_qs);
        refresh();
        QCOMPARE(text(u"detail-wake-status"_qs), u"Wake requested but not active in system"_qs);
    }

    void noWake_noWakeRow()
    {
        open(UiWorld::task(u"t"_qs, u"true"_qs));
        QVERIFY(!has(u"detail-wake-status"_qs));
    }

    void history_twelveRuns_showTenAndTheRest()
    {
        const ScheduledTask task = UiWorld::task(u"t"_qs, u"true"_qs);
        open(task);
        writeRuns(task, 11, 1);
        refresh();
        QCOMPARE(count(u"detail-run-row"_qs), 10);
        QCOMPARE(text(u"detail-more-runs"_qs), u"2 more runs not shown"_qs);
        // Oldest of the ten first; the last one failed.
        const QList<QLabel *> dates = view->widget()->findChildren<QLabel *>(u"detail-run-date"_qs);
        QCOMPARE(dates.size(), 10);
        const QDateTime third = QDateTime(QDate(2025, 3, 1), QTime(6, 0), QTimeZone::utc()).addSecs(2 * 3600).toLocalTime();
        const QLocale locale;
        QCOMPARE(dates.first()->text(), locale.toString(third.date(), QLocale::ShortFormat) % u' ' %
                                            locale.toString(third.time(), QLocale::ShortFormat));
        const QList<QLabel *> exits = view->widget()->findChildren<QLabel *>(u"detail-run-exit"_qs);
        QCOMPARE(exits.first()->text(), u"Exit: 0"_qs);
        QCOMPARE(exits.last()->text(), u"Exit: 3"_qs);
        const QList<QLabel *> icons = view->widget()->findChildren<QLabel *>(u"detail-run-icon"_qs);
        QCOMPARE(icons.first()->accessibleName(), u"checkmark.circle.fill"_qs);
        QCOMPARE(icons.last()->accessibleName(), u"xmark.circle.fill"_qs);
    }

    void history_exactlyTenRuns_noMoreLine()
    {
        const ScheduledTask task = UiWorld::task(u"t"_qs, u"true"_qs);
        open(task);
        writeRuns(task, 10);
        refresh();
        QCOMPARE(count(u"detail-run-row"_qs), 10);
        QVERIFY(!has(u"detail-more-runs"_qs));
        QVERIFY(!has(u"detail-no-runs"_qs));
    }

    void output_thirtyLines_noFullLogButton()
    {
        const ScheduledTask task = UiWorld::task(u"t"_qs, u"true"_qs);
        open(task);
        writeLog(task, numberedLines(30));
        refresh();
        QCOMPARE(text(u"detail-log-text"_qs), joinedLines(1, 30));
        QVERIFY(!has(u"detail-show-full-log"_qs));
    }

    void output_thirtyOneLines_buttonCountsThem()
    {
        const ScheduledTask task = UiWorld::task(u"t"_qs, u"true"_qs);
        open(task);
        writeLog(task, numberedLines(31));
        refresh();
        QCOMPARE(text(u"detail-log-text"_qs), joinedLines(2, 31));
        QCOMPARE(visibleChild<QPushButton>(view.get(), u"detail-show-full-log"_qs)->text(), u"Show full log (31 lines)"_qs);
    }

    void output_fiveHundredLines_lastThirtyInPlace_fullLogReadsAll()
    {
        const ScheduledTask task = UiWorld::task(u"t"_qs, u"true"_qs);
        open(task);
        // No line feed after the last line: the reader then keeps exactly 100 lines.
        writeLog(task, numberedLines(500).chopped(1), true);
        writeLog(task, "only stdout\n");
        refresh();
        QCOMPARE(text(u"detail-log-text"_qs), u"only stdout"_qs);
        QTest::mouseClick(visibleChild<QPushButton>(view.get(), u"detail-log-stderr"_qs), Qt::LeftButton);
        flushDeletes();
        QCOMPARE(text(u"detail-log-text"_qs), joinedLines(471, 500));
        auto *button = visibleChild<QPushButton>(view.get(), u"detail-show-full-log"_qs);
        QCOMPARE(button->text(), u"Show full log (100 lines)"_qs);
        QTest::mouseClick(button, Qt::LeftButton);
        auto *full = view->findChild<FullLogView *>();
        QVERIFY(full);
        QCOMPARE(full->title(), u"stderr"_qs);
        QCOMPARE(full->content(), joinedLines(1, 500)); // read with the 10000-line limit
        full->close();
    }

    void refresh_readsTheFilesAgain()
    {
        const ScheduledTask task = UiWorld::task(u"t"_qs, u"true"_qs);
        open(task);
        QVERIFY(has(u"detail-no-runs"_qs));
        writeRuns(task, 2);
        QVERIFY(has(u"detail-no-runs"_qs)); // nothing changes by itself
        refresh();
        QCOMPARE(count(u"detail-run-row"_qs), 2);
        QVERIFY(!has(u"detail-no-runs"_qs));
    }
};

QTEST_MAIN(TaskDetailViewTest)
#include "test_task_detail_view.moc"
