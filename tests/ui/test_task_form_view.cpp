#include "FakeKeychain.h"
#include "Sandbox.h"
#include "StandInTool.h"
#include "launchd/MailSnippet.h"
#include "ui/GmailSetupView.h"
#include "ui/ShortcutsPickerView.h"
#include "ui/TaskFormView.h"
#include "ui/TimeInputView.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScopeGuard>
#include <QSettings>
#include <QTemporaryDir>
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

QStringList items(const QComboBox *combo)
{
    QStringList texts;
    for (int i = 0; i < combo->count(); ++i) {
        texts << combo->itemText(i);
    }
    return texts;
}

// Picks an entry the way a user does, by its visible label.
void choose(QComboBox *combo, const QString &label)
{
    const int index = combo->findText(label);
    if (index < 0) {
        qFatal("no entry %s", qPrintable(label));
    }
    QVERIFY(combo->isVisible());
    combo->setCurrentIndex(index);
}

void click(QAbstractButton *button)
{
    QVERIFY2(button->isVisible(), qPrintable(button->text()));
    QVERIFY2(button->isEnabled(), qPrintable(button->text()));
    // A check box takes clicks on its box and text only, at its leading end.
    const QPoint where = qobject_cast<QCheckBox *>(button) ? QPoint(8, button->height() / 2) : button->rect().center();
    QTest::mouseClick(button, Qt::LeftButton, {}, where);
}

QPushButton *buttonWithText(const QWidget &parent, const QString &text)
{
    for (QPushButton *button : parent.findChildren<QPushButton *>()) {
        if (button->text() == text) {
            return button;
        }
    }
    qFatal("no button %s", qPrintable(text));
}

QList<QWidget *> visibleTimeRows(const TaskFormView &form)
{
    QList<QWidget *> rows;
    for (QWidget *row : form.findChildren<QWidget *>(u"form-time-row"_s)) {
        if (row->isVisibleTo(&form)) {
            rows << row;
        }
    }
    return rows;
}

int visibleRemoveButtons(const TaskFormView &form)
{
    int count = 0;
    for (QToolButton *button : form.findChildren<QToolButton *>(u"form-remove-time"_s)) {
        count += button->isVisibleTo(&form) ? 1 : 0;
    }
    return count;
}

QList<TimeOfDay> times(std::initializer_list<std::pair<int, int>> values)
{
    QList<TimeOfDay> list;
    for (const auto &[hour, minute] : values) {
        list << TimeOfDay{hour, minute};
    }
    return list;
}

struct ShownForm {
    TaskFormView form;
    ShownForm()
    {
        form.resize(560, 900);
        form.show();
        if (!QTest::qWaitForWindowExposed(&form)) {
            qFatal("form not shown");
        }
    }
};

} // namespace

class TaskFormViewTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        qputenv("SHELL", "/usr/bin/zsh");
        // The macOS texts: the launchd scheduler (on Linux without a sysroot systemd is the default).
        qputenv("MOXLEY_SCHEDULER", "launchd");
    }

    void sectionsAndBasicFields()
    {
        ShownForm shown;
        const TaskFormView &form = shown.form;
        QStringList titles;
        for (QGroupBox *box : form.findChildren<QGroupBox *>()) {
            titles << box->title();
        }
        QCOMPARE(titles, (QStringList{u"Basic"_s, u"Schedule"_s, u"Environment"_s}));

        auto *name = child<QLineEdit>(form, u"form-task-name"_s);
        QCOMPARE(name->placeholderText(), u"My daily task"_s);
        QCOMPARE(name->accessibleName(), u"form-task-name"_s);
        auto *command = child<QPlainTextEdit>(form, u"form-task-command"_s);
        QCOMPARE(command->placeholderText(), u"echo \"hello\" && npm run build"_s);
        QCOMPARE(command->accessibleName(), u"form-task-command"_s);
        QVERIFY(buttonWithText(form, u"Gmail Template"_s)->isVisible());
        QVERIFY(buttonWithText(form, u"From Shortcuts"_s)->isVisible());

        QCOMPARE(child<QLineEdit>(form, u"form-working-directory"_s)->placeholderText(), u"/Users/you/project"_s);
        QCOMPARE(child<QLineEdit>(form, u"form-env-file"_s)->placeholderText(), u"Optional"_s);
        QCOMPARE(child<QPushButton>(form, u"form-choose-directory"_s)->text(), u"Choose..."_s);
        QCOMPARE(child<QPushButton>(form, u"form-choose-env-file"_s)->text(), u"Choose..."_s);
        QCOMPARE(child<QCheckBox>(form, u"form-login-shell"_s)->text(), u"Use login shell"_s);
        QCOMPARE(child<QCheckBox>(form, u"form-wake"_s)->text(), u"Wake Mac for this task"_s);

        QStringList labels;
        for (QLabel *label : form.findChildren<QLabel *>()) {
            labels << label->text();
        }
        for (const QString &expected : {u"Task Name"_s, u"Command"_s, u"Type"_s, u"Working Directory"_s, u".env File"_s,
                                        u"Interval"_s, u"When"_s, u"Day"_s}) {
            QVERIFY2(labels.contains(expected), qPrintable(expected));
        }
    }

    void newTaskDefaults()
    {
        ShownForm shown;
        const TaskFormView &form = shown.form;
        const TaskFormFields &fields = form.fields();
        QCOMPARE(fields, TaskFormFields());
        QCOMPARE(fields.name, QString());
        QCOMPARE(fields.useLoginShell, true);
        QCOMPARE(fields.wakeBeforeRun, false);
        QCOMPARE(fields.scheduleType, ScheduleType::daily);
        QCOMPARE(fields.times, times({{7, 0}}));
        QCOMPARE(fields.intervalMinutes, 5);
        QCOMPARE(fields.dayOfMonth, 1);
        QCOMPARE(fields.weekdays, QSet<int>{2});
        QCOMPARE(fields.monthlyType, MonthlyType::specificDay);
        QCOMPARE(fields.nthWeek, 1);
        QCOMPARE(fields.nthWeekday, 2);

        QCOMPARE(child<QComboBox>(form, u"form-schedule-type"_s)->currentText(), u"Daily"_s);
        QCOMPARE(visibleTimeRows(form).size(), 1);
        auto *time = visibleTimeRows(form).first()->findChild<TimeInputView *>();
        QCOMPARE(time->hourPicker()->currentText(), u"7"_s);
        QCOMPARE(time->minutePicker()->currentText(), u"00"_s);
        QCOMPARE(visibleRemoveButtons(form), 0);
        QVERIFY(child<QCheckBox>(form, u"form-login-shell"_s)->isChecked());
        QVERIFY(!child<QCheckBox>(form, u"form-wake"_s)->isChecked());
        QVERIFY(!child<QLabel>(form, u"form-wake-explanation"_s)->isVisible());
        QCOMPARE(fields.schedule(), TaskSchedule::daily(times({{7, 0}})));
    }

    void pickers_offerExactlyTheirChoices()
    {
        ShownForm shown;
        const TaskFormView &form = shown.form;
        QCOMPARE(items(child<QComboBox>(form, u"form-schedule-type"_s)),
                 (QStringList{u"Run at load (login / reboot)"_s, u"Every N minutes"_s, u"Daily"_s, u"Weekly"_s,
                              u"Monthly"_s}));
        QCOMPARE(items(child<QComboBox>(form, u"form-monthly-type"_s)),
                 (QStringList{u"Specific day"_s, u"Last day of month"_s, u"Nth weekday"_s}));
        QCOMPARE(items(child<QComboBox>(form, u"form-interval"_s)),
                 (QStringList{u"Every 1 min"_s, u"Every 2 min"_s, u"Every 3 min"_s, u"Every 5 min"_s, u"Every 10 min"_s,
                              u"Every 15 min"_s, u"Every 20 min"_s, u"Every 30 min"_s, u"Every 45 min"_s,
                              u"Every 1 hour"_s, u"Every 1h 30m"_s, u"Every 2 hours"_s, u"Every 3 hours"_s,
                              u"Every 6 hours"_s, u"Every 12 hours"_s, u"Every 24 hours"_s}));
        QCOMPARE(items(child<QComboBox>(form, u"form-nth-week"_s)),
                 (QStringList{u"1st"_s, u"2nd"_s, u"3rd"_s, u"4th"_s}));
        QCOMPARE(items(child<QComboBox>(form, u"form-nth-weekday"_s)),
                 (QStringList{u"Sunday"_s, u"Monday"_s, u"Tuesday"_s, u"Wednesday"_s, u"Thursday"_s, u"Friday"_s,
                              u"Saturday"_s}));
        QStringList days;
        for (int day = 1; day <= 31; ++day) {
            days << QString::number(day);
        }
        QCOMPARE(items(child<QComboBox>(form, u"form-day-of-month"_s)), days);

        auto *time = form.findChild<TimeInputView *>();
        QCOMPARE(time->hourPicker()->count(), 24);
        QCOMPARE(time->hourPicker()->itemText(13), u"13"_s);
        QCOMPARE(time->minutePicker()->count(), 60);
        QCOMPARE(time->minutePicker()->itemText(5), u"05"_s);
        QCOMPARE(time->hourPicker()->width(), 60);
        QCOMPARE(time->minutePicker()->width(), 60);
    }

    void intervalLabels()
    {
        QCOMPARE(TaskFormText::intervalLabel(5), u"Every 5 min"_s);
        QCOMPARE(TaskFormText::intervalLabel(60), u"Every 1 hour"_s);
        QCOMPARE(TaskFormText::intervalLabel(90), u"Every 1h 30m"_s);
        QCOMPARE(TaskFormText::intervalLabel(119), u"Every 1h 59m"_s);
        QCOMPARE(TaskFormText::intervalLabel(120), u"Every 2 hours"_s);
        QCOMPARE(TaskFormText::intervalLabel(1440), u"Every 24 hours"_s);
        QCOMPARE(TaskFormText::intervalLabel(150), u"Every 2h 30m"_s);
    }

    // A task made elsewhere may carry an interval the list does not offer; it shows as itself.
    void unlistedInterval_shownAndKept()
    {
        ShownForm shown;
        TaskFormView &form = shown.form;
        TaskFormFields fields;
        fields.scheduleType = ScheduleType::interval;
        fields.intervalMinutes = 7;
        form.setFields(fields);
        auto *interval = child<QComboBox>(form, u"form-interval"_s);
        QCOMPARE(interval->currentText(), u"Every 7 min"_s);
        QCOMPARE(form.fields().schedule(), TaskSchedule::interval(7));
        choose(interval, u"Every 2 hours"_s);
        QCOMPARE(form.fields().schedule(), TaskSchedule::interval(120));
    }

    void captionsPerKind()
    {
        ShownForm shown;
        TaskFormView &form = shown.form;
        auto *type = child<QComboBox>(form, u"form-schedule-type"_s);
        auto *runAtLoad = child<QLabel>(form, u"form-run-at-load-caption"_s);
        auto *interval = child<QLabel>(form, u"form-interval-caption"_s);
        QCOMPARE(runAtLoad->text(), u"Runs once when you log in or reboot."_s);
        QCOMPARE(interval->text(), u"Starts when the task is enabled, then repeats at this interval."_s);

        choose(type, u"Run at load (login / reboot)"_s);
        QVERIFY(runAtLoad->isVisible());
        QVERIFY(!interval->isVisible());
        QVERIFY(visibleTimeRows(form).isEmpty());
        QVERIFY(!child<QWidget>(form, u"form-times"_s)->isVisible());

        choose(type, u"Every N minutes"_s);
        QVERIFY(!runAtLoad->isVisible());
        QVERIFY(interval->isVisible());
        QVERIFY(child<QComboBox>(form, u"form-interval"_s)->isVisible());
        QVERIFY(!child<QWidget>(form, u"form-times"_s)->isVisible());

        choose(type, u"Weekly"_s);
        QVERIFY(child<QWidget>(form, u"form-weekdays"_s)->isVisible());
        QVERIFY(child<QWidget>(form, u"form-times"_s)->isVisible());
        QVERIFY(!child<QComboBox>(form, u"form-monthly-type"_s)->isVisible());

        choose(type, u"Monthly"_s);
        QVERIFY(child<QComboBox>(form, u"form-monthly-type"_s)->isVisible());
        QVERIFY(child<QComboBox>(form, u"form-day-of-month"_s)->isVisible());
        QVERIFY(!child<QWidget>(form, u"form-weekdays"_s)->isVisible());
        QVERIFY(child<QWidget>(form, u"form-times"_s)->isVisible());
    }

    void dayCaption_onlyAbove28()
    {
        ShownForm shown;
        TaskFormView &form = shown.form;
        choose(child<QComboBox>(form, u"form-schedule-type"_s), u"Monthly"_s);
        auto *day = child<QComboBox>(form, u"form-day-of-month"_s);
        auto *caption = child<QLabel>(form, u"form-day-caption"_s);
        QVERIFY(!caption->isVisible());
        choose(day, u"31"_s);
        QVERIFY(caption->isVisible());
        QCOMPARE(caption->text(), u"This task won't run in months with fewer than 31 days."_s);
        choose(day, u"29"_s);
        QCOMPARE(caption->text(), u"This task won't run in months with fewer than 29 days."_s);
        choose(day, u"28"_s);
        QVERIFY(!caption->isVisible());
        QCOMPARE(form.fields().dayOfMonth, 28);
    }

    void lastDayAndNthWeekday_controls()
    {
        ShownForm shown;
        TaskFormView &form = shown.form;
        choose(child<QComboBox>(form, u"form-schedule-type"_s), u"Monthly"_s);
        auto *when = child<QComboBox>(form, u"form-monthly-type"_s);
        choose(when, u"Last day of month"_s);
        auto *lastDay = child<QLabel>(form, u"form-last-day-caption"_s);
        QVERIFY(lastDay->isVisible());
        QCOMPARE(lastDay->text(), u"Runs on the last day of every month (28th, 29th, 30th, or 31st)."_s);
        QVERIFY(!child<QComboBox>(form, u"form-day-of-month"_s)->isVisible());
        QVERIFY(!child<QComboBox>(form, u"form-nth-week"_s)->isVisible());

        choose(when, u"Nth weekday"_s);
        QVERIFY(!lastDay->isVisible());
        QVERIFY(child<QComboBox>(form, u"form-nth-week"_s)->isVisible());
        QVERIFY(child<QComboBox>(form, u"form-nth-weekday"_s)->isVisible());
        QVERIFY(child<QWidget>(form, u"form-times"_s)->isVisible());
    }

    void weekdayButtons_toggleAndColour()
    {
        ShownForm shown;
        TaskFormView &form = shown.form;
        choose(child<QComboBox>(form, u"form-schedule-type"_s), u"Weekly"_s);
        const QStringList names{u"Sun"_s, u"Mon"_s, u"Tue"_s, u"Wed"_s, u"Thu"_s, u"Fri"_s, u"Sat"_s};
        for (int weekday = 1; weekday <= 7; ++weekday) {
            auto *button = child<QPushButton>(form, u"form-weekday-" % QString::number(weekday));
            QCOMPARE(button->text(), names.at(weekday - 1));
            QCOMPARE(button->size(), QSize(36, 28));
            QCOMPARE(button->isChecked(), weekday == 2);
        }
        auto *monday = child<QPushButton>(form, u"form-weekday-2"_s);
        auto *saturday = child<QPushButton>(form, u"form-weekday-7"_s);
        auto *sunday = child<QPushButton>(form, u"form-weekday-1"_s);
        // The chosen days wear the accent colour, the others a neutral one.
        const QColor accent = form.palette().color(QPalette::Highlight);
        QCOMPARE(monday->grab().toImage().pixelColor(18, 3), accent);
        QVERIFY(saturday->grab().toImage().pixelColor(18, 3) != accent);

        click(saturday);
        click(sunday);
        click(monday);
        QCOMPARE(form.fields().weekdays, (QSet<int>{1, 7}));
        QVERIFY(saturday->isChecked());
        QVERIFY(!monday->isChecked());
        QCOMPARE(saturday->grab().toImage().pixelColor(18, 3), accent);
        QCOMPARE(form.fields().schedule(), TaskSchedule::weekly({1, 7}, times({{7, 0}})));

        click(saturday);
        click(sunday);
        QCOMPARE(form.fields().schedule(), TaskSchedule::weekly({}, times({{7, 0}})));
    }

    void timesEditor_addRemoveAndSort()
    {
        ShownForm shown;
        TaskFormView &form = shown.form;
        auto *add = child<QPushButton>(form, u"form-add-time"_s);
        QCOMPARE(add->text(), u"Add another time"_s);
        QCOMPARE(visibleRemoveButtons(form), 0);

        click(add);
        QCOMPARE(form.fields().times, times({{7, 0}, {9, 0}}));
        QCOMPARE(visibleRemoveButtons(form), 2);
        click(add);
        QCOMPARE(form.fields().times, times({{7, 0}, {9, 0}, {9, 0}}));
        QCOMPARE(visibleTimeRows(form).size(), 3);
        QCOMPARE(visibleRemoveButtons(form), 3);

        // Set the rows to 18:00, 7:30 and 9:00 through their pickers.
        QList<QWidget *> rows = visibleTimeRows(form);
        auto *first = rows.at(0)->findChild<TimeInputView *>();
        choose(first->hourPicker(), u"18"_s);
        auto *second = rows.at(1)->findChild<TimeInputView *>();
        choose(second->hourPicker(), u"7"_s);
        choose(second->minutePicker(), u"30"_s);
        QCOMPARE(form.fields().times, times({{18, 0}, {7, 30}, {9, 0}}));
        QCOMPARE(form.fields().schedule(), TaskSchedule::daily(times({{7, 30}, {9, 0}, {18, 0}})));

        // Remove the third, then the first: one row is left and has no remove button.
        click(rows.at(2)->findChild<QToolButton *>(u"form-remove-time"_s));
        QCOMPARE(form.fields().times, times({{18, 0}, {7, 30}}));
        QCOMPARE(visibleRemoveButtons(form), 2);
        click(visibleTimeRows(form).at(0)->findChild<QToolButton *>(u"form-remove-time"_s));
        QCOMPARE(form.fields().times, times({{7, 30}}));
        QCOMPARE(visibleTimeRows(form).size(), 1);
        QCOMPARE(visibleRemoveButtons(form), 0);
        auto *left = visibleTimeRows(form).at(0)->findChild<TimeInputView *>();
        QCOMPARE(left->hourPicker()->currentText(), u"7"_s);
        QCOMPARE(left->minutePicker()->currentText(), u"30"_s);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCOMPARE(form.findChildren<QWidget *>(u"form-time-row"_s).size(), 1);
    }

    void wakeExplanation_perKind()
    {
        ShownForm shown;
        TaskFormView &form = shown.form;
        auto *wake = child<QCheckBox>(form, u"form-wake"_s);
        auto *explanation = child<QLabel>(form, u"form-wake-explanation"_s);
        const QString plain =
            u"Wakes your Mac 5 minutes before the scheduled time so the task can run even during sleep."_s;
        click(wake);
        QVERIFY(form.fields().wakeBeforeRun);
        QVERIFY(explanation->isVisible());
        QCOMPARE(explanation->text(), plain);

        auto *type = child<QComboBox>(form, u"form-schedule-type"_s);
        choose(type, u"Monthly"_s);
        QCOMPARE(explanation->text(), plain);
        choose(child<QComboBox>(form, u"form-monthly-type"_s), u"Last day of month"_s);
        QCOMPARE(explanation->text(),
                 u"Wakes your Mac every day from the 28th to the 31st, 5 minutes before the scheduled time. The task "
                 u"only runs on the actual last day."_s);
        choose(child<QComboBox>(form, u"form-monthly-type"_s), u"Nth weekday"_s);
        choose(child<QComboBox>(form, u"form-nth-week"_s), u"2nd"_s);
        QCOMPARE(explanation->text(), u"Wakes your Mac every Monday 5 minutes before the scheduled time. The task only "
                                      u"runs on the 2nd occurrence."_s);
        choose(child<QComboBox>(form, u"form-nth-weekday"_s), u"Friday"_s);
        choose(child<QComboBox>(form, u"form-nth-week"_s), u"4th"_s);
        QCOMPARE(explanation->text(), u"Wakes your Mac every Friday 5 minutes before the scheduled time. The task only "
                                      u"runs on the 4th occurrence."_s);
        choose(type, u"Weekly"_s);
        QCOMPARE(explanation->text(), plain);

        click(wake);
        QVERIFY(!explanation->isVisible());
    }

    void wakeTexts_withSystemd_speakOfTheComputer()
    {
        qputenv("MOXLEY_SCHEDULER", "systemd");
        const auto restore = qScopeGuard([] { qputenv("MOXLEY_SCHEDULER", "launchd"); });
        ShownForm shown;
        TaskFormView &form = shown.form;
        auto *wake = child<QCheckBox>(form, u"form-wake"_s);
        QCOMPARE(wake->text(), u"Wake the computer for this task"_s);
        click(wake);
        auto *explanation = child<QLabel>(form, u"form-wake-explanation"_s);
        const QString text = u"Wakes the computer at the scheduled time so the task can run even during sleep."_s;
        QCOMPARE(explanation->text(), text);
        choose(child<QComboBox>(form, u"form-schedule-type"_s), u"Monthly"_s);
        choose(child<QComboBox>(form, u"form-monthly-type"_s), u"Last day of month"_s);
        QCOMPARE(explanation->text(), text);
        QVERIFY(!explanation->text().contains(u"Mac"_s));
    }

    void loginShellCaption()
    {
        ShownForm shown;
        TaskFormView &form = shown.form;
        auto *caption = child<QLabel>(form, u"form-login-shell-caption"_s);
        QCOMPARE(caption->text(), u"Load your shell profile to inherit env vars (e.g. $PATH, $HOME). Using zsh."_s);
        click(child<QCheckBox>(form, u"form-login-shell"_s));
        QVERIFY(!form.fields().useLoginShell);
        QCOMPARE(caption->text(), u"Load your shell profile to inherit env vars (e.g. $PATH, $HOME). "_s);

        QCOMPARE(TaskFormText::loginShellCaption(true, std::nullopt),
                 u"Load your shell profile to inherit env vars (e.g. $PATH, $HOME). Using unknown."_s);
        qunsetenv("SHELL");
        click(child<QCheckBox>(form, u"form-login-shell"_s));
        QCOMPARE(caption->text(), u"Load your shell profile to inherit env vars (e.g. $PATH, $HOME). Using unknown."_s);
        qputenv("SHELL", "/opt/homebrew/bin/fish");
        click(child<QCheckBox>(form, u"form-login-shell"_s));
        click(child<QCheckBox>(form, u"form-login-shell"_s));
        QCOMPARE(caption->text(), u"Load your shell profile to inherit env vars (e.g. $PATH, $HOME). Using fish."_s);
    }

    void typingFillsFields_blankNameCounts()
    {
        ShownForm shown;
        TaskFormView &form = shown.form;
        QVERIFY(!form.fields().canSubmit());
        QTest::keyClicks(child<QLineEdit>(form, u"form-task-name"_s), u"   "_s);
        QTest::keyClicks(child<QPlainTextEdit>(form, u"form-task-command"_s), u"echo hi"_s);
        QTest::keyClicks(child<QLineEdit>(form, u"form-working-directory"_s), u"/tmp/x y"_s);
        QCOMPARE(form.fields().name, u"   "_s);
        QCOMPARE(form.fields().command, u"echo hi"_s);
        QCOMPARE(form.fields().workingDirectory, u"/tmp/x y"_s);
        QVERIFY(form.fields().canSubmit());
    }

    void shortcut_replacesCommand_namesOnlyWhenEmpty()
    {
        ShownForm shown;
        TaskFormView &form = shown.form;
        QTest::keyClicks(child<QPlainTextEdit>(form, u"form-task-command"_s), u"old command"_s);
        form.applyShortcut(u"Tom's backup"_s);
        QCOMPARE(form.fields().command, u"shortcuts run 'Tom'\\''s backup'"_s);
        QCOMPARE(child<QPlainTextEdit>(form, u"form-task-command"_s)->toPlainText(),
                 u"shortcuts run 'Tom'\\''s backup'"_s);
        QCOMPARE(form.fields().name, u"Tom's backup"_s);
        QCOMPARE(child<QLineEdit>(form, u"form-task-name"_s)->text(), u"Tom's backup"_s);

        form.applyShortcut(u"Daily Backup"_s);
        QCOMPARE(form.fields().command, u"shortcuts run 'Daily Backup'"_s);
        QCOMPARE(form.fields().name, u"Tom's backup"_s);
    }

    void fromShortcutsButton_picksFromTheTool()
    {
        Sandbox sandbox;
        StandInTool tool(sandbox, u"/usr/bin/shortcuts"_s);
        tool.setOutput("Morning Brief\n  Tom's backup\t\n\n", u"list"_s);
        ShownForm shown;
        TaskFormView &form = shown.form;
        click(buttonWithText(form, u"From Shortcuts"_s));
        auto *picker = form.findChild<ShortcutsPickerView *>();
        QVERIFY(picker);
        QTRY_VERIFY(picker->isVisible());
        QTRY_VERIFY(!picker->isLoading());
        auto *list = child<QListWidget>(*picker, u"shortcuts-list"_s);
        QCOMPARE(list->count(), 2);
        QListWidgetItem *item = list->item(1);
        QCOMPARE(item->text(), u"Tom's backup"_s);
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(item).center());
        QCOMPARE(form.fields().command, u"shortcuts run 'Tom'\\''s backup'"_s);
        QCOMPARE(form.fields().name, u"Tom's backup"_s);
        QTRY_VERIFY(!form.findChild<ShortcutsPickerView *>());
    }

    void gmailTemplateButton_fillsCommandAndName()
    {
        QTemporaryDir dir;
        auto keychain = std::make_shared<FakeKeychain>();
        auto settings = std::make_shared<QSettings>(dir.filePath(u"settings.ini"_s), QSettings::IniFormat);
        ShownForm shown;
        TaskFormView &form = shown.form;
        form.setKeychain(keychain);
        form.setSettings(settings);
        QTest::keyClicks(child<QPlainTextEdit>(form, u"form-task-command"_s), u"echo replaced"_s);

        click(buttonWithText(form, u"Gmail Template"_s));
        auto *setup = form.findChild<GmailSetupView *>();
        QVERIFY(setup);
        QTRY_VERIFY(setup->isVisible());
        QTest::keyClicks(child<QLineEdit>(*setup, u"gmail-address"_s), u"me@gmail.com"_s);
        QTest::keyClicks(child<QLineEdit>(*setup, u"gmail-app-password"_s), u"abcd efgh ijkl mnop"_s);
        QTest::keyClicks(child<QLineEdit>(*setup, u"gmail-to"_s), u"you@x.org"_s);
        click(child<QPushButton>(*setup, u"gmail-use-template"_s));

        QCOMPARE(form.fields().command, MailSnippet::build({u"me@gmail.com"_s, u"you@x.org"_s, u"Daily Reminder"_s,
                                                            u"Don't forget to check the report."_s}));
        QCOMPARE(form.fields().name, u"Email: Daily Reminder"_s);
        QCOMPARE(keychain->items.value(u"me@gmail.com"_s), u"abcd efgh ijkl mnop"_s);
        QTRY_VERIFY(!form.findChild<GmailSetupView *>());

        // A typed name stays.
        form.setFields([&] {
            TaskFormFields fields = form.fields();
            fields.name = u"Mine"_s;
            return fields;
        }());
        form.applyGeneratedCommand(u"echo new"_s, u"Email: Other"_s);
        QCOMPARE(form.fields().name, u"Mine"_s);
        QCOMPARE(form.fields().command, u"echo new"_s);
    }
};

QTEST_MAIN(TaskFormViewTest)
#include "test_task_form_view.moc"
