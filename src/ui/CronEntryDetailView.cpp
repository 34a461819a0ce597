#include "ui/CronEntryDetailView.h"

#include "ui/JobDetailParts.h"
#include "ui/PathRow.h"
#include "ui/ViewStyle.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

using JobDetailParts::badge;
using JobDetailParts::section;

CronEntryDetailView::CronEntryDetailView(const CronEntry &entry, QWidget *parent) : QScrollArea(parent), m_entry(entry)
{
    QVBoxLayout *layout = JobDetailParts::scrollPage(this, QStringLiteral("cron-detail"));
    QWidget *page = layout->parentWidget();

    auto *title = new QLabel(entry.label(), page);
    title->setObjectName(QStringLiteral("job-detail-title"));
    title->setTextFormat(Qt::PlainText);
    title->setFont(ViewStyle::titleFont());
    layout->addWidget(title);

    auto *badges = new QHBoxLayout;
    badges->setSpacing(14);
    badges->addWidget(badge(QStringLiteral("tablecells.badge.clock"), CronEntry::sourceTitle(), QColor(),
                            QStringLiteral("job-badge-source"), page));
    if (entry.atReboot) {
        badges->addWidget(badge(QStringLiteral("play.circle"), QStringLiteral("Run at Load"), QColor(),
                                QStringLiteral("job-badge-run-at-load"), page));
    }
    if (!entry.problem.isEmpty()) {
        badges->addWidget(badge(QStringLiteral("exclamationmark.triangle"), entry.problem, ViewStyle::orange(),
                                QStringLiteral("job-badge-problem"), page));
    }
    badges->addStretch(1);
    layout->addLayout(badges);

    QLabel *command = ViewStyle::codeLabel(entry.command, page);
    command->setObjectName(QStringLiteral("job-detail-command"));
    layout->addWidget(section(QStringLiteral("terminal"), QStringLiteral("Command"), command, page));

    QString when = entry.scheduleSummary();
    if (!entry.user.isEmpty()) {
        when += QStringLiteral(", as ") + entry.user;
    }
    auto *schedule = new QLabel(when, page);
    schedule->setObjectName(QStringLiteral("job-detail-schedule"));
    schedule->setTextFormat(Qt::PlainText);
    layout->addWidget(section(QStringLiteral("calendar.badge.clock"), QStringLiteral("Schedule"), schedule, page));

    auto *file = new PathRow(QStringLiteral("File"), entry.file, page);
    file->setObjectName(QStringLiteral("job-path-file"));
    layout->addWidget(section(QString(), QStringLiteral("Paths"), file, page));

    QLabel *line = ViewStyle::codeLabel(entry.text, page);
    line->setObjectName(QStringLiteral("cron-detail-line"));
    layout->addWidget(
        section(QStringLiteral("doc.text"), QStringLiteral("Line %1 as Written").arg(entry.line), line, page));

    layout->addStretch(1);
}
