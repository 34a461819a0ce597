#include "Sandbox.h"
#include "StandInTool.h"
#include "launchd/LaunchdService.h"
#include "launchd/PmsetService.h"
#include "model/TaskMigration.h"
#include "runner/TaskRunner.h"
#include "store/TaskStore.h"
#include "ui/AddTaskView.h"
#include "ui/EditTaskView.h"
#include "ui/TaskFormView.h"
#include "ui/TestRunView.h"
#include "ui/TimeInputView.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QToolButton>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

template <typename T> T *child(const QWidget &parent, const QString &name)
{
    T *found = parent.findChild<T *>(name);
    if (!found) {
        qFatal("no child named %s", qPrintable(name));
    }
    return found;
}

void choose(QComboBox *combo, const QString &label)
{
    const int index = combo->findText(label);
    QVERIFY2(index >= 0, qPrintable(label));
    QVERIFY2(combo->isVisible(), qPrintable(label));
    combo->setCurrentIndex(index);
}

void click(QAbstractButton *button)
{
    QVERIFY2(button->isVisible(), qPrintable(button->text()));
    QVERIFY2(button->isEnabled(), qPrintable(button->text()));
    const QPoint where = qobject_cast<QCheckBox *>(button) ? QPoint(8, button->height() / 2) : button->rect().center();
    QTest::mouseClick(button, Qt::LeftButton, {}, where);
}

QList<TimeInputView *> timeInputs(const QWidget &form)
{
    QList<TimeInputView *> inputs;
    for (QWidget *row : form.findChildren<QWidget *>(u"form-time-row"_s)) {
        if (row->isVisibleTo(&form)) {
            inputs << row->findChild<TimeInputView *>();
        }
    }
    return inputs;
}

void setTime(TimeInputView *input, int hour, int minute)
{
    choose(input->hourPicker(), QString::number(hour));
    choose(input->minutePicker(), QString::asprintf("%02d", minute));
}

QList<TimeOfDay> times(std::initializer_list<std::pair<int, int>> values)
{
    QList<TimeOfDay> list;
    for (const auto &[hour, minute] : values) {
        list << TimeOfDay{hour, minute};
    }
    return list;
}

// A sandbox with stand-in launchctl, osascript and pmset, and the real store over it.
struct World {
    Sandbox sandbox;
    StandInTool launchctl{sandbox, u"/bin/launchctl"_s};
    StandInTool osascript{sandbox, u"/usr/bin/osascript"_s};
    StandInTool pmset{sandbox, u"/usr/bin/pmset"_s};
    std::unique_ptr<TaskStore> store;

    World()
    {
        TaskStore::Options options;
        options.tasksFile = sandbox.tasksFile();
        options.pmsetService =
            std::make_shared<PmsetService>([] { return QDateTime(QDate(2025, 3, 1), QTime(10, 0)); });
        store = std::make_unique<TaskStore>(std::move(options));
        launchctl.clearCalls();
    }

    QList<ScheduledTask> savedTasks() const { return TaskMigration::read(sandbox.readTasksFile()).tasks; }

    // The task's job as launchd would find it: the property list and script written for exactly
    // this task, and loaded.
    void verifyInstalled(const ScheduledTask &task) const
    {
        const LaunchdService service;
        QCOMPARE(QString::fromUtf8(Sandbox::readFile(service.plistPath(task))), service.plistText(task));
        QCOMPARE(QString::fromUtf8(Sandbox::readFile(service.scriptPath(task))), service.scriptText(task));
        QVERIFY(launchctl.calls().contains(QStringList{u"load"_s, service.plistPath(task)}));
    }
};

// The add sheet, shown, with its parts at hand.
struct AddSheet {
    AddTaskView view;
    QList<ScheduledTask> created;
    TaskFormView *form;
    QLineEdit *name;
    QPlainTextEdit *command;
    QComboBox *type;
    QPushButton *add;
    QPushButton *testRun;
    QPushButton *cancel;

