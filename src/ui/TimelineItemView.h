#pragma once

#include "model/TaskSchedule.h"
#include "timeline/DayTimeline.h"

#include <QColor>
#include <QRectF>
#include <QWidget>

// Geometry both kinds of timeline row share: a 130-point name column with its text at the trailing
// edge, 8 points of padding, then a 20-point-high time area that fills the rest.
namespace TimelineRowGeometry {
inline constexpr int kNameWidth = 130;
inline constexpr int kNamePadding = 8;
inline constexpr int kTimeAreaLeft = kNameWidth + kNamePadding; // also the ruler's indent
inline constexpr int kTimeAreaHeight = 20;
inline constexpr int kRowHeight = 26;
} // namespace TimelineRowGeometry

// One task's lane on the day timeline: its wake windows, today's runs, the occurrences still to come
// and those that went without a run.
class TimelineItemView : public QWidget
{
    Q_OBJECT

public:
    struct Missed {
        int minute = 0;
        QString reason; // "the computer was off", ...
    };

    explicit TimelineItemView(const Timeline::TaskRow &row, double totalMinutes = Timeline::kTotalMinutes,
                              QWidget *parent = nullptr);

    // Purple for the monthly kinds, blue for weekly, a muted green for the rest.
    static QColor kindColor(TaskSchedule::Kind kind);
    // Missed occurrences: an outlined red mark instead of the pending one, the reason in the tooltip.
    static QColor missedColor();
    void setMissed(const QList<Missed> &missed);
    const QList<Missed> &missed() const { return m_missed; }

    const Timeline::TaskRow &row() const { return m_row; }
    // The time area in this widget's coordinates, and where minute `t` falls in it.
    QRectF timeArea() const;
    double xForMinute(double minute) const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    Timeline::TaskRow m_row;
    double m_totalMinutes;
    QList<Missed> m_missed;
};

// Shared by both row kinds: the name column and the faint track of the time area.
namespace TimelineRowPainting {
QRectF timeArea(const QWidget *row);
void paintName(QPainter &painter, const QWidget *row, const QString &name, const QFont &font, const QColor &color);
void paintTrack(QPainter &painter, const QRectF &area);
} // namespace TimelineRowPainting
