#include "ui/LaunchdJobDetailView.h"

#include "launchd/LaunchdBrowser.h"
#include "ui/JobDetailParts.h"
#include "ui/PathRow.h"
#include "ui/ViewStyle.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

using JobDetailParts::badge;
using JobDetailParts::section;

LaunchdJobDetailView::LaunchdJobDetailView(const LaunchdJob &job, QWidget *parent) : QScrollArea(parent), m_job(job)
{
    QVBoxLayout *layout = JobDetailParts::scrollPage(this, QStringLiteral("job-detail"));
    QWidget *page = layout->parentWidget();

    auto *title = new QLabel(job.label, page);
    title->setObjectName(QStringLiteral("job-detail-title"));
    title->setTextFormat(Qt::PlainText);
    title->setFont(ViewStyle::titleFont());
    title->setWordWrap(true);
    title->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto *header = new QVBoxLayout;
    header->setSpacing(8);
    header->addWidget(title);
    auto *badges = new QHBoxLayout;
    badges->setSpacing(14);
    badges->addWidget(badge(QStringLiteral("folder"), LaunchdJob::sourceTitle(job.source), QColor(),
                            QStringLiteral("job-badge-source"), page));
    if (job.disabled) {
        badges->addWidget(badge(QStringLiteral("xmark.circle"), QStringLiteral("Disabled"), ViewStyle::red(),
                                QStringLiteral("job-badge-state"), page));
    } else {
        badges->addWidget(badge(QStringLiteral("checkmark.circle"), QStringLiteral("Enabled"), ViewStyle::green(),
                                QStringLiteral("job-badge-state"), page));
    }
    if (job.runAtLoad) {
        badges->addWidget(badge(QStringLiteral("play.circle"), QStringLiteral("Run at Load"), QColor(),
                                QStringLiteral("job-badge-run-at-load"), page));
    }
    if (job.keepAlive) {
        badges->addWidget(badge(QStringLiteral("arrow.clockwise.circle"), QStringLiteral("Keep Alive"), QColor(),
                                QStringLiteral("job-badge-keep-alive"), page));
    }
    badges->addStretch(1);
    header->addLayout(badges);
    layout->addLayout(header);

    QLabel *command = ViewStyle::codeLabel(job.commandLine(), page);
    command->setObjectName(QStringLiteral("job-detail-command"));
    layout->addWidget(section(QStringLiteral("terminal"), QStringLiteral("Command"), command, page));

    auto *schedule = new QLabel(job.scheduleSummary(), page);
    schedule->setObjectName(QStringLiteral("job-detail-schedule"));
    schedule->setTextFormat(Qt::PlainText);
    layout->addWidget(section(QStringLiteral("calendar.badge.clock"), QStringLiteral("Schedule"), schedule, page));

    auto *paths = new QWidget(page);
    auto *pathsLayout = new QVBoxLayout(paths);
    pathsLayout->setContentsMargins(0, 0, 0, 0);
    pathsLayout->setSpacing(4);
    // A missing path keeps its row, empty, so the three always line up the same way.
    auto *stdoutRow = new PathRow(QStringLiteral("Stdout"), job.standardOutPath.value_or(QString()), paths);
    stdoutRow->setObjectName(QStringLiteral("job-path-stdout"));
    auto *stderrRow = new PathRow(QStringLiteral("Stderr"), job.standardErrorPath.value_or(QString()), paths);
    stderrRow->setObjectName(QStringLiteral("job-path-stderr"));
    auto *plistRow = new PathRow(QStringLiteral("Plist"), job.url, paths);
    plistRow->setObjectName(QStringLiteral("job-path-plist"));
    pathsLayout->addWidget(stdoutRow);
    pathsLayout->addWidget(stderrRow);
    pathsLayout->addWidget(plistRow);
    layout->addWidget(section(QString(), QStringLiteral("Paths"), paths, page));

    const std::optional<QString> xml = LaunchdBrowser::rawXml(job.raw);
    QLabel *raw = ViewStyle::fileTextLabel(xml.value_or(QStringLiteral("(unable to display)")), page);
    raw->setObjectName(QStringLiteral("job-detail-raw"));
    layout->addWidget(section(QStringLiteral("doc.text"), QStringLiteral("Raw Plist"), raw, page));

    layout->addStretch(1);
}
