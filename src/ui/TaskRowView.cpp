#include "ui/TaskRowView.h"

#include "ui/Icons.h"
#include "ui/ViewStyle.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QPainter>
#include <QVBoxLayout>

namespace {

// The filled 8 by 8 circle: green while the task is enabled, grey while disabled.
class StatusDot : public QWidget
{
public:
    StatusDot(const QColor &color, QWidget *parent) : QWidget(parent), m_color(color) { setFixedSize(8, 8); }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(m_color);
        painter.drawEllipse(QRectF(0, 0, 8, 8));
    }

private:
    QColor m_color;
};

} // namespace

TaskRowView::TaskRowView(const ScheduledTask &task, QWidget *parent) : QWidget(parent), m_task(task)
{
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(6, 4, 6, 4);
    layout->setSpacing(8);

    m_tickLabel = new QLabel(this);
    m_tickLabel->setObjectName(QStringLiteral("task-row-tick"));
    m_tickLabel->setFixedSize(16, 16);
    m_tickLabel->hide();
    layout->addWidget(m_tickLabel);

    auto *dot = new StatusDot(task.isEnabled ? ViewStyle::green() : ViewStyle::grey(), this);
    dot->setObjectName(QStringLiteral("task-row-dot"));
    layout->addWidget(dot, 0, Qt::AlignVCenter);
    m_failedMark = ViewStyle::iconLabel(QStringLiteral("xmark.octagon.fill"), ViewStyle::red(), 12, this);
    m_failedMark->setObjectName(QStringLiteral("task-row-failed"));
    m_failedMark->hide();
    layout->addWidget(m_failedMark, 0, Qt::AlignVCenter);
    m_missedMark = ViewStyle::iconLabel(QStringLiteral("clock.badge.exclamationmark"), ViewStyle::orange(), 12, this);
    m_missedMark->setObjectName(QStringLiteral("task-row-missed"));
    m_missedMark->hide();
    layout->addWidget(m_missedMark, 0, Qt::AlignVCenter);

    auto *texts = new QVBoxLayout;
    texts->setContentsMargins(0, 0, 0, 0);
    texts->setSpacing(1);
    auto *name = new QLabel(task.name, this);
    name->setObjectName(QStringLiteral("task-row-name"));
    name->setTextFormat(Qt::PlainText);
    name->setFont(ViewStyle::mediumFont());
    texts->addWidget(name);
    QLabel *schedule = ViewStyle::captionLabel(task.schedule.description(), this);
    schedule->setObjectName(QStringLiteral("task-row-schedule"));
    texts->addWidget(schedule);
    layout->addLayout(texts, 1);

    setToolTip(task.name);
}

void TaskRowView::setTick(std::optional<bool> ticked)
{
    m_tick = ticked;
    m_tickLabel->setVisible(ticked.has_value());
    if (ticked) {
        const QIcon icon = *ticked ? Icons::symbol(QStringLiteral("checkmark.circle.fill"), ViewStyle::accent())
                                   : Icons::symbol(QStringLiteral("circle"), ViewStyle::secondaryText());
        m_tickLabel->setPixmap(icon.pixmap(QSize(16, 16)));
        m_tickLabel->setAccessibleName(*ticked ? QStringLiteral("checkmark.circle.fill") : QStringLiteral("circle"));
    }
}

void TaskRowView::setGlance(const std::optional<TaskRunRecord> &lastRun, qsizetype missedCount)
{
    const bool failed = lastRun && lastRun->exitCode != 0;
    m_failedMark->setVisible(failed);
    if (failed) {
        const QDateTime started = runDateTime(lastRun->startedAt).toLocalTime();
        const QLocale locale;
        m_failedMark->setToolTip(u"Last run failed: " % locale.toString(started.date(), QLocale::ShortFormat) % u' ' %
                                 locale.toString(started.time(), QLocale::ShortFormat) % u", exit status " %
                                 QString::number(lastRun->exitCode));
    }
    m_missedMark->setVisible(missedCount > 0);
    if (missedCount > 0) {
        m_missedMark->setToolTip(QString::number(missedCount) %
                                 (missedCount == 1 ? QStringLiteral(" run") : QStringLiteral(" runs")) %
                                 u" missed in the last 7 days");
    }
}
