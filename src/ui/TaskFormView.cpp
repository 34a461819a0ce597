#include "ui/TaskFormView.h"

#include "launchd/ShortcutsList.h"
#include "model/Weekdays.h"
#include "platform/Keychain.h"
#include "ui/FormStyle.h"
#include "ui/GmailSetupView.h"
#include "ui/Icons.h"
#include "ui/ShortcutsPickerView.h"
#include "ui/TimeInputView.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QFontDatabase>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSettings>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>

namespace {

constexpr QSize kWeekdayButtonSize{36, 28};

QGroupBox *section(const QString &title, QFormLayout *content)
{
    auto *box = new QGroupBox(title);
    box->setLayout(content);
    return box;
}

QFormLayout *formLayout()
{
    auto *form = new QFormLayout;
    form->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
    form->setLabelAlignment(Qt::AlignRight | Qt::AlignVCenter);
    form->setRowWrapPolicy(QFormLayout::DontWrapRows);
    form->setHorizontalSpacing(12);
    form->setVerticalSpacing(8);
    return form;
}

QPushButton *smallButton(const QString &text, const QString &symbol)
{
    auto *button = new QPushButton(Icons::symbol(symbol), text);
    FormStyle::makeSmall(button, 0.9);
    button->setAutoDefault(false);
    return button;
}

std::optional<QString> shellVariable()
{
    if (!qEnvironmentVariableIsSet("SHELL")) {
        return std::nullopt;
    }
    return qEnvironmentVariable("SHELL");
}

} // namespace

TaskFormView::TaskFormView(QWidget *parent) : QWidget(parent)
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 16, 16, 16);
    layout->setSpacing(14);
    layout->addWidget(buildBasicSection());
    layout->addWidget(buildScheduleSection());
    layout->addWidget(buildEnvironmentSection());
    layout->addStretch();
    QList<QFormLayout *> forms;
    for (QGroupBox *box : findChildren<QGroupBox *>()) {
        forms << static_cast<QFormLayout *>(box->layout());
    }
    FormStyle::alignLabelColumns(forms);
    syncControls();
}

TaskFormView::~TaskFormView() = default;

QWidget *TaskFormView::buildBasicSection()
{
    auto *form = formLayout();

    m_name = new QLineEdit;
    m_name->setPlaceholderText(QStringLiteral("My daily task"));
    m_name->setObjectName(QStringLiteral("form-task-name"));
    m_name->setAccessibleName(QStringLiteral("form-task-name"));
    connect(m_name, &QLineEdit::textChanged, this, [this](const QString &text) {
        if (!m_syncing) {
            m_fields.name = text;
            changed();
        }
    });
    form->addRow(QStringLiteral("Task Name"), m_name);

    m_command = new QPlainTextEdit;
    m_command->setPlaceholderText(QStringLiteral("echo \"hello\" && npm run build"));
    m_command->setObjectName(QStringLiteral("form-task-command"));
    m_command->setAccessibleName(QStringLiteral("form-task-command"));
    m_command->setTabChangesFocus(true);
    m_command->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    const int lineHeight = m_command->fontMetrics().lineSpacing();
    m_command->setFixedHeight(lineHeight * 4 + 14);
    connect(m_command, &QPlainTextEdit::textChanged, this, [this] {
        if (!m_syncing) {
            m_fields.command = m_command->toPlainText();
            changed();
        }
    });

    auto *gmail = smallButton(QStringLiteral("Gmail Template"), QStringLiteral("envelope"));
    gmail->setObjectName(QStringLiteral("form-gmail-template"));
    connect(gmail, &QPushButton::clicked, this, &TaskFormView::openGmailSetup);
    auto *shortcuts = smallButton(QStringLiteral("From Shortcuts"), QStringLiteral("sparkles.rectangle.stack"));
    shortcuts->setObjectName(QStringLiteral("form-from-shortcuts"));
    connect(shortcuts, &QPushButton::clicked, this, &TaskFormView::openShortcutsPicker);

    auto *assistants = new QHBoxLayout;
    assistants->setContentsMargins(0, 0, 0, 0);
    assistants->addWidget(gmail);
    assistants->addWidget(shortcuts);
    assistants->addStretch();

    auto *commandColumn = new QVBoxLayout;
    commandColumn->setContentsMargins(0, 0, 0, 0);
    commandColumn->setSpacing(6);
    commandColumn->addWidget(m_command);
    commandColumn->addLayout(assistants);
    auto *commandLabel = new QLabel(QStringLiteral("Command"));
    commandLabel->setBuddy(m_command);
    form->addRow(commandLabel, commandColumn);
    // The label sits by the editor's first line, not its middle.
    commandLabel->setAlignment(Qt::AlignRight | Qt::AlignTop);
    commandLabel->setContentsMargins(0, 5, 0, 0);

    return section(QStringLiteral("Basic"), form);
}

