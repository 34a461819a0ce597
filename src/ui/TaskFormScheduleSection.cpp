#include "ui/TaskFormView.h"

#include "model/Weekdays.h"
#include "ui/Icons.h"
#include "ui/TimeInputView.h"
#include "ui/ViewStyle.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>

// The "Schedule" section of the task form: the kind, the controls of each kind, the times and the
// wake switch, and which of them show.

using namespace Qt::StringLiterals;

namespace {

constexpr QSize kWeekdayButtonSize{36, 28};
constexpr int kCaptionGap = 3;

std::optional<QString> shellVariable()
{
    if (!qEnvironmentVariableIsSet("SHELL")) {
        return std::nullopt;
    }
    return qEnvironmentVariable("SHELL");
}

} // namespace

QLabel *TaskFormView::caption(const QString &name, const QString &text)
{
    QLabel *label = ViewStyle::formCaption(text);
    label->setObjectName(name);
    return label;
}

QWidget *TaskFormView::withCaption(QWidget *control, QLabel *caption)
{
    // Every caption sits as close under the control it explains, whatever the row above it.
    auto *column = new QWidget;
    auto *layout = new QVBoxLayout(column);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(kCaptionGap);
    // The control keeps its own width; the caption may use the whole row.
    layout->addWidget(control, 0, Qt::AlignLeft);
    layout->addWidget(caption);
    return column;
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
    onPick(m_type, [this](int index) { m_fields.scheduleType = TaskFormText::allScheduleTypes().at(index); });
    m_runAtLoadCaption = caption(u"form-run-at-load-caption"_s, QStringLiteral("Runs once when you log in or reboot."));
    form->addRow(QStringLiteral("Type"), withCaption(m_type, m_runAtLoadCaption));

    m_interval = new QComboBox;
    m_interval->setObjectName(QStringLiteral("form-interval"));
    for (int minutes : TaskFormText::intervalChoices()) {
        m_interval->addItem(TaskFormText::intervalLabel(minutes), minutes);
    }
    onPick(m_interval, [this](int index) { m_fields.intervalMinutes = m_interval->itemData(index).toInt(); });
    m_intervalCaption = caption(u"form-interval-caption"_s,
                                QStringLiteral("Starts when the task is enabled, then repeats at this interval."));
    form->addRow(QStringLiteral("Interval"), withCaption(m_interval, m_intervalCaption));

    m_weekdayRow = buildWeekdayButtons();
    form->addRow(QString(), m_weekdayRow);

    addMonthlyRows(form);

    m_timesEditor = buildTimesEditor();
    auto *timesLabel = new QLabel(QStringLiteral("Times"));
    timesLabel->setAlignment(Qt::AlignRight | Qt::AlignTop);
    timesLabel->setContentsMargins(0, 4, 0, 0);
    form->addRow(timesLabel, m_timesEditor);

    m_wake = new QCheckBox(TaskFormText::wakeCheckboxText());
    m_wake->setObjectName(QStringLiteral("form-wake"));
    onToggle(m_wake, [this](bool on) { m_fields.wakeBeforeRun = on; });
    m_wakeExplanation = caption(u"form-wake-explanation"_s, {});
    form->addRow(QString(), withCaption(m_wake, m_wakeExplanation));

    for (QWidget *field : {m_interval->parentWidget(), m_weekdayRow, m_monthlyType->parentWidget(),
                           m_day->parentWidget(), m_nthRow, m_timesEditor}) {
        m_scheduleRows.append(std::pair<QWidget *, QWidget *>(field, form->labelForField(field)));
    }
    return section(QStringLiteral("Schedule"), form);
}

