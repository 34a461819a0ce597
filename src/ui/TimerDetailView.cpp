#include "ui/TimerDetailView.h"

#include "ui/JobDetailParts.h"
#include "ui/PathRow.h"
#include "ui/ViewStyle.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

using JobDetailParts::badge;
using JobDetailParts::section;

namespace {

QString localTime(const std::optional<QDateTime> &time, const QString &none)
{
    return time ? time->toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")) : none;
}

} // namespace

TimerDetailView::TimerDetailView(const TimerUnit &timer, QWidget *parent) : QScrollArea(parent), m_timer(timer)
{
    QVBoxLayout *layout = JobDetailParts::scrollPage(this, QStringLiteral("timer-detail"));
    QWidget *page = layout->parentWidget();

    auto *header = new QVBoxLayout;
    header->setSpacing(8);
    QLabel *title =
        ViewStyle::textLabel(timer.name, QStringLiteral("job-detail-title"), ViewStyle::Selectable::yes, page);
    title->setFont(ViewStyle::titleFont());
    header->addWidget(title);
    if (!timer.description.isEmpty()) {
        QLabel *description = ViewStyle::textLabel(timer.description, QStringLiteral("timer-detail-description"),
                                                   ViewStyle::Selectable::yes, page);
        ViewStyle::setTextColor(description, ViewStyle::secondaryText());
        header->addWidget(description);
    }
    header->addWidget(badges(page));
    layout->addLayout(header);

    QLabel *command = ViewStyle::codeLabel(timer.commandLine(), page);
    command->setObjectName(QStringLiteral("job-detail-command"));
    layout->addWidget(section(QStringLiteral("terminal"), QStringLiteral("Command"), command, page));
    layout->addWidget(
        section(QStringLiteral("calendar.badge.clock"), QStringLiteral("Schedule"), schedule(page), page));
    layout->addWidget(section(QStringLiteral("clock.badge.checkmark"), QStringLiteral("Runs"), elapses(page), page));
    if (!timer.problems.isEmpty()) {
        QLabel *problems = ViewStyle::textLabel(timer.problems.join(u'\n'), QStringLiteral("timer-detail-problems"),
                                                ViewStyle::Selectable::yes, page);
        ViewStyle::setTextColor(problems, ViewStyle::orange());
        layout->addWidget(
            section(QStringLiteral("exclamationmark.triangle"), QStringLiteral("Could Not Be Read"), problems, page));
    }
    layout->addWidget(section(QString(), QStringLiteral("Paths"), paths(page), page));

    QString text = timer.timerText;
    if (!timer.serviceText.isEmpty()) {
        text += u'\n' + timer.serviceText;
    }
    QLabel *units = ViewStyle::fileTextLabel(text.trimmed(), page);
    units->setObjectName(QStringLiteral("timer-detail-units"));
    layout->addWidget(section(QStringLiteral("doc.text"), QStringLiteral("Unit Files"), units, page));

    layout->addStretch(1);
}

QWidget *TimerDetailView::badges(QWidget *page) const
{
    auto *row = new QWidget(page);
    auto *layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(14);
    layout->addWidget(badge(QStringLiteral("timer"), TimerUnit::sourceTitle(m_timer.source), QColor(),
                            QStringLiteral("job-badge-source"), row));
    if (m_timer.masked) {
        layout->addWidget(badge(QStringLiteral("xmark.circle"), QStringLiteral("Masked"), ViewStyle::red(),
                                QStringLiteral("job-badge-state"), row));
    } else if (m_timer.enabled) {
        layout->addWidget(badge(QStringLiteral("checkmark.circle"), QStringLiteral("Enabled"), ViewStyle::green(),
                                QStringLiteral("job-badge-state"), row));
    } else {
        layout->addWidget(badge(QStringLiteral("xmark.circle"), QStringLiteral("Not Enabled"),
                                ViewStyle::secondaryText(), QStringLiteral("job-badge-state"), row));
    }
    if (m_timer.isTemplate) {
        layout->addWidget(badge(QStringLiteral("doc.on.doc"), QStringLiteral("Template"), QColor(),
                                QStringLiteral("job-badge-template"), row));
    }
    layout->addStretch(1);
    return row;
}

QWidget *TimerDetailView::schedule(QWidget *page) const
{
    QStringList lines;
    for (const QString &calendar : m_timer.calendars) {
        lines << QStringLiteral("OnCalendar=") + calendar;
    }
    lines << m_timer.otherTriggers;
    if (lines.isEmpty()) {
        lines << QStringLiteral("Manual: no trigger of its own");
    }
    return ViewStyle::textLabel(lines.join(u'\n'), QStringLiteral("job-detail-schedule"), ViewStyle::Selectable::yes,
                                page);
}

QWidget *TimerDetailView::elapses(QWidget *page) const
{
    QString text;
    if (m_timer.nextElapse || m_timer.lastElapse) {
        text = QStringLiteral("Next: ") + localTime(m_timer.nextElapse, QStringLiteral("none")) +
               QStringLiteral("\nLast: ") + localTime(m_timer.lastElapse, QStringLiteral("never"));
    } else {
        text = QStringLiteral("No systemd manager reported this timer; shown from its files alone.");
    }
    return ViewStyle::textLabel(text, QStringLiteral("timer-detail-elapses"), ViewStyle::Selectable::yes, page);
}

QWidget *TimerDetailView::paths(QWidget *page) const
{
    auto *paths = new QWidget(page);
    auto *layout = new QVBoxLayout(paths);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(4);
    auto *timerRow = new PathRow(QStringLiteral("Timer"), m_timer.path, paths);
    timerRow->setObjectName(QStringLiteral("job-path-timer"));
    layout->addWidget(timerRow);
    for (const QString &dropIn : m_timer.dropIns) {
        layout->addWidget(new PathRow(QStringLiteral("Drop-in"), dropIn, paths));
    }
    auto *serviceRow = new PathRow(QStringLiteral("Service"),
                                   m_timer.servicePath.isEmpty() ? m_timer.serviceName + QStringLiteral(" (not found)")
                                                                 : m_timer.servicePath,
                                   paths);
    serviceRow->setObjectName(QStringLiteral("job-path-service"));
    layout->addWidget(serviceRow);
    return paths;
}