QWidget *TaskFormView::buildScheduleSection()
{
    m_scheduleForm = formLayout();
    QFormLayout *form = m_scheduleForm;

    m_type = new QComboBox;
    m_type->setObjectName(QStringLiteral("form-schedule-type"));
    for (ScheduleType type : TaskFormText::allScheduleTypes()) {
        m_type->addItem(TaskFormText::label(type), TaskFormText::rawValue(type));
    }
    connect(m_type, &QComboBox::currentIndexChanged, this, [this](int index) {
        if (!m_syncing && index >= 0) {
            m_fields.scheduleType = TaskFormText::allScheduleTypes().at(index);
            changed();
        }
    });
    form->addRow(QStringLiteral("Type"), m_type);

    m_runAtLoadCaption = FormStyle::caption(QStringLiteral("Runs once when you log in or reboot."));
    m_runAtLoadCaption->setObjectName(QStringLiteral("form-run-at-load-caption"));
    form->addRow(QString(), m_runAtLoadCaption);

    m_interval = new QComboBox;
    m_interval->setObjectName(QStringLiteral("form-interval"));
    for (int minutes : TaskFormText::intervalChoices()) {
        m_interval->addItem(TaskFormText::intervalLabel(minutes), minutes);
    }
    connect(m_interval, &QComboBox::currentIndexChanged, this, [this](int index) {
        if (!m_syncing && index >= 0) {
            m_fields.intervalMinutes = m_interval->itemData(index).toInt();
            changed();
        }
    });
    form->addRow(QStringLiteral("Interval"), m_interval);
    m_intervalCaption =
        FormStyle::caption(QStringLiteral("Starts when the task is enabled, then repeats at this interval."));
    m_intervalCaption->setObjectName(QStringLiteral("form-interval-caption"));
    form->addRow(QString(), m_intervalCaption);

    m_weekdayRow = buildWeekdayButtons();
    form->addRow(QString(), m_weekdayRow);

    m_monthlyType = new QComboBox;
    m_monthlyType->setObjectName(QStringLiteral("form-monthly-type"));
    for (MonthlyType type : TaskFormText::allMonthlyTypes()) {
        m_monthlyType->addItem(TaskFormText::label(type), TaskFormText::rawValue(type));
    }
    connect(m_monthlyType, &QComboBox::currentIndexChanged, this, [this](int index) {
        if (!m_syncing && index >= 0) {
            m_fields.monthlyType = TaskFormText::allMonthlyTypes().at(index);
            changed();
        }
    });
    form->addRow(QStringLiteral("When"), m_monthlyType);

    m_day = new QComboBox;
    m_day->setObjectName(QStringLiteral("form-day-of-month"));
    for (int day = 1; day <= 31; ++day) {
        m_day->addItem(QString::number(day), day);
    }
    m_day->setMaxVisibleItems(16);
    connect(m_day, &QComboBox::currentIndexChanged, this, [this](int index) {
        if (!m_syncing && index >= 0) {
            m_fields.dayOfMonth = index + 1;
            changed();
        }
    });
    form->addRow(QStringLiteral("Day"), m_day);
    m_dayCaption = FormStyle::caption();
    m_dayCaption->setObjectName(QStringLiteral("form-day-caption"));
    form->addRow(QString(), m_dayCaption);

    m_lastDayCaption =
        FormStyle::caption(QStringLiteral("Runs on the last day of every month (28th, 29th, 30th, or 31st)."));
    m_lastDayCaption->setObjectName(QStringLiteral("form-last-day-caption"));
    form->addRow(QString(), m_lastDayCaption);

    m_nthWeek = new QComboBox;
    m_nthWeek->setObjectName(QStringLiteral("form-nth-week"));
    m_nthWeek->setAccessibleName(QStringLiteral("Occurrence"));
    for (int nth = 1; nth <= 4; ++nth) {
        m_nthWeek->addItem(Weekdays::ordinal(nth), nth);
    }
    connect(m_nthWeek, &QComboBox::currentIndexChanged, this, [this](int index) {
        if (!m_syncing && index >= 0) {
            m_fields.nthWeek = index + 1;
            changed();
        }
    });
    m_nthWeekday = new QComboBox;
    m_nthWeekday->setObjectName(QStringLiteral("form-nth-weekday"));
    m_nthWeekday->setAccessibleName(QStringLiteral("Weekday"));
    for (int weekday = 1; weekday <= 7; ++weekday) {
        m_nthWeekday->addItem(Weekdays::fullName(weekday), weekday);
    }
    connect(m_nthWeekday, &QComboBox::currentIndexChanged, this, [this](int index) {
        if (!m_syncing && index >= 0) {
            m_fields.nthWeekday = index + 1;
            changed();
        }
    });
    m_nthRow = new QWidget;
    auto *nthLayout = new QHBoxLayout(m_nthRow);
    nthLayout->setContentsMargins(0, 0, 0, 0);
    nthLayout->addWidget(m_nthWeek);
    nthLayout->addWidget(m_nthWeekday);
    nthLayout->addStretch();
    form->addRow(QStringLiteral("On the"), m_nthRow);

    m_timesEditor = buildTimesEditor();
    auto *timesLabel = new QLabel(QStringLiteral("Times"));
    timesLabel->setAlignment(Qt::AlignRight | Qt::AlignTop);
    timesLabel->setContentsMargins(0, 4, 0, 0);
    form->addRow(timesLabel, m_timesEditor);

    m_wake = new QCheckBox(QStringLiteral("Wake Mac for this task"));
    m_wake->setObjectName(QStringLiteral("form-wake"));
    connect(m_wake, &QCheckBox::toggled, this, [this](bool on) {
        if (!m_syncing) {
            m_fields.wakeBeforeRun = on;
            changed();
        }
    });
    form->addRow(QString(), m_wake);
    m_wakeExplanation = FormStyle::caption();
    m_wakeExplanation->setObjectName(QStringLiteral("form-wake-explanation"));
    form->addRow(QString(), m_wakeExplanation);

    return section(QStringLiteral("Schedule"), form);
}

