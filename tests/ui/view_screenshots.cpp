// Draws each of the task-form views in a few telling states and saves them as PNG files, for a
// person to look at: `xvfb-run -a ./view_screenshots OUTPUT_DIR`.
#include "FakeKeychain.h"
#include "Sandbox.h"
#include "StandInTool.h"
#include "launchd/PmsetService.h"
#include "runner/TaskRunner.h"
#include "store/TaskStore.h"
#include "ui/AddTaskView.h"
#include "ui/EditTaskView.h"
#include "ui/GmailSetupView.h"
#include "ui/ShortcutsPickerView.h"
#include "ui/TaskFormView.h"
#include "ui/TestRunView.h"

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QPushButton>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

QString outputDir;

void save(QWidget &widget, const QString &name)
{
    widget.show();
    if (!QTest::qWaitForWindowExposed(&widget)) {
        qWarning("%s was not exposed", qPrintable(name));
    }
    QTest::qWait(150);
    const QString path = outputDir % u'/' % name % u".png";
    if (!widget.grab().save(path)) {
        qFatal("cannot write %s", qPrintable(path));
    }
    qInfo("%s", qPrintable(path));
}

template <typename Predicate> void waitFor(Predicate done)
{
    QTRY_VERIFY_WITH_TIMEOUT(done(), 20000);
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    outputDir = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QDir::currentPath();
    QDir().mkpath(outputDir);
    qputenv("SHELL", "/bin/zsh");

    Sandbox sandbox;
    StandInTool launchctl(sandbox, u"/bin/launchctl"_s);
    StandInTool osascript(sandbox, u"/usr/bin/osascript"_s);
    StandInTool shortcuts(sandbox, u"/usr/bin/shortcuts"_s);
    TaskStore::Options options;
    options.tasksFile = sandbox.tasksFile();
    options.pmsetService = std::make_shared<PmsetService>();
    TaskStore store(std::move(options));

    {
        AddTaskView add(store);
        add.resize(560, 760);
        save(add, u"add-task-empty"_s);
    }
    {
        AddTaskView add(store);
        add.resize(560, 860);
        TaskFormFields fields;
        fields.name = u"Morning backup"_s;
        fields.command = u"rsync -a ~/Documents /Volumes/Backup/\necho done"_s;
        fields.scheduleType = ScheduleType::weekly;
        fields.weekdays = {2, 4, 6};
        fields.times = {TimeOfDay{7, 0}, TimeOfDay{18, 30}};
        fields.wakeBeforeRun = true;
        fields.workingDirectory = u"/Users/you/project"_s;
        add.form()->setFields(fields);
        save(add, u"add-task-weekly"_s);
    }
    {
        // Every N minutes right after Run at load, the way its caption once lost its room.
        AddTaskView add(store);
        add.resize(560, 760);
        TaskFormFields fields;
        fields.name = u"Sync notes"_s;
        fields.command = u"git -C ~/notes pull --rebase && git -C ~/notes push"_s;
        fields.scheduleType = ScheduleType::runAtLoad;
        add.form()->setFields(fields);
        save(add, u"add-task-run-at-load"_s);
        fields.scheduleType = ScheduleType::interval;
        add.form()->setFields(fields);
        save(add, u"add-task-interval-after-run-at-load"_s);
    }
    {
        ScheduledTask task;
        task.id = QUuid::createUuid();
        task.name = u"Pay rent reminder"_s;
        task.command = u"osascript -e 'display notification \"Rent\"'"_s;
        task.schedule = TaskSchedule::monthlyNthWeekday(2, 2, {TimeOfDay{9, 0}});
        task.wakeBeforeRun = true;
        EditTaskView edit(store, task);
        edit.resize(560, 780);
        save(edit, u"edit-task-nth-weekday"_s);
        TaskFormFields fields = edit.form()->fields();
        fields.monthlyType = MonthlyType::specificDay;
        fields.dayOfMonth = 31;
        edit.form()->setFields(fields);
        save(edit, u"edit-task-day-31"_s);
        fields.scheduleType = ScheduleType::interval;
        fields.intervalMinutes = 90;
        edit.form()->setFields(fields);
        save(edit, u"edit-task-interval"_s);
        fields.scheduleType = ScheduleType::runAtLoad;
        fields.useLoginShell = false;
        edit.form()->setFields(fields);
        save(edit, u"edit-task-run-at-load"_s);
    }
    {
        TestRunView run(u"for i in 1 2 3; do echo \"line $i\"; done; echo oops >&2; exit 2"_s, std::nullopt,
                        std::nullopt, false);
        run.show();
        waitFor([&] { return run.runner().exitCode().has_value(); });
        save(run, u"test-run-finished"_s);
    }
    {
        TestRunView run(u"sleep 5"_s, std::nullopt, std::nullopt, false);
        save(run, u"test-run-waiting"_s);
        run.runner().terminate();
        waitFor([&] { return !run.runner().isRunning(); });
    }
    {
        QTemporaryDir dir;
        auto keychain = std::make_shared<FakeKeychain>();
        auto settings = std::make_shared<QSettings>(dir.filePath(u"s.ini"_s), QSettings::IniFormat);
        GmailSetupView fresh(keychain, settings);
        save(fresh, u"gmail-setup"_s);
        fresh.findChild<QPushButton *>(u"gmail-how-to"_s)->click();
        save(fresh, u"gmail-setup-help"_s);
        settings->setValue(u"gmail_account"_s, u"me@gmail.com"_s);
        keychain->items.insert(u"me@gmail.com"_s, u"x"_s);
        GmailSetupView saved(keychain, settings);
        save(saved, u"gmail-setup-saved"_s);
    }
    {
        shortcuts.setOutput("Morning Brief\nDaily Backup\nTom's backup\nLog water\n", u"list"_s);
        ShortcutsPickerView picker;
        picker.show();
        waitFor([&] { return !picker.isLoading(); });
        save(picker, u"shortcuts-list"_s);
        shortcuts.setOutput("\n", u"list"_s);
        shortcuts.setDelay(3);
        ShortcutsPickerView loading;
        save(loading, u"shortcuts-loading"_s);
        waitFor([&] { return !loading.isLoading(); });
        save(loading, u"shortcuts-empty"_s);
    }
    return 0;
}