    explicit AddSheet(TaskStore &store)
        : view(store), form(view.form()), name(child<QLineEdit>(view, u"form-task-name"_s)),
          command(child<QPlainTextEdit>(view, u"form-task-command"_s)),
          type(child<QComboBox>(view, u"form-schedule-type"_s)), add(child<QPushButton>(view, u"form-add-task"_s)),
          testRun(child<QPushButton>(view, u"form-test-run"_s)), cancel(child<QPushButton>(view, u"form-cancel"_s))
    {
        view.setOnCreated([this](const ScheduledTask &task) { created << task; });
        view.show();
        if (!QTest::qWaitForWindowExposed(&view)) {
            qFatal("sheet not shown");
        }
    }

    void fill(const QString &taskName, const QString &taskCommand)
    {
        QTest::keyClicks(name, taskName);
        QTest::keyClicks(command, taskCommand);
    }
};

} // namespace

class AddEditTaskViewTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { qputenv("SHELL", "/bin/zsh"); }

    void addSheet_bottomBar()
    {
        World world;
        AddSheet sheet(*world.store);
        QCOMPARE(sheet.add->text(), u"Add Task"_s);
        QCOMPARE(sheet.add->accessibleName(), u"form-add-task"_s);
        QCOMPARE(sheet.testRun->text(), u"Test Run"_s);
        QVERIFY(!sheet.testRun->icon().isNull());
        QCOMPARE(sheet.cancel->text(), u"Cancel"_s);
        QVERIFY(sheet.add->isDefault());
        // Order: Test Run on the leading side, then Cancel, then Add Task.
        QVERIFY(sheet.testRun->x() < sheet.cancel->x());
        QVERIFY(sheet.cancel->x() < sheet.add->x());
    }

    void addSheet_disabledRules()
    {
        World world;
        AddSheet sheet(*world.store);
        QVERIFY(!sheet.add->isEnabled());
        QVERIFY(!sheet.testRun->isEnabled());
        QTest::keyClicks(sheet.name, u"Name"_s);
        QVERIFY(!sheet.add->isEnabled());
        QVERIFY(!sheet.testRun->isEnabled());
        sheet.name->clear();
        QTest::keyClicks(sheet.command, u"x"_s);
        QVERIFY(!sheet.add->isEnabled());
        QVERIFY(sheet.testRun->isEnabled());
        QTest::keyClicks(sheet.name, u"N"_s);
        QVERIFY(sheet.add->isEnabled());
        sheet.command->clear();
        QVERIFY(!sheet.add->isEnabled());
        QVERIFY(!sheet.testRun->isEnabled());

        // Return with the button disabled adds nothing.
        QTest::keyClick(sheet.name, Qt::Key_Return);
        QVERIFY(sheet.view.isVisible());
        QVERIFY(world.store->tasks().isEmpty());
    }

    void addSheet_intervalCaptionShowsWhateverKindCameBefore_data()
    {
        QTest::addColumn<QString>("before");
        QTest::newRow("run at load") << u"Run at load (login / reboot)"_s;
        QTest::newRow("daily") << u"Daily"_s;
        QTest::newRow("weekly") << u"Weekly"_s;
        QTest::newRow("monthly") << u"Monthly"_s;
    }
    void addSheet_intervalCaptionShowsWhateverKindCameBefore()
    {
        QFETCH(QString, before);
        World world;
        AddSheet sheet(*world.store);
        choose(sheet.type, before);
        QCoreApplication::processEvents();
        choose(sheet.type, u"Every N minutes"_s);
        QCoreApplication::processEvents();
        auto *caption = child<QLabel>(sheet.view, u"form-interval-caption"_s);
        QVERIFY(caption->isVisible());
        QCOMPARE(caption->text(), u"Starts when the task is enabled, then repeats at this interval."_s);
        // Laid out with room for its text, below the interval picker, inside the form.
        QTRY_VERIFY2(caption->height() >= caption->heightForWidth(caption->width()),
                     qPrintable(u"%1 < %2"_s.arg(caption->height()).arg(caption->heightForWidth(caption->width()))));
        auto *interval = child<QComboBox>(sheet.view, u"form-interval"_s);
        const QWidget *box = caption->parentWidget();
        QVERIFY(caption->mapTo(box, QPoint(0, 0)).y() >= interval->mapTo(box, QPoint(0, interval->height())).y());
        QVERIFY(box->rect().contains(QRect(caption->mapTo(box, QPoint(0, 0)), caption->size())));
    }

    void add_daily_timesSorted_installed()
    {
        World world;
        AddSheet sheet(*world.store);
        sheet.fill(u"Backup"_s, u"make backup"_s);
        setTime(timeInputs(*sheet.form).at(0), 18, 0);
        click(child<QPushButton>(sheet.view, u"form-add-time"_s));
        setTime(timeInputs(*sheet.form).at(1), 7, 30);
        click(sheet.add);

        QCOMPARE(world.store->tasks().size(), 1);
        const ScheduledTask task = world.store->tasks().first();
        QVERIFY(!task.id.isNull());
        QCOMPARE(task.name, u"Backup"_s);
        QCOMPARE(task.command, u"make backup"_s);
        QCOMPARE(task.schedule, TaskSchedule::daily(times({{7, 30}, {18, 0}})));
        QCOMPARE(task.workingDirectory, std::nullopt);
        QCOMPARE(task.envFilePath, std::nullopt);
        QVERIFY(task.useLoginShell);
        QVERIFY(!task.wakeBeforeRun);
        QVERIFY(task.isEnabled);
        QVERIFY(task.logs.isEmpty());
        QCOMPARE(sheet.created, QList<ScheduledTask>{task});
        QCOMPARE(world.savedTasks(), QList<ScheduledTask>{task});
        world.verifyInstalled(task);
        QVERIFY(!sheet.view.isVisible());
        QCOMPARE(sheet.view.result(), int(QDialog::Accepted));
    }

    void add_everyKind_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<TaskSchedule>("expected");
        QTest::newRow("run at load") << u"runAtLoad"_s << TaskSchedule::runAtLoad();
        QTest::newRow("interval") << u"interval"_s << TaskSchedule::interval(90);
        QTest::newRow("weekly") << u"weekly"_s << TaskSchedule::weekly({2, 7}, times({{6, 15}}));
        QTest::newRow("monthly day") << u"monthly"_s << TaskSchedule::monthly(31, times({{7, 0}}));
        QTest::newRow("last day") << u"lastDay"_s << TaskSchedule::monthlyLastDay(times({{7, 0}, {9, 0}}));
        QTest::newRow("nth weekday") << u"nthWeekday"_s << TaskSchedule::monthlyNthWeekday(3, 5, times({{7, 0}}));
    }
    void add_everyKind()
    {
        QFETCH(QString, kind);
        QFETCH(TaskSchedule, expected);
        World world;
        AddSheet sheet(*world.store);
        sheet.fill(u"Job"_s, u"echo job"_s);
        QWidget &view = sheet.view;
        if (kind == u"runAtLoad") {
            choose(sheet.type, u"Run at load (login / reboot)"_s);
        } else if (kind == u"interval") {
            choose(sheet.type, u"Every N minutes"_s);
            choose(child<QComboBox>(view, u"form-interval"_s), u"Every 1h 30m"_s);
        } else if (kind == u"weekly") {
            choose(sheet.type, u"Weekly"_s);
            click(child<QPushButton>(view, u"form-weekday-7"_s));
            setTime(timeInputs(*sheet.form).at(0), 6, 15);
        } else {
            choose(sheet.type, u"Monthly"_s);
            auto *when = child<QComboBox>(view, u"form-monthly-type"_s);
            if (kind == u"monthly") {
                choose(child<QComboBox>(view, u"form-day-of-month"_s), u"31"_s);
            } else if (kind == u"lastDay") {
                choose(when, u"Last day of month"_s);
                click(child<QPushButton>(view, u"form-add-time"_s));
            } else {
                choose(when, u"Nth weekday"_s);
                choose(child<QComboBox>(view, u"form-nth-week"_s), u"3rd"_s);
                choose(child<QComboBox>(view, u"form-nth-weekday"_s), u"Thursday"_s);
            }
        }
        click(sheet.add);
        QCOMPARE(world.store->tasks().size(), 1);
        const ScheduledTask task = world.store->tasks().first();
        QCOMPARE(task.schedule, expected);
        QCOMPARE(world.savedTasks(), QList<ScheduledTask>{task});
        world.verifyInstalled(task);
    }

    void add_blankNameAndEnvironment_keptAsTyped()
    {
        World world;
        AddSheet sheet(*world.store);
        sheet.fill(u"   "_s, u"  ls -la  "_s);
        QTest::keyClicks(child<QLineEdit>(sheet.view, u"form-working-directory"_s), u"/tmp/it's here"_s);
        QTest::keyClicks(child<QLineEdit>(sheet.view, u"form-env-file"_s), u"/tmp/.env"_s);
        click(child<QCheckBox>(sheet.view, u"form-login-shell"_s));
        QVERIFY(sheet.add->isEnabled());
        click(sheet.add);
        const ScheduledTask task = world.store->tasks().value(0);
        QCOMPARE(task.name, u"   "_s);
        QCOMPARE(task.command, u"  ls -la  "_s);
        QCOMPARE(task.workingDirectory, std::optional(u"/tmp/it's here"_s));
        QCOMPARE(task.envFilePath, std::optional(u"/tmp/.env"_s));
        QVERIFY(!task.useLoginShell);
        world.verifyInstalled(task);
    }

    void add_withWake_registersWakeThenInstalls()
    {
        World world;
        AddSheet sheet(*world.store);
        sheet.fill(u"Early"_s, u"echo early"_s);
        click(child<QCheckBox>(sheet.view, u"form-wake"_s));
        click(sheet.add);
        const ScheduledTask task = world.store->tasks().value(0);
        QVERIFY(task.wakeBeforeRun);
        QCOMPARE(world.osascript.calls().size(), 1);
        QVERIFY(world.osascript.calls().first().join(u' ').contains(u"pmset repeat wakeorpoweron MTWRFSU 06:55:00"_s));
        world.verifyInstalled(task);
    }

    void returnKey_adds()
    {
        World world;
        AddSheet sheet(*world.store);
        sheet.fill(u"Quick"_s, u"true"_s);
        QTest::keyClick(sheet.name, Qt::Key_Return);
        QCOMPARE(world.store->tasks().size(), 1);
        QCOMPARE(world.store->tasks().first().name, u"Quick"_s);
        QVERIFY(!sheet.view.isVisible());
    }

    void escape_cancelsWithoutEffect()
    {
        World world;
        AddSheet sheet(*world.store);
        sheet.fill(u"Never"_s, u"true"_s);
        QTest::keyClick(sheet.name, Qt::Key_Escape);
        QVERIFY(!sheet.view.isVisible());
        QCOMPARE(sheet.view.result(), int(QDialog::Rejected));
        QVERIFY(world.store->tasks().isEmpty());
        QVERIFY(sheet.created.isEmpty());
        QVERIFY(world.launchctl.calls().isEmpty());
    }

    void cancelButton_closes()
    {
        World world;
        AddSheet sheet(*world.store);
        sheet.fill(u"Never"_s, u"true"_s);
        click(sheet.cancel);
        QVERIFY(!sheet.view.isVisible());
        QVERIFY(world.store->tasks().isEmpty());
    }

    void testRun_runsTheFormsCommand()
    {
        World world;
        AddSheet sheet(*world.store);
        QTest::keyClicks(sheet.command, u"pwd; echo \"$GREETING\""_s);
        QTest::keyClicks(child<QLineEdit>(sheet.view, u"form-working-directory"_s), world.sandbox.home());
        const QString env = world.sandbox.root() + u"/test.env"_s;
        Sandbox::writeFile(env, "GREETING='hello from env'\n");
        QTest::keyClicks(child<QLineEdit>(sheet.view, u"form-env-file"_s), env);
        // With the login shell on (zsh, which knows `source`).
        QVERIFY(child<QCheckBox>(sheet.view, u"form-login-shell"_s)->isChecked());
        click(sheet.testRun);
        auto *run = sheet.view.findChild<TestRunView *>();
        QVERIFY(run);
        QTRY_VERIFY(run->isVisible());
        QCOMPARE(child<QLabel>(*run, u"test-run-command"_s)->text(), u"pwd; echo \"$GREETING\""_s);
        QTRY_VERIFY(run->runner().exitCode().has_value());
        QTRY_COMPARE(child<QPlainTextEdit>(*run, u"test-run-output"_s)->toPlainText(),
                     QString(world.sandbox.home() + u"\nhello from env\n"));
        // A test run records nothing and adds nothing.
        QVERIFY(world.store->tasks().isEmpty());
        QVERIFY(sheet.view.isVisible());
    }

    void edit_weeklyIntoInterval_keepsIdStateAndLogs()
    {
        World world;
        ScheduledTask original;
        original.id = QUuid::createUuid();
        original.name = u"Weekly report"_s;
        original.command = u"make report"_s;
        original.workingDirectory = u"/srv/reports"_s;
        original.schedule = TaskSchedule::weekly({3, 5}, times({{8, 0}, {17, 45}}));
        original.logs = {TaskLog{QUuid::createUuid(), 700000000.0, 0, u"old output"_s}};
        world.store->add(original);
        world.launchctl.clearCalls();

        EditTaskView view(*world.store, original);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        TaskFormView *form = view.form();
        QCOMPARE(child<QComboBox>(view, u"form-schedule-type"_s)->currentText(), u"Weekly"_s);
        QVERIFY(child<QPushButton>(view, u"form-weekday-3"_s)->isChecked());
        QVERIFY(child<QPushButton>(view, u"form-weekday-5"_s)->isChecked());
        QVERIFY(!child<QPushButton>(view, u"form-weekday-2"_s)->isChecked());
        QCOMPARE(timeInputs(*form).size(), 2);
        QCOMPARE(child<QLineEdit>(view, u"form-task-name"_s)->text(), u"Weekly report"_s);
        QCOMPARE(child<QLineEdit>(view, u"form-working-directory"_s)->text(), u"/srv/reports"_s);
        QCOMPARE(child<QLineEdit>(view, u"form-env-file"_s)->text(), QString());

        choose(child<QComboBox>(view, u"form-schedule-type"_s), u"Every N minutes"_s);
        choose(child<QComboBox>(view, u"form-interval"_s), u"Every 15 min"_s);
        // The weekday choice stays in the form but is not saved.
        QCOMPARE(form->fields().weekdays, (QSet<int>{3, 5}));
        auto *save = child<QPushButton>(view, u"form-save"_s);
        QCOMPARE(save->text(), u"Save"_s);
        click(save);

        QCOMPARE(world.store->tasks().size(), 1);
        const ScheduledTask saved = world.store->tasks().first();
        ScheduledTask expected = original;
        expected.schedule = TaskSchedule::interval(15);
        QCOMPARE(saved, expected);
        QCOMPARE(world.savedTasks(), QList<ScheduledTask>{expected});
        world.verifyInstalled(saved);
        QVERIFY(!view.isVisible());
    }

    void edit_disabledTask_staysDisabled_notInstalled()
    {
        World world;
        ScheduledTask original;
        original.id = QUuid::createUuid();
        original.name = u"Off"_s;
        original.command = u"true"_s;
        original.isEnabled = false;
        original.schedule = TaskSchedule::monthlyNthWeekday(4, 6, times({{18, 0}}));
        world.store->add(original);

        EditTaskView view(*world.store, original);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        QCOMPARE(child<QComboBox>(view, u"form-monthly-type"_s)->currentText(), u"Nth weekday"_s);
        QCOMPARE(child<QComboBox>(view, u"form-nth-week"_s)->currentText(), u"4th"_s);
        QCOMPARE(child<QComboBox>(view, u"form-nth-weekday"_s)->currentText(), u"Friday"_s);
        // What the schedule does not carry takes the new-task defaults.
        QCOMPARE(view.form()->fields().weekdays, QSet<int>{2});
        QCOMPARE(view.form()->fields().dayOfMonth, 1);
        QCOMPARE(view.form()->fields().intervalMinutes, 5);

        auto *name = child<QLineEdit>(view, u"form-task-name"_s);
        name->selectAll();
        QTest::keyClicks(name, u"Renamed"_s);
        QTest::keyClick(name, Qt::Key_Return);
        const ScheduledTask saved = world.store->tasks().value(0);
        QCOMPARE(saved.name, u"Renamed"_s);
        QVERIFY(!saved.isEnabled);
        QCOMPARE(saved.id, original.id);
        QVERIFY(world.launchctl.calls().isEmpty());
        QVERIFY(!QFileInfo::exists(LaunchdService().plistPath(saved)));
    }

    // The task changed in the store while the sheet was open (the tool switched it off and gave it
    // another command): the sheet's save keeps those and adds its own rename.
    void edit_taskChangedWhileOpen_saveKeepsThoseChanges()
    {
        World world;
        ScheduledTask original;
        original.id = QUuid::createUuid();
        original.name = u"Nightly"_s;
        original.command = u"make nightly"_s;
        original.schedule = TaskSchedule::daily(times({{2, 30}}));
        world.store->add(original);

        EditTaskView view(*world.store, original);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        world.store->setEnabled(false, original.id);
        ScheduledTask meanwhile = *world.store->task(original.id);
        meanwhile.command = u"make nightly-fast"_s;
        world.store->update(meanwhile);
        world.launchctl.clearCalls();

        auto *name = child<QLineEdit>(view, u"form-task-name"_s);
        name->selectAll();
        QTest::keyClicks(name, u"Nightly build"_s);
        QTest::keyClick(name, Qt::Key_Return);
        ScheduledTask expected = meanwhile;
        expected.name = u"Nightly build"_s;
        QCOMPARE(world.store->tasks(), QList<ScheduledTask>{expected});
        QVERIFY(world.launchctl.calls().isEmpty());
    }

    void edit_saveDisabledWhileEmpty_escapeCancels()
    {
        World world;
        ScheduledTask original;
        original.id = QUuid::createUuid();
        original.name = u"Keep"_s;
        original.command = u"true"_s;
        original.isEnabled = false;
        world.store->add(original);

        EditTaskView view(*world.store, original);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        auto *save = child<QPushButton>(view, u"form-save"_s);
        QVERIFY(save->isEnabled());
        auto *command = child<QPlainTextEdit>(view, u"form-task-command"_s);
        command->clear();
        QVERIFY(!save->isEnabled());
        QTest::keyClicks(command, u"false"_s);
        QVERIFY(save->isEnabled());
        QVERIFY(!view.findChild<QPushButton *>(u"form-test-run"_s));
        QTest::keyClick(child<QLineEdit>(view, u"form-task-name"_s), Qt::Key_Escape);
        QVERIFY(!view.isVisible());
        QCOMPARE(world.store->tasks(), QList<ScheduledTask>{original});
    }

    void fromTask_everyKindRoundTrips_data()
    {
        QTest::addColumn<TaskSchedule>("schedule");
        QTest::newRow("run at load") << TaskSchedule::runAtLoad();
        QTest::newRow("interval") << TaskSchedule::interval(720);
        QTest::newRow("daily") << TaskSchedule::daily(times({{0, 0}, {23, 59}}));
        QTest::newRow("weekly") << TaskSchedule::weekly({1, 4, 7}, times({{12, 5}}));
        QTest::newRow("monthly") << TaskSchedule::monthly(29, times({{3, 3}}));
        QTest::newRow("last day") << TaskSchedule::monthlyLastDay(times({{22, 0}}));
        QTest::newRow("nth") << TaskSchedule::monthlyNthWeekday(2, 3, times({{8, 30}}));
    }
    void fromTask_everyKindRoundTrips()
    {
        QFETCH(TaskSchedule, schedule);
        ScheduledTask task;
        task.id = QUuid::createUuid();
        task.name = u"T"_s;
        task.command = u"c"_s;
        task.schedule = schedule;
        task.wakeBeforeRun = true;
        task.useLoginShell = false;
        const TaskFormFields fields = TaskFormFields::fromTask(task);
        QCOMPARE(fields.applyTo(task), task);
        QCOMPARE(fields.newTask().schedule, schedule);
        QVERIFY(fields.newTask().id != task.id);
    }
};

QTEST_MAIN(AddEditTaskViewTest)
#include "test_add_edit_task_view.moc"