QWidget *TaskFormView::buildWeekdayButtons()
{
    auto *row = new QWidget;
    row->setObjectName(QStringLiteral("form-weekdays"));
    auto *layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(4);
    const QColor accent = palette().color(QPalette::Highlight);
    const QColor neutral = palette().color(QPalette::Button).darker(108);
    const QString style =
        QStringLiteral("QPushButton { border: none; border-radius: 6px; padding: 0; background: %1; color: %2; }"
                       "QPushButton:checked { background: %3; color: white; }")
            .arg(neutral.name(), palette().color(QPalette::ButtonText).name(), accent.name());
    for (int weekday = 1; weekday <= 7; ++weekday) {
        auto *button = new QPushButton(Weekdays::abbreviation(weekday));
        button->setObjectName(u"form-weekday-" % QString::number(weekday));
        button->setAccessibleName(Weekdays::fullName(weekday));
        button->setCheckable(true);
        button->setAutoDefault(false);
        button->setFixedSize(kWeekdayButtonSize);
        button->setStyleSheet(style);
        FormStyle::makeSmall(button);
        connect(button, &QPushButton::clicked, this, [this, weekday] {
            if (m_fields.weekdays.contains(weekday)) {
                m_fields.weekdays.remove(weekday);
            } else {
                m_fields.weekdays.insert(weekday);
            }
            changed();
        });
        m_weekdayButtons << button;
        layout->addWidget(button);
    }
    layout->addStretch();
    return row;
}

