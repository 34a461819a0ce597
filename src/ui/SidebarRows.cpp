#include "ui/SidebarRows.h"

#include "ui/Icons.h"
#include "ui/ViewStyle.h"

#include <QFontMetrics>
#include <QLocale>
#include <QPainter>
#include <QTextLayout>

namespace {

constexpr int kMarginX = 6;
constexpr int kMarginY = 4;
constexpr int kSpacing = 8;
constexpr int kTickSize = 16;
constexpr int kDotSize = 8;
constexpr int kMarkSize = 12;
constexpr int kNameGap = 1;    // between a task's name and its schedule
constexpr int kJobLineGap = 2; // between a job's label and its details
constexpr int kBadgeGap = 6;   // between the badge and the schedule
constexpr int kBadgePadX = 6;
constexpr int kBadgePadY = 2;

int lineHeight(const QFont &font)
{
    return QFontMetrics(font).height();
}

int badgeHeight()
{
    return lineHeight(ViewStyle::caption2Font()) + 2 * kBadgePadY;
}

int detailsHeight()
{
    return std::max(badgeHeight(), lineHeight(ViewStyle::captionFont()));
}

// A square of `side` at `x`, centred on the row's middle.
QRect centred(int x, int side, const QRect &row)
{
    return QRect(x, row.top() + (row.height() - side) / 2, side, side);
}

void drawLine(QPainter &painter, const QRect &rect, const QString &text, const QFont &font, const QColor &color)
{
    painter.setFont(font);
    painter.setPen(color);
    // Laid out once, and drawn from that layout when it fits (nearly always): measuring for the
    // ellipsis and then drawing would shape the text twice, the most costly part of a row.
    QString line = text;
    line.replace(u'\n', u' ');
    QTextLayout layout(line, font, painter.device());
    QTextOption option;
    option.setWrapMode(QTextOption::NoWrap);
    layout.setTextOption(option);
    layout.beginLayout();
    QTextLine laid = layout.createLine();
    layout.endLayout();
    if (laid.isValid() && laid.naturalTextWidth() <= rect.width()) {
        layout.draw(&painter, QPointF(rect.left(), rect.top() + (rect.height() - laid.height()) / 2));
        return;
    }
    painter.drawText(rect, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                     SidebarRows::elided(line, font, rect.width()));
}

} // namespace

SidebarRows::TaskLook SidebarRows::taskLook(const ScheduledTask &task)
{
    TaskLook look;
    look.name = task.name;
    look.schedule = task.schedule.description();
    look.enabled = task.isEnabled;
    look.toolTip = task.name;
    return look;
}

void SidebarRows::setGlance(TaskLook &look, const std::optional<TaskRunRecord> &lastRun, qsizetype missedCount)
{
    look.failedTip.clear();
    look.missedTip.clear();
    if (lastRun && lastRun->exitCode != 0) {
        const QDateTime started = runDateTime(lastRun->startedAt).toLocalTime();
        const QLocale locale;
        look.failedTip = u"Last run failed: " % locale.toString(started.date(), QLocale::ShortFormat) % u' ' %
                         locale.toString(started.time(), QLocale::ShortFormat) % u", exit status " %
                         QString::number(lastRun->exitCode);
    }
    if (missedCount > 0) {
        look.missedTip = QString::number(missedCount) %
                         (missedCount == 1 ? QStringLiteral(" run") : QStringLiteral(" runs")) %
                         u" missed in the last 7 days";
    }
}

SidebarRows::JobLook SidebarRows::jobLook(const LaunchdJob &job)
{
    return {job.label, LaunchdJob::sourceTitle(job.source), job.scheduleSummary(), job.label};
}

SidebarRows::JobLook SidebarRows::jobLook(const TimerUnit &timer)
{
    const QString summary =
        timer.isTemplate ? QStringLiteral("Template: ") + timer.scheduleSummary() : timer.scheduleSummary();
    return {timer.name, TimerUnit::sourceTitle(timer.source), summary,
            timer.description.isEmpty() ? timer.name : timer.description};
}

SidebarRows::JobLook SidebarRows::jobLook(const CronEntry &entry)
{
    // One line, however long the command: the detail shows it whole.
    QString summary = entry.scheduleSummary() + QStringLiteral("  ") + entry.command;
    summary.replace(u'\n', u' ');
    return {entry.label(), CronEntry::sourceTitle(), summary, entry.text};
}

