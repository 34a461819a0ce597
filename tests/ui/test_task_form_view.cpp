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
#include <QSettings>
#include <QTemporaryDir>
#include <QToolButton>
#include <QtTest>

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
    for (QWidget *row : form.findChildren<QWidget *>(u"form-time-row"_qs)) {
        if (row->isVisibleTo(&form)) {
            rows << row;
        }
    }
    return rows;
}

int visibleRemoveButtons(const TaskFormView &form)
{
    int count = 0;
    for (QToolButton *button : form.findChildren<QToolButton *>(u"form-remove-time"_qs)) {
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
    void init() { qputenv("SHELL", "/usr/bin/zsh"); }

    void sectionsAndBasicFields()
    {
        ShownForm shown;
        const TaskFormView &form = shown.form;
        QStringList titles;
        for (QGroupBox *box : form.findChildren<QGroupBox *>()) {
            titles << box->title();
        }
        QCOMPARE(titles, (QStringList{u"Basic"_qs, u"Schedule"_qs, u"Environment"_qs}));

        auto *name = child<QLineEdit>(form, u"form-task-name"_qs);
        QCOMPARE(name->placeholderText(), u"My daily task"_qs);
        QCOMPARE(name->accessibleName(), u"form-task-name"_qs);
        auto *command = child<QPlainTextEdit>(form, u"form-task-command"_qs);
        QCOMPARE(command->placeholderText(), u"echo \"hello\" && npm run build"_qs);
        QCOMPARE(command->accessibleName(), u"form-task-command"_qs);
        QVERIFY(buttonWithText(form, u"Gmail Template"_qs)->isVisible());
        QVERIFY(buttonWithText(form, u"From Shortcuts"_qs)->isVisible());

        QCOMPARE(child<QLineEdit>(form, u"form-working-directory"_qs)->placeholderText(), u"/Users/you/project"_qs);
        QCOMPARE(child<QLineEdit>(form, u"form-env-file"_qs)->placeholderText(), u"Optional"_qs);
        QCOMPARE(child<QPushButton>(form, u"form-choose-directory"_qs)->text(), u"Choose..."_qs);
        QCOMPARE(child<QPushButton>(form, u"form-choose-env-file"_qs)->text(), u"Choose..."_qs);
        QCOMPARE(child<QCheckBox>(form, u"form-login-shell"_qs)->text(), u"Use login shell"_qs);
        QCOMPARE(child<QCheckBox>(form, u"form-wake"_qs)->text(), u"Wake Mac for this task"_qs);

        QStringList labels;
        for (QLabel *label : form.findChildren<QLabel *>()) {
            labels << label->text();
        }
        for (const QString &expected : {u"Task Name"_qs, u"Command"_qs, u"Type"_qs, u"Working Directory"_qs,
                                        u".env File"_qs, u"Interval"_qs, u"When"_qs, u"Day"_qs}) {
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

        QCOMPARE(child<QComboBox>(form, u"form-schedule-type"_qs)->currentText(), u"Daily"_qs);
        QCOMPARE(visibleTimeRows(form).size(), 1);
        auto *time = visibleTimeRows(form).first()->findChild<TimeInputView *>();
        QCOMPARE(time->hourPicker()->currentText(), u"7"_qs);
        QCOMPARE(time->minutePicker()->currentText(), u"00"_qs);
        QCOMPARE(visibleRemoveButtons(form), 0);
        QVERIFY(child<QCheckBox>(form, u"form-login-shell"_qs)->isChecked());
        QVERIFY(!child<QCheckBox>(form, u"form-wake"_qs)->isChecked());
        QVERIFY(!child<QLabel>(form, u"form-wake-explanation"_qs)->isVisible());
        QCOMPARE(fields.schedule(), TaskSchedule::daily(times({{7, 0}})));
    }

    void pickers_offerExactlyTheirChoices()
    {
        ShownForm shown;
        const TaskFormView &form = shown.form;
        QCOMPARE(items(child<QComboBox>(form, u"form-schedule-type"_qs)),
                 (QStringList{u"Run at load (login / reboot)"_qs, u"Every N minutes"_qs, u"Daily"_qs, u"Weekly"_qs,
                              u"Monthly"_qs}));
        QCOMPARE(items(child<QComboBox>(form, u"form-monthly-type"_qs)),
                 (QStringList{u"Specific day"_qs, u"Last day of month"_qs, u"Nth weekday"_qs}));
        QCOMPARE(items(child<QComboBox>(form, u"form-interval"_qs)),
                 (QStringList{u"Every 1 min"_qs, u"Every 2 min"_qs, u"Every 3 min"_qs, u"Every 5 min"_qs,
                              u"Every 10 min"_qs, u"Every 15 min"_qs, u"Every 20 min"_qs, u"Every 30 min"_qs,
                              u"Every 45 min"_qs, u"Every 1 hour"_qs, u"Every 1h 30m"_qs, u"Every 2 hours"_qs,
                              u"Every 3 hours"_qs, u"Every 6 hours"_qs, u"Every 12 hours"_qs, u"Every 24 hours"_qs}));
        QCOMPARE(items(child<QComboBox>(form, u"form-nth-week"_qs)),
                 (QStringList{u"1st"_qs, u"2nd"_qs, u"3rd"_qs, u"4th"_qs}));
        QCOMPARE(items(child<QComboBox>(form, u"form-nth-weekday"_qs)),
                 (QStringList{u"Sunday"_qs, u"Monday"_qs, u"Tuesday"_qs, u"Wednesday"_qs, u"Thursday"_qs,
                              u"Friday"_qs, u"Saturday"_qs}));
        QStringList days;
        for (int day = 1; day <= 31; ++day) {
            days << QString::number(day);
        }
        QCOMPARE(items(child<QComboBox>(form, u"form-day-of-month"_qs)), days);

        auto *time = form.findChild<TimeInputView *>();
        QCOMPARE(time->hourPicker()->count(), 24);
        QCOMPARE(time->hourPicker()->itemText(13), u"13"_qs);
        QCOMPARE(time->minutePicker()->count(), 60);
        QCOMPARE(time->minutePicker()->itemText(5), u"05"_qs);
        QCOMPARE(time->hourPicker()->width(), 60);
        QCOMPARE(time->minutePicker()->width(), 60);
    }

    void intervalLabels()
    {
        QCOMPARE(TaskFormText::intervalLabel(5), u"Every 5 min"_qs);
        QCOMPARE(TaskFormText::intervalLabel(60), u"Every 1 hour"_qs);
        QCOMPARE(TaskFormText::intervalLabel(90), u"Every 1h 30m"_qs);
        QCOMPARE(TaskFormText::intervalLabel(119), u"Every 1h 59m"_qs);
        QCOMPARE(TaskFormText::intervalLabel(120), u"Every 2 hours"_qs);
        QCOMPARE(TaskFormText::intervalLabel(1440), u"Every 24 hours"_qs);
        QCOMPARE(TaskFormText::intervalLabel(150), u"Every 2h 30m"_qs);
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
        auto *interval = child<QComboBox>(form, u"form-interval"_qs);
        QCOMPARE(interval->currentText(), u"Every 7 min"_qs);
        QCOMPARE(form.fields().schedule(), TaskSchedule::interval(7));
        choose(interval, u"Every 2 hours"_qs);
        QCOMPARE(form.fields().schedule(), TaskSchedule::interval(120));
    }

    void captionsPerKind()
    {
        ShownForm shown;
        TaskFormView &form = shown.form;
        auto *type = child<QComboBox>(form, u"form-schedule-type"_qs);
        auto *runAtLoad = child<QLabel>(form, u"form-run-at-load-caption"_qs);
        auto *interval = child<QLabel>(form, u"form-interval-caption"_qs);
        QCOMPARE(runAtLoad->text(), u"Runs once when you log in or reboot."_qs);
        QCOMPARE(interval->text(), u"Starts when the task is enabled, then repeats at this interval."_qs);

        choose(type, u"Run at load (login / reboot)"_qs);
        QVERIFY(runAtLoad->isVisible());
        QVERIFY(!interval->isVisible());
        QVERIFY(visibleTimeRows(form).isEmpty());
        QVERIFY(!child<QWidget>(form, u"form-times"_qs)->isVisible());

        choose(type, u"Every N minutes"_qs);
        QVERIFY(!runAtLoad->isVisible());
        QVERIFY(interval->isVisible());
        QVERIFY(child<QComboBox>(form, u"form-interval"_qs)->isVisible());
        QVERIFY(!child<QWidget>(form, u"form-times"_qs)->isVisible());

        choose(type, u"Weekly"_qs);
        QVERIFY(child<QWidget>(form, u"form-weekdays"_qs)->isVisible());
        QVERIFY(child<QWidget>(form, u"form-times"_qs)->isVisible());
        QVERIFY(!child<QComboBox>(form, u"form-monthly-type"_qs)->isVisible());

        choose(type, u"Monthly"_qs);
        QVERIFY(child<QComboBox>(form, u"form-monthly-type"_qs)->isVisible());
        QVERIFY(child<QComboBox>(form, u"form-day-of-month"_qs)->isVisible());
        QVERIFY(!child<QWidget>(form, u"form-weekdays"_qs)->isVisible());
        QVERIFY(child<QWidget>(form, u"form-times"_qs)->isVisible());
    }

    void dayCaption_onlyAbove28()
    {
        ShownForm shown;
        TaskFormView &form = shown.form;
        choose(child<QComboBox>(form, u"form-schedule-type"_qs), u"Monthly"_qs);
        auto *day = child<QComboBox>(form, u"form-day-of-month"_qs);
        auto *caption = child<QLabel>(form, u"form-day-caption"_qs);
        QVERIFY(!caption->isVisible());
        choose(day, u"31"_qs);
        QVERIFY(caption->isVisible());
        QCOMPARE(caption->text(), u"This task won't run in months with fewer than 31 days."_qs);
        choose(day, u"29"_qs);
        QCOMPARE(caption->text(), u"This task won't run in months with fewer than 29 days."_qs);
        choose(day, u"28"_qs);
        QVERIFY(!caption->isVisible());
        QCOMPARE(form.fields().dayOfMonth, 28);
    }

    void lastDayAndNthWeekday_controls()
    {
        ShownForm shown;
        TaskFormView &form = shown.form;
        choose(child<QComboBox>(form, u"form-schedule-type"_qs), u"Monthly"_qs);
        auto *when = child<QComboBox>(form, u"form-monthly-type"_qs);
        choose(when, u"Last day of month"_qs);
        auto *lastDay = child<QLabel>(form, u"form-last-day-caption"_qs);
        QVERIFY(lastDay->isVisible());
        QCOMPARE(lastDay->text(), u"Runs on the last day of every month (28th, 29th, 30th, or 31st)."_qs);
        QVERIFY(!child<QComboBox>(form, u"form-day-of-month"_qs)->isVisible());
        QVERIFY(!child<QComboBox>(form, u"form-nth-week"_qs)->isVisible());

        choose(when, u"Nth weekday"_qs);
        QVERIFY(!lastDay->isVisible());
        QVERIFY(child<QComboBox>(form, u"form-nth-week"_qs)->isVisible());
        QVERIFY(child<QComboBox>(form, u"form-nth-weekday"_qs)->isVisible());
        QVERIFY(child<QWidget>(form, u"form-times"_qs)->isVisible());
    }

    void weekdayButtons_toggleAndColour()
    {
        ShownForm shown;
        TaskFormView &form = shown.form;
        choose(child<QComboBox>(form, u"form-schedule-type"_qs), u"Weekly"_qs);
        const QStringList names{u"Sun"_qs, u"Mon"_qs, u"Tue"_qs, u"Wed"_qs, u"Thu"_qs, u"Fri"_qs, u"Sat"_qs};
        for (int weekday = 1; weekday <= 7; ++weekday) {
            auto *button = child<QPushButton>(form, u"form-weekday-" % QString::number(weekday));
            QCOMPARE(button->text(), names.at(weekday - 1));
            QCOMPARE(button->size(), QSize(36, 28));
            QCOMPARE(button->isChecked(), weekday == 2);
        }
        auto *monday = child<QPushButton>(form, u"form-weekday-2"_qs);
        auto *saturday = child<QPushButton>(form, u"form-weekday-7"_qs);
        auto *sunday = child<QPushButton>(form, u"form-weekday-1"_qs);
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
        auto *add = child<QPushButton>(form, u"form-add-time"_qs);
        QCOMPARE(add->text(), u"Add another time"_qs);
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
        choose(first->hourPicker(), u"18"_qs);
        auto *second = rows.at(1)->findChild<TimeInputView *>();
        choose(second->hourPicker(), u"7"_qs);
        choose(second->minutePicker(), u"30"_qs);
        QCOMPARE(form.fields().times, times({{18, 0}, {7, 30}, {9, 0}}));
        QCOMPARE(form.fields().schedule(), TaskSchedule::daily(times({{7, 30}, {9, 0}, {18, 0}})));

        // Remove the third, then the first: one row is left and has no remove button.
        click(rows.at(2)->findChild<QToolButton *>(u"form-remove-time"_qs));
        QCOMPARE(form.fields().times, times({{18, 0}, {7, 30}}));
        QCOMPARE(visibleRemoveButtons(form), 2);
        click(visibleTimeRows(form).at(0)->findChild<QToolButton *>(u"form-remove-time"_qs));
        QCOMPARE(form.fields().times, times({{7, 30}}));
        QCOMPARE(visibleTimeRows(form).size(), 1);
        QCOMPARE(visibleRemoveButtons(form), 0);
        auto *left = visibleTimeRows(form).at(0)->findChild<TimeInputView *>();
        QCOMPARE(left->hourPicker()->currentText(), u"7"_qs);
        QCOMPARE(left->minutePicker()->currentText(), u"30"_qs);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCOMPARE(form.findChildren<QWidget *>(u"form-time-row"_qs).size(), 1);
    }

    void wakeExplanation_perKind()
    {
        ShownForm shown;
        TaskFormView &form = shown.form;
        auto *wake = child<QCheckBox>(form, u"form-wake"_qs);
        auto *explanation = child<QLabel>(form, u"form-wake-explanation"_qs);
        const QString plain =
            u"Wakes your Mac 5 minutes before the scheduled time so the task can run even during sleep."_qs;
        click(wake);
        QVERIFY(form.fields().wakeBeforeRun);
        QVERIFY(explanation->isVisible());
        QCOMPARE(explanation->text(), plain);

        auto *type = child<QComboBox>(form, u"form-schedule-type"_qs);
        choose(type, u"Monthly"_qs);
        QCOMPARE(explanation->text(), plain);
        choose(child<QComboBox>(form, u"form-monthly-type"_qs), u"Last day of month"_qs);
        QCOMPARE(explanation->text(),
                 u"Wakes your Mac every day from the 28th to the 31st, 5 minutes before the scheduled time. The task "
                 u"only runs on the actual last day."_qs);
        choose(child<QComboBox>(form, u"form-monthly-type"_qs), u"Nth weekday"_qs);
        choose(child<QComboBox>(form, u"form-nth-week"_qs), u"2nd"_qs);
        QCOMPARE(explanation->text(), u"Wakes your Mac every Monday 5 minutes before the scheduled time. The task only "
                                      u"runs on the 2nd occurrence."_qs);
        choose(child<QComboBox>(form, u"form-nth-weekday"_qs), u"Friday"_qs);
        choose(child<QComboBox>(form, u"form-nth-week"_qs), u"4th"_qs);
        QCOMPARE(explanation->text(), u"Wakes your Mac every Friday 5 minutes before the scheduled time. The task only "
                                      u"runs on the 4th occurrence."_qs);
        choose(type, u"Weekly"_qs);
        QCOMPARE(explanation->text(), plain);

        click(wake);
        QVERIFY(!explanation->isVisible());
    }

    void loginShellCaption()
    {
        ShownForm shown;
        TaskFormView &form = shown.form;
        auto *caption = child<QLabel>(form, u"form-login-shell-caption"_qs);
        QCOMPARE(caption->text(), u"Load your shell profile to inherit env vars (e.g. $PATH, $HOME). Using zsh."_qs);
        click(child<QCheckBox>(form, u"form-login-shell"_qs));
        QVERIFY(!form.fields().useLoginShell);
        QCOMPARE(caption->text(), u"Load your shell profile to inherit env vars (e.g. $PATH, $HOME). "_qs);

        QCOMPARE(TaskFormText::loginShellCaption(true, std::nullopt),
                 u"Load your shell profile to inherit env vars (e.g. $PATH, $HOME). Using unknown."_qs);
        qunsetenv("SHELL");
        click(child<QCheckBox>(form, u"form-login-shell"_qs));
        QCOMPARE(caption->text(),
                 u"Load your shell profile to inherit env vars (e.g. $PATH, $HOME). Using unknown."_qs);
        qputenv("SHELL", "/opt/homebrew/bin/fish");
        click(child<QCheckBox>(form, u"form-login-shell"_qs));
        click(child<QCheckBox>(form, u"form-login-shell"_qs));
        QCOMPARE(caption->text(), u"Load your shell profile to inherit env vars (e.g. $PATH, $HOME). Using fish."_qs);
    }

    void typingFillsFields_blankNameCounts()
    {
        ShownForm shown;
        TaskFormView &form = shown.form;
        QVERIFY(!form.fields().canSubmit());
        QTest::keyClicks(child<QLineEdit>(form, u"form-task-name"_qs), u"   "_qs);
        QTest::keyClicks(child<QPlainTextEdit>(form, u"form-task-command"_qs), u"echo hi"_qs);
        QTest::keyClicks(child<QLineEdit>(form, u"form-working-directory"_qs), u"/tmp/x y"_qs);
        QCOMPARE(form.fields().name, u"   "_qs);
        QCOMPARE(form.fields().command, u"echo hi"_qs);
        QCOMPARE(form.fields().workingDirectory, u"/tmp/x y"_qs);
        QVERIFY(form.fields().canSubmit());
    }

    void shortcut_replacesCommand_namesOnlyWhenEmpty()
    {
        ShownForm shown;
        TaskFormView &form = shown.form;
        QTest::keyClicks(child<QPlainTextEdit>(form, u"form-task-command"_qs), u"old command"_qs);
        form.applyShortcut(u"Tom's backup"_qs);
        QCOMPARE(form.fields().command, u"shortcuts run 'Tom'\\''s backup'"_qs);
        QCOMPARE(child<QPlainTextEdit>(form, u"form-task-command"_qs)->toPlainText(),
                 u"shortcuts run 'Tom'\\''s backup'"_qs);
        QCOMPARE(form.fields().name, u"Tom's backup"_qs);
        QCOMPARE(child<QLineEdit>(form, u"form-task-name"_qs)->text(), u"Tom's backup"_qs);

        form.applyShortcut(u"Daily Backup"_qs);
        QCOMPARE(form.fields().command, u"shortcuts run 'Daily Backup'"_qs);
        QCOMPARE(form.fields().name, u"Tom's backup"_qs);
    }

    void fromShortcutsButton_picksFromTheTool()
    {
        Sandbox sandbox;
        StandInTool tool(sandbox, u"/usr/bin/shortcuts"_qs);
        tool.setOutput("Morning Brief\n  Tom's backup\t\n\n", u"list"_qs);
        ShownForm shown;
        TaskFormView &form = shown.form;
        click(buttonWithText(form, u"From Shortcuts"_qs));
        auto *picker = form.findChild<ShortcutsPickerView *>();
        QVERIFY(picker);
        QTRY_VERIFY(picker->isVisible());
        QTRY_VERIFY(!picker->isLoading());
        auto *list = child<QListWidget>(*picker, u"shortcuts-list"_qs);
        QCOMPARE(list->count(), 2);
        QListWidgetItem *item = list->item(1);
        QCOMPARE(item->text(), u"Tom's backup"_qs);
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(item).center());
        QCOMPARE(form.fields().command, u"shortcuts run 'Tom'\\''s backup'"_qs);
        QCOMPARE(form.fields().name, u"Tom's backup"_qs);
        QTRY_VERIFY(!form.findChild<ShortcutsPickerView *>());
    }

    void gmailTemplateButton_fillsCommandAndName()
    {
        QTemporaryDir dir;
        auto keychain = std::make_shared<FakeKeychain>();
        auto settings = std::make_shared<QSettings>(dir.filePath(u"settings.ini"_qs), QSettings::IniFormat);
        ShownForm shown;
        TaskFormView &form = shown.form;
        form.setKeychain(keychain);
        form.setSettings(settings);
        QTest::keyClicks(child<QPlainTextEdit>(form, u"form-task-command"_qs), u"echo replaced"_qs);

        click(buttonWithText(form, u"Gmail Template"_qs));
        auto *setup = form.findChild<GmailSetupView *>();
        QVERIFY(setup);
        QTRY_VERIFY(setup->isVisible());
        QTest::keyClicks(child<QLineEdit>(*setup, u"gmail-address"_qs), u"me@gmail.com"_qs);
        QTest::keyClicks(child<QLineEdit>(*setup, u"gmail-app-password"_qs), u"abcd efgh ijkl mnop"_qs);
        QTest::keyClicks(child<QLineEdit>(*setup, u"gmail-to"_qs), u"you@x.org"_qs);
        click(child<QPushButton>(*setup, u"gmail-use-template"_qs));

        QCOMPARE(form.fields().command,
                 MailSnippet::build({u"me@gmail.com"_qs, u"you@x.org"_qs, u"Daily Reminder"_qs,
                                     u"Don't forget to check the report."_qs}));
        QCOMPARE(form.fields().name, u"Email: Daily Reminder"_qs);
        QCOMPARE(keychain->items.value(u"me@gmail.com"_qs), u"abcd efgh ijkl mnop"_qs);
        QTRY_VERIFY(!form.findChild<GmailSetupView *>());

        // A typed name stays.
        form.setFields([&] {
            TaskFormFields fields = form.fields();
            fields.name = u"Mine"_qs;
            return fields;
        }());
        form.applyGeneratedCommand(u"echo new"_qs, u"Email: Other"_qs);
        QCOMPARE(form.fields().name, u"Mine"_qs);
        QCOMPARE(form.fields().command, u"echo new"_qs);
    }
};

QTEST_MAIN(TaskFormViewTest)
#include "test_task_form_view.moc"