QWidget *TaskFormView::buildTimesEditor()
{
    auto *editor = new QWidget;
    editor->setObjectName(QStringLiteral("form-times"));
    auto *layout = new QVBoxLayout(editor);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(6);
    m_timeRows = new QVBoxLayout;
    m_timeRows->setContentsMargins(0, 0, 0, 0);
    m_timeRows->setSpacing(6);
    layout->addLayout(m_timeRows);

    auto *add = new QPushButton(Icons::symbol(QStringLiteral("plus.circle")), QStringLiteral("Add another time"));
    add->setObjectName(QStringLiteral("form-add-time"));
    add->setAutoDefault(false);
    add->setFlat(true);
    add->setCursor(Qt::PointingHandCursor);
    add->setStyleSheet(QStringLiteral("QPushButton { color: palette(highlight); text-align: left; padding: 2px 0; }"));
    connect(add, &QPushButton::clicked, this, [this] {
        m_fields.times.append(TimeOfDay{9, 0});
        changed();
    });
    auto *addRow = new QHBoxLayout;
    addRow->addWidget(add);
    addRow->addStretch();
    layout->addLayout(addRow);
    return editor;
}

QWidget *TaskFormView::buildEnvironmentSection()
{
    auto *form = formLayout();

    const auto pathRow = [](QLineEdit *edit, QPushButton *choose) {
        auto *row = new QHBoxLayout;
        row->setContentsMargins(0, 0, 0, 0);
        row->addWidget(edit, 1);
        row->addWidget(choose);
        return row;
    };

    m_workingDirectory = new QLineEdit;
    m_workingDirectory->setPlaceholderText(QStringLiteral("/Users/you/project"));
    m_workingDirectory->setObjectName(QStringLiteral("form-working-directory"));
    connect(m_workingDirectory, &QLineEdit::textChanged, this, [this](const QString &text) {
        if (!m_syncing) {
            m_fields.workingDirectory = text;
            changed();
        }
    });
    auto *chooseDirectory = new QPushButton(QStringLiteral("Choose..."));
    chooseDirectory->setObjectName(QStringLiteral("form-choose-directory"));
    chooseDirectory->setAutoDefault(false);
    connect(chooseDirectory, &QPushButton::clicked, this, &TaskFormView::chooseWorkingDirectory);
    form->addRow(QStringLiteral("Working Directory"), pathRow(m_workingDirectory, chooseDirectory));

    m_envFile = new QLineEdit;
    m_envFile->setPlaceholderText(QStringLiteral("Optional"));
    m_envFile->setObjectName(QStringLiteral("form-env-file"));
    connect(m_envFile, &QLineEdit::textChanged, this, [this](const QString &text) {
        if (!m_syncing) {
            m_fields.envFilePath = text;
            changed();
        }
    });
    auto *chooseEnv = new QPushButton(QStringLiteral("Choose..."));
    chooseEnv->setObjectName(QStringLiteral("form-choose-env-file"));
    chooseEnv->setAutoDefault(false);
    connect(chooseEnv, &QPushButton::clicked, this, &TaskFormView::chooseEnvFile);
    form->addRow(QStringLiteral(".env File"), pathRow(m_envFile, chooseEnv));

    m_loginShell = new QCheckBox(QStringLiteral("Use login shell"));
    m_loginShell->setObjectName(QStringLiteral("form-login-shell"));
    connect(m_loginShell, &QCheckBox::toggled, this, [this](bool on) {
        if (!m_syncing) {
            m_fields.useLoginShell = on;
            changed();
        }
    });
    form->addRow(QString(), m_loginShell);
    m_loginShellCaption = FormStyle::caption();
    m_loginShellCaption->setObjectName(QStringLiteral("form-login-shell-caption"));
    form->addRow(QString(), m_loginShellCaption);

    return section(QStringLiteral("Environment"), form);
}

void TaskFormView::setFields(const TaskFormFields &fields)
{
    m_fields = fields;
    syncControls();
    Q_EMIT fieldsChanged();
}

void TaskFormView::setKeychain(std::shared_ptr<Keychain> keychain)
{
    m_keychain = std::move(keychain);
}