SidebarRows::TaskGeometry SidebarRows::taskGeometry(const TaskLook &look, const QRect &row)
{
    TaskGeometry geometry;
    int x = row.left() + kMarginX;
    if (look.tick) {
        geometry.tick = centred(x, kTickSize, row);
        x += kTickSize + kSpacing;
    }
    geometry.dot = centred(x, kDotSize, row);
    x += kDotSize + kSpacing;
    if (!look.failedTip.isEmpty()) {
        geometry.failed = centred(x, kMarkSize, row);
        x += kMarkSize + kSpacing;
    }
    if (!look.missedTip.isEmpty()) {
        geometry.missed = centred(x, kMarkSize, row);
        x += kMarkSize + kSpacing;
    }
    const int width = std::max(0, row.right() - kMarginX - x + 1);
    const int nameHeight = lineHeight(ViewStyle::mediumFont());
    geometry.name = QRect(x, row.top() + kMarginY, width, nameHeight);
    geometry.schedule = QRect(x, geometry.name.bottom() + 1 + kNameGap, width, lineHeight(ViewStyle::captionFont()));
    return geometry;
}

SidebarRows::JobGeometry SidebarRows::jobGeometry(const JobLook &look, const QRect &row)
{
    JobGeometry geometry;
    const int left = row.left() + kMarginX;
    const int width = std::max(0, row.width() - 2 * kMarginX);
    geometry.title = QRect(left, row.top() + kMarginY, width, lineHeight(ViewStyle::bodyFont()));
    const int top = geometry.title.bottom() + 1 + kJobLineGap;
    const int height = detailsHeight();
    const int badgeWidth = QFontMetrics(ViewStyle::caption2Font()).horizontalAdvance(look.source) + 2 * kBadgePadX;
    geometry.badge = QRect(left, top + (height - badgeHeight()) / 2, std::min(badgeWidth, width), badgeHeight());
    const int summaryLeft = geometry.badge.right() + 1 + kBadgeGap;
    geometry.summary = QRect(summaryLeft, top, std::max(0, left + width - summaryLeft), height);
    return geometry;
}

int SidebarRows::taskRowHeight()
{
    return kMarginY + lineHeight(ViewStyle::mediumFont()) + kNameGap + lineHeight(ViewStyle::captionFont()) + kMarginY;
}

int SidebarRows::jobRowHeight()
{
    return kMarginY + lineHeight(ViewStyle::bodyFont()) + kJobLineGap + detailsHeight() + kMarginY;
}

QColor SidebarRows::dotColor(bool enabled)
{
    return enabled ? ViewStyle::green() : ViewStyle::grey();
}

QString SidebarRows::elided(const QString &text, const QFont &font, int width)
{
    return QFontMetrics(font).elidedText(text, Qt::ElideRight, width, Qt::TextSingleLine);
}

void SidebarRows::paintTask(QPainter &painter, const TaskLook &look, const QRect &row, const Colors &colors)
{
    const TaskGeometry geometry = taskGeometry(look, row);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    if (look.tick) {
        const QIcon tick = *look.tick ? Icons::symbol(QStringLiteral("checkmark.circle.fill"), ViewStyle::accent())
                                      : Icons::symbol(QStringLiteral("circle"), ViewStyle::secondaryText());
        tick.paint(&painter, geometry.tick);
    }
    painter.setPen(Qt::NoPen);
    painter.setBrush(dotColor(look.enabled));
    painter.drawEllipse(QRectF(geometry.dot));
    if (!geometry.failed.isEmpty()) {
        Icons::symbol(QStringLiteral("xmark.octagon.fill"), ViewStyle::red()).paint(&painter, geometry.failed);
    }
    if (!geometry.missed.isEmpty()) {
        Icons::symbol(QStringLiteral("clock.badge.exclamationmark"), ViewStyle::orange())
            .paint(&painter, geometry.missed);
    }
    drawLine(painter, geometry.name, look.name, ViewStyle::mediumFont(), colors.text);
    drawLine(painter, geometry.schedule, look.schedule, ViewStyle::captionFont(), colors.secondary);
    painter.restore();
}

void SidebarRows::paintJob(QPainter &painter, const JobLook &look, const QRect &row, const Colors &colors)
{
    const JobGeometry geometry = jobGeometry(look, row);
    painter.save();
    drawLine(painter, geometry.title, look.title, ViewStyle::bodyFont(), colors.text);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(ViewStyle::quaternaryFill());
    painter.drawRoundedRect(QRectF(geometry.badge), 4, 4);
    painter.setFont(ViewStyle::caption2Font());
    painter.setPen(colors.text);
    painter.drawText(geometry.badge.adjusted(kBadgePadX, 0, -kBadgePadX, 0),
                     Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                     elided(look.source, ViewStyle::caption2Font(), geometry.badge.width() - 2 * kBadgePadX));
    drawLine(painter, geometry.summary, look.summary, ViewStyle::captionFont(), colors.secondary);
    painter.restore();
}
