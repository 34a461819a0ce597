#include "ui/TimelineItemView.h"

#include "ui/ViewStyle.h"

#include <QPainter>
#include <QPainterPath>
#include <QTime>

#include <algorithm>

using namespace TimelineRowGeometry;

QRectF TimelineRowPainting::timeArea(const QWidget *row)
{
    const double top = (row->height() - kTimeAreaHeight) / 2.0;
    return QRectF(kTimeAreaLeft, top, std::max(0, row->width() - kTimeAreaLeft), kTimeAreaHeight);
}

void TimelineRowPainting::paintName(QPainter &painter, const QWidget *row, const QString &name, const QFont &font,
                                    const QColor &color)
{
    painter.setFont(font);
    painter.setPen(color);
    const QRect nameRect(0, 0, kNameWidth, row->height());
    const QString shown = QFontMetrics(font).elidedText(name, Qt::ElideMiddle, kNameWidth);
    painter.drawText(nameRect, Qt::AlignRight | Qt::AlignVCenter, shown);
}

void TimelineRowPainting::paintTrack(QPainter &painter, const QRectF &area)
{
    QColor track = ViewStyle::primaryText();
    track.setAlphaF(0.04);
    painter.setPen(Qt::NoPen);
    painter.setBrush(track);
    painter.drawRoundedRect(area, 3, 3);
}

TimelineItemView::TimelineItemView(const Timeline::TaskRow &row, double totalMinutes, QWidget *parent)
    : QWidget(parent), m_row(row), m_totalMinutes(totalMinutes)
{
    setObjectName(QStringLiteral("timeline-task-row"));
    setToolTip(u"" % row.task.name % u"\n" % row.task.schedule.description());
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

QColor TimelineItemView::kindColor(TaskSchedule::Kind kind)
{
    switch (kind) {
    case TaskSchedule::Kind::monthly:
    case TaskSchedule::Kind::monthlyLastDay:
    case TaskSchedule::Kind::monthlyNthWeekday:
        return ViewStyle::purple();
    case TaskSchedule::Kind::weekly:
        return ViewStyle::blue();
    default:
        return QColor::fromRgbF(0.29f, 0.49f, 0.34f, 1.0f);
    }
}

QColor TimelineItemView::missedColor()
{
    return ViewStyle::red();
}

void TimelineItemView::setMissed(const QList<Missed> &missed)
{
    m_missed = missed;
    QString tip = m_row.task.name % u"\n" % m_row.task.schedule.description();
    for (const Missed &one : missed) {
        tip +=
            u"\nMissed " % QTime(0, 0).addSecs(one.minute * 60).toString(QStringLiteral("HH:mm")) % u": " % one.reason;
    }
    setToolTip(tip);
    update();
}

QRectF TimelineItemView::timeArea() const
{
    return TimelineRowPainting::timeArea(this);
}

double TimelineItemView::xForMinute(double minute) const
{
    const QRectF area = timeArea();
    return area.left() + minute / m_totalMinutes * area.width();
}

QSize TimelineItemView::sizeHint() const
{
    return QSize(kTimeAreaLeft + 480, kRowHeight);
}

QSize TimelineItemView::minimumSizeHint() const
{
    return QSize(kTimeAreaLeft + 120, kRowHeight);
}

void TimelineItemView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    TimelineRowPainting::paintName(painter, this, m_row.task.name, ViewStyle::captionFont(), ViewStyle::primaryText());

    const QRectF area = timeArea();
    TimelineRowPainting::paintTrack(painter, area);
    painter.setClipRect(area);

    const double minuteWidth = area.width() / m_totalMinutes;
    auto bar = [&](double startMinute, double minutes) {
        return QRectF(xForMinute(startMinute), area.top(), std::max(minutes * minuteWidth, 2.0), area.height());
    };
    const QColor kind = kindColor(m_row.task.schedule.kind());

    // Wake windows: the five minutes before a run during which the machine is woken.
    QColor wakeFill = ViewStyle::orange();
    wakeFill.setAlphaF(0.2);
    QColor wakeLine = ViewStyle::orange();
    wakeLine.setAlphaF(0.5);
    QPen dashed(wakeLine, 1);
    dashed.setDashPattern({3, 2});
    for (const Timeline::WakeWindow &wake : m_row.wakeWindows) {
        const QRectF rect = bar(wake.startMinute, wake.minutes);
        painter.setPen(Qt::NoPen);
        painter.setBrush(wakeFill);
        painter.drawRoundedRect(rect, 2, 2);
        painter.setPen(dashed);
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(rect.adjusted(0.5, 0.5, -0.5, -0.5), 2, 2);
    }

    painter.setPen(Qt::NoPen);
    for (const Timeline::Run &run : m_row.runs) {
        QColor color = run.exitCode == 0 ? kind : ViewStyle::red();
        color.setAlphaF(run.exitCode == 0 ? 0.8 : 0.7);
        painter.setBrush(color);
        painter.drawRoundedRect(bar(run.startMinute, std::max(run.minutes, 1.0)), 2, 2);
    }

    painter.setBrush(kind);
    const auto isMissed = [this](int minute) {
        return std::any_of(m_missed.cbegin(), m_missed.cend(),
                           [minute](const Missed &one) { return one.minute == minute; });
    };
    for (const Timeline::Occurrence &occurrence : m_row.occurrences) {
        if (!occurrence.ran && !isMissed(occurrence.minute)) {
            painter.drawRoundedRect(bar(occurrence.minute, 3), 1, 1);
        }
    }

    // Hollow, so a missed time never reads as one still to come.
    painter.setPen(QPen(missedColor(), 1.5));
    QColor missedFill = missedColor();
    missedFill.setAlphaF(0.2);
    painter.setBrush(missedFill);
    for (const Missed &one : m_missed) {
        const QRectF rect = bar(one.minute, 3);
        painter.drawRoundedRect(QRectF(rect.left(), rect.top(), std::max(rect.width(), 5.0), rect.height())
                                    .adjusted(0.75, 0.75, -0.75, -0.75),
                                1, 1);
    }
}
