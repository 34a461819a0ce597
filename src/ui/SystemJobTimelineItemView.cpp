#include "ui/SystemJobTimelineItemView.h"

#include "ui/TimelineItemView.h"
#include "ui/ViewStyle.h"

#include <QPainter>

#include <algorithm>

using namespace TimelineRowGeometry;

SystemJobTimelineItemView::SystemJobTimelineItemView(const Timeline::SystemRow &row, double totalMinutes,
                                                     QWidget *parent)
    : QWidget(parent), m_row(row), m_totalMinutes(totalMinutes)
{
    setObjectName(QStringLiteral("timeline-system-row"));
    setToolTip(row.label);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

QRectF SystemJobTimelineItemView::timeArea() const
{
    return TimelineRowPainting::timeArea(this);
}

double SystemJobTimelineItemView::xForMinute(double minute) const
{
    const QRectF area = timeArea();
    return area.left() + minute / m_totalMinutes * area.width();
}

QColor SystemJobTimelineItemView::markColor()
{
    QColor color = ViewStyle::grey();
    color.setAlphaF(0.7);
    return color;
}

QSize SystemJobTimelineItemView::sizeHint() const
{
    return QSize(kTimeAreaLeft + 480, kRowHeight);
}

QSize SystemJobTimelineItemView::minimumSizeHint() const
{
    return QSize(kTimeAreaLeft + 120, kRowHeight);
}

void SystemJobTimelineItemView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QFont font = ViewStyle::captionFont();
    font.setWeight(QFont::Medium);
    TimelineRowPainting::paintName(painter, this, m_row.name, font, ViewStyle::secondaryText());

    const QRectF area = timeArea();
    TimelineRowPainting::paintTrack(painter, area);
    painter.setClipRect(area);
    painter.setPen(Qt::NoPen);
    painter.setBrush(markColor());
    const double width = std::max(area.width() / m_totalMinutes, 2.0);
    for (int minute : m_row.marks) {
        painter.drawRoundedRect(QRectF(xForMinute(minute), area.top(), width, area.height()), 1, 1);
    }
}
