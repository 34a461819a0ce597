#include "ui/SystemdJobRow.h"

#include "ui/ViewStyle.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

SystemdJobRow::SystemdJobRow(const TimerUnit &timer, QWidget *parent) : QWidget(parent)
{
    const QString summary =
        timer.isTemplate ? QStringLiteral("Template: ") + timer.scheduleSummary() : timer.scheduleSummary();
    build(timer.name, TimerUnit::sourceTitle(timer.source), summary);
    setToolTip(timer.description.isEmpty() ? timer.name : timer.description);
}

SystemdJobRow::SystemdJobRow(const CronEntry &entry, QWidget *parent) : QWidget(parent)
{
    build(entry.label(), CronEntry::sourceTitle(), entry.scheduleSummary() + QStringLiteral("  ") + entry.command);
    setToolTip(entry.text);
}

void SystemdJobRow::build(const QString &title, const QString &source, const QString &summary)
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(6, 4, 6, 4);
    layout->setSpacing(2);

    auto *label = new QLabel(title, this);
    label->setObjectName(QStringLiteral("job-row-label"));
    label->setTextFormat(Qt::PlainText);
    layout->addWidget(label);

    auto *details = new QHBoxLayout;
    details->setContentsMargins(0, 0, 0, 0);
    details->setSpacing(6);
    auto *badge = new QLabel(source, this);
    badge->setObjectName(QStringLiteral("job-row-source"));
    badge->setTextFormat(Qt::PlainText);
    badge->setFont(ViewStyle::caption2Font());
    badge->setStyleSheet(u"QLabel { background: " % ViewStyle::quaternaryFill().name(QColor::HexArgb) %
                         u"; border-radius: 4px; padding: 2px 6px; }");
    details->addWidget(badge);
    // One line, however long the command: the detail shows it whole.
    QLabel *schedule = ViewStyle::captionLabel(QString(summary).replace(u'\n', u' '), this);
    schedule->setObjectName(QStringLiteral("job-row-schedule"));
    schedule->setMinimumWidth(1);
    details->addWidget(schedule, 1);
    layout->addLayout(details);
}
