#include "ui/TaskFormView.h"

#include "launchd/ShortcutsList.h"
#include "platform/Keychain.h"
#include "ui/FileDialog.h"
#include "ui/GmailSetupView.h"
#include "ui/Icons.h"
#include "ui/ShortcutsPickerView.h"
#include "ui/ViewStyle.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFontDatabase>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSettings>
#include <QVBoxLayout>

#include <algorithm>

using namespace Qt::StringLiterals;

QGroupBox *TaskFormView::section(const QString &title, QFormLayout *content)
{
    auto *box = new QGroupBox(title);
    box->setLayout(content);
    return box;
}

QFormLayout *TaskFormView::formLayout()
{
    auto *form = new QFormLayout;
    form->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
    form->setLabelAlignment(Qt::AlignRight | Qt::AlignVCenter);
    form->setRowWrapPolicy(QFormLayout::DontWrapRows);
    form->setHorizontalSpacing(12);
    form->setVerticalSpacing(8);
    return form;
}

namespace {

QPushButton *smallButton(const QString &text, const QString &symbol)
{
    auto *button = new QPushButton(Icons::symbol(symbol), text);
    ViewStyle::makeSmall(button, 0.9);
    button->setAutoDefault(false);
    return button;
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
    ViewStyle::alignLabelColumns(forms);
    syncControls();
}

TaskFormView::~TaskFormView() = default;

// A control's change reaches the fields only when the user made it, never while syncControls
// sets the controls from the fields.
void TaskFormView::onPick(QComboBox *box, std::function<void(int)> apply)
{
    connect(box, &QComboBox::currentIndexChanged, this, [this, apply = std::move(apply)](int index) {
        if (!m_syncing && index >= 0) {
            apply(index);
            changed();
        }
    });
}

void TaskFormView::onEdit(QLineEdit *edit, std::function<void(const QString &)> apply)
{
    connect(edit, &QLineEdit::textChanged, this, [this, apply = std::move(apply)](const QString &text) {
        if (!m_syncing) {
            apply(text);
            changed();
        }
    });
}

void TaskFormView::onEdit(QPlainTextEdit *edit, std::function<void(const QString &)> apply)
{
    connect(edit, &QPlainTextEdit::textChanged, this, [this, edit, apply = std::move(apply)] {
        if (!m_syncing) {
            apply(edit->toPlainText());
            changed();
        }
    });
}

void TaskFormView::onToggle(QCheckBox *box, std::function<void(bool)> apply)
{
    connect(box, &QCheckBox::toggled, this, [this, apply = std::move(apply)](bool on) {
        if (!m_syncing) {
            apply(on);
            changed();
        }
    });
}

QWidget *TaskFormView::buildBasicSection()
{
    auto *form = formLayout();

    m_name = new QLineEdit;
    m_name->setPlaceholderText(QStringLiteral("My daily task"));
    m_name->setObjectName(QStringLiteral("form-task-name"));
    m_name->setAccessibleName(QStringLiteral("form-task-name"));
    onEdit(m_name, [this](const QString &text) { m_fields.name = text; });
    form->addRow(QStringLiteral("Task Name"), m_name);

    m_command = new QPlainTextEdit;
    m_command->setPlaceholderText(QStringLiteral("echo \"hello\" && npm run build"));
    m_command->setObjectName(QStringLiteral("form-task-command"));
    m_command->setAccessibleName(QStringLiteral("form-task-command"));
    m_command->setTabChangesFocus(true);
    m_command->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    const int lineHeight = m_command->fontMetrics().lineSpacing();
    m_command->setFixedHeight(lineHeight * 4 + 14);
    onEdit(m_command, [this](const QString &text) { m_fields.command = text; });

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
    onEdit(m_workingDirectory, [this](const QString &text) { m_fields.workingDirectory = text; });
    auto *chooseDirectory = new QPushButton(QStringLiteral("Choose..."));
    chooseDirectory->setObjectName(QStringLiteral("form-choose-directory"));
    chooseDirectory->setAutoDefault(false);
    connect(chooseDirectory, &QPushButton::clicked, this, &TaskFormView::chooseWorkingDirectory);
    form->addRow(QStringLiteral("Working Directory"), pathRow(m_workingDirectory, chooseDirectory));

    m_envFile = new QLineEdit;
    m_envFile->setPlaceholderText(QStringLiteral("Optional"));
    m_envFile->setObjectName(QStringLiteral("form-env-file"));
    onEdit(m_envFile, [this](const QString &text) { m_fields.envFilePath = text; });
    auto *chooseEnv = new QPushButton(QStringLiteral("Choose..."));
    chooseEnv->setObjectName(QStringLiteral("form-choose-env-file"));
    chooseEnv->setAutoDefault(false);
    connect(chooseEnv, &QPushButton::clicked, this, &TaskFormView::chooseEnvFile);
    form->addRow(QStringLiteral(".env File"), pathRow(m_envFile, chooseEnv));

    m_loginShell = new QCheckBox(QStringLiteral("Use login shell"));
    m_loginShell->setObjectName(QStringLiteral("form-login-shell"));
    onToggle(m_loginShell, [this](bool on) { m_fields.useLoginShell = on; });
    m_loginShellCaption = caption(u"form-login-shell-caption"_s, {});
    form->addRow(QString(), withCaption(m_loginShell, m_loginShellCaption));

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
    setup->setOnComplete([this](const QString &snippet, const QString &suggestedName) {
        applyGeneratedCommand(snippet, suggestedName);
    });
    setup->open();
}

void TaskFormView::chooseWorkingDirectory()
{
    const QString folder =
        QFileDialog::getExistingDirectory(this, QStringLiteral("Working Directory"), m_fields.workingDirectory);
    if (!folder.isEmpty()) {
        m_fields.workingDirectory = folder;
        changed();
    }
}

void TaskFormView::chooseEnvFile()
{
    // A .env file's name starts with a dot: the panel lists such names too.
    const QString file = FileDialog::getOpenFileName(
        this, QStringLiteral(".env File"), {},
        m_fields.envFilePath.isEmpty() ? QString() : QFileInfo(m_fields.envFilePath).path(), true);
    if (!file.isEmpty()) {
        m_fields.envFilePath = file;
        changed();
    }
}