void TaskFormView::setSettings(std::shared_ptr<QSettings> settings)
{
    m_settings = std::move(settings);
}

void TaskFormView::changed()
{
    syncControls();
    Q_EMIT fieldsChanged();
}

void TaskFormView::syncControls()
{
    m_syncing = true;
    if (m_name->text() != m_fields.name) {
        m_name->setText(m_fields.name);
    }
    if (m_command->toPlainText() != m_fields.command) {
        m_command->setPlainText(m_fields.command);
    }
    m_type->setCurrentIndex(int(TaskFormText::allScheduleTypes().indexOf(m_fields.scheduleType)));
    // A stored interval the list does not offer still shows as itself.
    int intervalIndex = m_interval->findData(m_fields.intervalMinutes);
    if (intervalIndex < 0) {
        m_interval->addItem(TaskFormText::intervalLabel(m_fields.intervalMinutes), m_fields.intervalMinutes);
        intervalIndex = m_interval->count() - 1;
    }
    m_interval->setCurrentIndex(intervalIndex);
    for (int weekday = 1; weekday <= 7; ++weekday) {
        m_weekdayButtons.at(weekday - 1)->setChecked(m_fields.weekdays.contains(weekday));
    }
    m_monthlyType->setCurrentIndex(int(TaskFormText::allMonthlyTypes().indexOf(m_fields.monthlyType)));
    m_day->setCurrentIndex(std::clamp(m_fields.dayOfMonth, 1, 31) - 1);
    m_nthWeek->setCurrentIndex(std::clamp(m_fields.nthWeek, 1, 4) - 1);
    m_nthWeekday->setCurrentIndex(std::clamp(m_fields.nthWeekday, 1, 7) - 1);
    m_wake->setChecked(m_fields.wakeBeforeRun);
    if (m_workingDirectory->text() != m_fields.workingDirectory) {
        m_workingDirectory->setText(m_fields.workingDirectory);
    }
    if (m_envFile->text() != m_fields.envFilePath) {
        m_envFile->setText(m_fields.envFilePath);
    }
    m_loginShell->setChecked(m_fields.useLoginShell);
    syncTimeRows();
    m_syncing = false;
    updateVisibility();
}

void TaskFormView::syncTimeRows()
{
    const bool removable = m_fields.times.size() >= 2;
    // Rows are reused; surplus rows leave the form at once and are deleted later, because the
    // remove button that asked for it may be one of them.
    while (m_timeRows->count() > m_fields.times.size()) {
        QLayoutItem *item = m_timeRows->takeAt(m_timeRows->count() - 1);
        QWidget *row = item->widget();
        delete item;
        row->hide();
        row->setParent(nullptr);
        row->deleteLater();
    }
    while (m_timeRows->count() < m_fields.times.size()) {
        const int index = m_timeRows->count();
        auto *row = new QWidget;
        row->setObjectName(QStringLiteral("form-time-row"));
        auto *layout = new QHBoxLayout(row);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->setSpacing(6);
        auto *input = new TimeInputView;
        connect(input, &TimeInputView::timeChanged, this, [this, index](const TimeOfDay &time) {
            if (!m_syncing && index < m_fields.times.size()) {
                m_fields.times[index] = time;
                Q_EMIT fieldsChanged();
            }
        });
        auto *remove = new QToolButton;
        remove->setObjectName(QStringLiteral("form-remove-time"));
        remove->setAccessibleName(QStringLiteral("Remove time"));
        remove->setToolTip(QStringLiteral("Remove this time"));
        remove->setAutoRaise(true);
        const QIcon minus = Icons::symbol(QStringLiteral("minus.circle"));
        if (minus.isNull()) {
            remove->setText(QStringLiteral("−"));
        } else {
            remove->setIcon(minus);
        }
        connect(remove, &QToolButton::clicked, this, [this, index] {
            if (m_fields.times.size() >= 2 && index < m_fields.times.size()) {
                m_fields.times.removeAt(index);
                changed();
            }
        });
        layout->addWidget(input);
        layout->addWidget(remove);
        layout->addStretch();
        m_timeRows->addWidget(row);
        // Shown now rather than on the layout's next pass, so the form is complete at once.
        if (isVisible()) {
            row->show();
        }
    }
    for (int index = 0; index < m_timeRows->count(); ++index) {
        QWidget *row = m_timeRows->itemAt(index)->widget();
        row->findChild<TimeInputView *>()->setTime(m_fields.times.at(index));
        row->findChild<QToolButton *>(QStringLiteral("form-remove-time"))->setVisible(removable);
    }
}

