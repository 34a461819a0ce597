#pragma once

#include "timeline/DayTimeline.h"

#include <QWidget>

// One system job's lane on the day timeline: its short name and a mark at each firing today.
class SystemJobTimelineItemView : public QWidget
{
    Q_OBJECT

public:
    explicit SystemJobTimelineItemView(const Timeline::SystemRow &row, double totalMinutes = Timeline::kTotalMinutes,
                                       QWidget *parent = nullptr);

    const Timeline::SystemRow &row() const { return m_row; }
    QRectF timeArea() const;
    double xForMinute(double minute) const;
    static QColor markColor();

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    Timeline::SystemRow m_row;
    double m_totalMinutes;
};
