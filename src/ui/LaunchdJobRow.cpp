#include "ui/LaunchdJobRow.h"

#include "ui/ElidedLabel.h"
#include "ui/ViewStyle.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

LaunchdJobRow::LaunchdJobRow(const LaunchdJob &job, QWidget *parent) : QWidget(parent), m_job(job)
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(6, 4, 6, 4);
    layout->setSpacing(2);

    // A long label ends in an ellipsis; the tool tip has all of it.
    auto *label = new ElidedLabel(job.label, this);
    label->setObjectName(QStringLiteral("job-row-label"));
    layout->addWidget(label);

    auto *details = new QHBoxLayout;
    details->setContentsMargins(0, 0, 0, 0);
    details->setSpacing(6);
    auto *badge = new QLabel(LaunchdJob::sourceTitle(job.source), this);
    badge->setObjectName(QStringLiteral("job-row-source"));
    badge->setTextFormat(Qt::PlainText);
    badge->setFont(ViewStyle::caption2Font());
    badge->setStyleSheet(u"QLabel { background: " % ViewStyle::quaternaryFill().name(QColor::HexArgb) %
                         u"; border-radius: 4px; padding: 2px 6px; }");
    details->addWidget(badge);
    QLabel *summary = ViewStyle::captionLabel(job.scheduleSummary(), this);
    summary->setObjectName(QStringLiteral("job-row-schedule"));
    details->addWidget(summary);
    details->addStretch(1);
    layout->addLayout(details);

    setToolTip(job.label);
}