void TaskFormView::updateVisibility()
{
    const ScheduleType type = m_fields.scheduleType;
    const bool monthly = type == ScheduleType::monthly;
    const MonthlyType monthlyType = m_fields.monthlyType;
    const bool calendar = type == ScheduleType::daily || type == ScheduleType::weekly || monthly;
    const std::optional<QString> dayCaption = TaskFormText::shortMonthCaption(m_fields.dayOfMonth);
    if (dayCaption) {
        m_dayCaption->setText(*dayCaption);
    }

    QFormLayout *form = m_scheduleForm;
    form->setRowVisible(m_runAtLoadCaption, type == ScheduleType::runAtLoad);
    form->setRowVisible(m_interval, type == ScheduleType::interval);
    form->setRowVisible(m_intervalCaption, type == ScheduleType::interval);
    form->setRowVisible(m_weekdayRow, type == ScheduleType::weekly);
    form->setRowVisible(m_monthlyType, monthly);
    form->setRowVisible(m_day, monthly && monthlyType == MonthlyType::specificDay);
    form->setRowVisible(m_dayCaption, monthly && monthlyType == MonthlyType::specificDay && dayCaption.has_value());
    form->setRowVisible(m_lastDayCaption, monthly && monthlyType == MonthlyType::lastDay);
    form->setRowVisible(m_nthRow, monthly && monthlyType == MonthlyType::nthWeekday);
    form->setRowVisible(m_timesEditor, calendar);

    m_wakeExplanation->setText(
        TaskFormText::wakeExplanation(type, monthlyType, std::clamp(m_fields.nthWeek, 1, 4), m_fields.nthWeekday));
    form->setRowVisible(m_wakeExplanation, m_fields.wakeBeforeRun);

    m_loginShellCaption->setText(TaskFormText::loginShellCaption(m_fields.useLoginShell, shellVariable()));
}

void TaskFormView::applyShortcut(const QString &shortcutName)
{
    m_fields.command = ShortcutsList::runCommand(shortcutName);
    if (m_fields.name.isEmpty()) {
        m_fields.name = shortcutName;
    }
    changed();
}

void TaskFormView::applyGeneratedCommand(const QString &command, const QString &suggestedName)
{
    m_fields.command = command;
    if (m_fields.name.isEmpty()) {
        m_fields.name = suggestedName;
    }
    changed();
}

void TaskFormView::openShortcutsPicker()
{
    auto *picker = new ShortcutsPickerView(this);
    picker->setAttribute(Qt::WA_DeleteOnClose);
    picker->setOnSelect([this](const QString &name) { applyShortcut(name); });
    picker->open();
}

void TaskFormView::openGmailSetup()
{
    if (!m_keychain) {
        m_keychain = Keychain::system();
    }
    if (!m_settings) {
        m_settings = std::make_shared<QSettings>();
    }
    auto *setup = new GmailSetupView(m_keychain, m_settings, this);
    setup->setAttribute(Qt::WA_DeleteOnClose);
    setup->setOnComplete(
        [this](const QString &snippet, const QString &suggestedName) { applyGeneratedCommand(snippet, suggestedName); });
    setup->open();
}

void TaskFormView::chooseWorkingDirectory()
{
    const QString folder = QFileDialog::getExistingDirectory(this, QStringLiteral("Working Directory"),
                                                             m_fields.workingDirectory);
    if (!folder.isEmpty()) {
        m_fields.workingDirectory = folder;
        changed();
    }
}

void TaskFormView::chooseEnvFile()
{
    const QString file = QFileDialog::getOpenFileName(this, QStringLiteral(".env File"), m_fields.envFilePath);
    if (!file.isEmpty()) {
        m_fields.envFilePath = file;
        changed();
    }
}