void TaskFormView::addMonthlyRows(QFormLayout *form)
{
    m_monthlyType = new QComboBox;
    m_monthlyType->setObjectName(QStringLiteral("form-monthly-type"));
    for (MonthlyType type : TaskFormText::allMonthlyTypes()) {
        m_monthlyType->addItem(TaskFormText::label(type), TaskFormText::rawValue(type));
    }
    onPick(m_monthlyType, [this](int index) { m_fields.monthlyType = TaskFormText::allMonthlyTypes().at(index); });
    m_lastDayCaption = caption(u"form-last-day-caption"_s,
                               QStringLiteral("Runs on the last day of every month (28th, 29th, 30th, or 31st)."));
    form->addRow(QStringLiteral("When"), withCaption(m_monthlyType, m_lastDayCaption));

    m_day = new QComboBox;
    m_day->setObjectName(QStringLiteral("form-day-of-month"));
    for (int day = 1; day <= 31; ++day) {
        m_day->addItem(QString::number(day), day);
    }
    m_day->setMaxVisibleItems(16);
    onPick(m_day, [this](int index) { m_fields.dayOfMonth = index + 1; });
    m_dayCaption = caption(u"form-day-caption"_s, {});
    form->addRow(QStringLiteral("Day"), withCaption(m_day, m_dayCaption));

    m_nthWeek = new QComboBox;
    m_nthWeek->setObjectName(QStringLiteral("form-nth-week"));
    m_nthWeek->setAccessibleName(QStringLiteral("Occurrence"));
    for (int nth = 1; nth <= 4; ++nth) {
        m_nthWeek->addItem(Weekdays::ordinal(nth), nth);
    }
    onPick(m_nthWeek, [this](int index) { m_fields.nthWeek = index + 1; });
    m_nthWeekday = new QComboBox;
    m_nthWeekday->setObjectName(QStringLiteral("form-nth-weekday"));
    m_nthWeekday->setAccessibleName(QStringLiteral("Weekday"));
    for (int weekday = 1; weekday <= 7; ++weekday) {
        m_nthWeekday->addItem(Weekdays::fullName(weekday), weekday);
    }
    onPick(m_nthWeekday, [this](int index) { m_fields.nthWeekday = index + 1; });
    m_nthRow = new QWidget;
    auto *nthLayout = new QHBoxLayout(m_nthRow);
    nthLayout->setContentsMargins(0, 0, 0, 0);
    nthLayout->addWidget(m_nthWeek);
    nthLayout->addWidget(m_nthWeekday);
    nthLayout->addStretch();
    form->addRow(QStringLiteral("On the"), m_nthRow);
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
        ViewStyle::makeSmall(button);
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

    // Rows by their field: a control and its caption share one.
    m_runAtLoadCaption->setVisible(type == ScheduleType::runAtLoad);
    showScheduleRows({type == ScheduleType::interval, type == ScheduleType::weekly, monthly,
                      monthly && monthlyType == MonthlyType::specificDay,
                      monthly && monthlyType == MonthlyType::nthWeekday, calendar});
    m_lastDayCaption->setVisible(monthly && monthlyType == MonthlyType::lastDay);
    m_dayCaption->setVisible(monthly && monthlyType == MonthlyType::specificDay && dayCaption.has_value());

    m_wakeExplanation->setText(
        TaskFormText::wakeExplanation(type, monthlyType, std::clamp(m_fields.nthWeek, 1, 4), m_fields.nthWeekday));
    m_wakeExplanation->setVisible(m_fields.wakeBeforeRun);

    m_loginShellCaption->setText(TaskFormText::loginShellCaption(m_fields.useLoginShell, shellVariable()));
}

void TaskFormView::showScheduleRows(const QList<bool> &shown)
{
    // Rows are taken out of the form and put back rather than hidden: Qt 6.4's form layout keeps a
    // hidden row's old place in its height-for-width table and writes the row's zero height there,
    // so a row shown in that place got no height and its caption was cut off.
    QFormLayout *form = m_scheduleForm;
    int index = 1; // under the Type row
    for (qsizetype i = 0; i < m_scheduleRows.size(); ++i) {
        const auto &[field, label] = m_scheduleRows.at(i);
        int row = -1;
        QFormLayout::ItemRole role{};
        form->getWidgetPosition(field, &row, &role);
        if (shown.at(i) && row < 0) {
            form->insertRow(index, label, field);
        } else if (!shown.at(i) && row >= 0) {
            const QFormLayout::TakeRowResult taken = form->takeRow(row);
            delete taken.labelItem;
            delete taken.fieldItem;
        }
        if (label) {
            label->setVisible(shown.at(i));
        }
        field->setVisible(shown.at(i));
        index += shown.at(i) ? 1 : 0;
    }
}
