#pragma once

#include "ui/TaskFormFields.h"

#include <QList>
#include <QWidget>

#include <functional>
#include <memory>

class Keychain;
class QCheckBox;
class QComboBox;
class QFormLayout;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QSettings;
class QVBoxLayout;
class TimeInputView;

// The one editor of a task's settings, shown by the add and edit sheets: "Basic", "Schedule"
// and "Environment", with the assistants that write a command (a Shortcuts command, a Gmail
// snippet). It edits a TaskFormFields; the sheets turn that into a task.
class TaskFormView : public QWidget
{
    Q_OBJECT

public:
    explicit TaskFormView(QWidget *parent = nullptr);
    ~TaskFormView() override;

    const TaskFormFields &fields() const { return m_fields; }
    void setFields(const TaskFormFields &fields);

    // Where the Gmail assistant keeps the app password and the last address. Defaults: the
    // system's keychain and the app's QSettings.
    void setKeychain(std::shared_ptr<Keychain> keychain);
    void setSettings(std::shared_ptr<QSettings> settings);

    // The assistants' results: the command replaces what was there; the name is only filled in
    // while it is empty.
    void applyShortcut(const QString &shortcutName);
    void applyGeneratedCommand(const QString &command, const QString &suggestedName);

    void openShortcutsPicker();
    void openGmailSetup();

Q_SIGNALS:
    void fieldsChanged();

private:
    QWidget *buildBasicSection();
    QWidget *buildScheduleSection();
    QWidget *buildEnvironmentSection();
    void addMonthlyRows(QFormLayout *form);
    static QLabel *caption(const QString &name, const QString &text);
    // The control with its caption just under it, as one field of the form.
    static QWidget *withCaption(QWidget *control, QLabel *caption);
    static QFormLayout *formLayout();
    static QGroupBox *section(const QString &title, QFormLayout *content);
    QWidget *buildWeekdayButtons();
    QWidget *buildTimesEditor();

    void onPick(QComboBox *box, std::function<void(int)> apply);
    void onEdit(QLineEdit *edit, std::function<void(const QString &)> apply);
    void onEdit(QPlainTextEdit *edit, std::function<void(const QString &)> apply);
    void onToggle(QCheckBox *box, std::function<void(bool)> apply);
    void changed();
    void syncControls();
    void updateVisibility();
    void showScheduleRows(const QList<bool> &shown);
    void syncTimeRows();
    void chooseWorkingDirectory();
    void chooseEnvFile();

    TaskFormFields m_fields;
    std::shared_ptr<Keychain> m_keychain;
    std::shared_ptr<QSettings> m_settings;

    QLineEdit *m_name = nullptr;
    QPlainTextEdit *m_command = nullptr;

    QFormLayout *m_scheduleForm = nullptr;
    QComboBox *m_type = nullptr;
    QLabel *m_runAtLoadCaption = nullptr;
    QComboBox *m_interval = nullptr;
    QLabel *m_intervalCaption = nullptr;
    QWidget *m_weekdayRow = nullptr;
    QList<QPushButton *> m_weekdayButtons;
    QComboBox *m_monthlyType = nullptr;
    QComboBox *m_day = nullptr;
    QLabel *m_dayCaption = nullptr;
    QLabel *m_lastDayCaption = nullptr;
    QWidget *m_nthRow = nullptr;
    QComboBox *m_nthWeek = nullptr;
    QComboBox *m_nthWeekday = nullptr;
    QWidget *m_timesEditor = nullptr;
    QVBoxLayout *m_timeRows = nullptr;
    QCheckBox *m_wake = nullptr;
    QLabel *m_wakeExplanation = nullptr;
    // The schedule's rows that come and go, in their order, each a field and its label (or none).
    QList<std::pair<QWidget *, QWidget *>> m_scheduleRows;

    QLineEdit *m_workingDirectory = nullptr;
    QLineEdit *m_envFile = nullptr;
    QCheckBox *m_loginShell = nullptr;
    QLabel *m_loginShellCaption = nullptr;

    bool m_syncing = false;
};
