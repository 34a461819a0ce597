#include "ui/DayTimelineView.h"

#include "launchd/LaunchdService.h"
#include "store/TaskStore.h"
#include "timeline/SystemdLane.h"
#include "ui/Icons.h"
#include "ui/SystemJobTimelineItemView.h"
#include "ui/TaskGlance.h"
#include "ui/TimelineItemView.h"
#include "ui/ViewStyle.h"

#include <QCheckBox>
#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QScrollArea>
#include <QScrollBar>
#include <QTime>
#include <QVBoxLayout>
#include <algorithm>

using namespace TimelineRowGeometry;

namespace {

// Between two lanes, and between a title and what follows it.
constexpr int kLaneSpacing = 2;

// The 24 hour labels over the time areas: each shares the width equally, the current hour bold.
class HourRuler : public QWidget
{
public:
    explicit HourRuler(QWidget *parent) : QWidget(parent)
    {
        setObjectName(QStringLiteral("timeline-ruler"));
        setFixedHeight(16);
        setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    }

    void setCurrentHour(int hour)
    {
        m_currentHour = hour;
        update();
    }

    // Every hour when there is room, else every 2nd, 3rd, 4th, 6th or 12th, so labels never touch.
    int labelStep() const
    {
        QFont font = labelFont();
        font.setBold(true);
        const double widest = QFontMetricsF(font).horizontalAdvance(QStringLiteral("00")) + kLabelGap;
        const double cell = (width() - kTimeAreaLeft) / 24.0;
        for (int step : {1, 2, 3, 4, 6, 12}) {
            if (cell * step >= widest) {
                return step;
            }
        }
        return 24;
    }

    // Which hours are labelled, in order.
    QList<int> labelledHours() const
    {
        QList<int> hours;
        const int step = labelStep();
        for (int hour = 0; hour < 24; hour += step) {
            hours << hour;
        }
        return hours;
    }

protected:
    void resizeEvent(QResizeEvent *event) override
    {
        QWidget::resizeEvent(event);
        // For tests and accessibility: the hours that carry a label at this width.
        QStringList shown;
        for (int hour : labelledHours()) {
            shown << QString::number(hour);
        }
        setAccessibleDescription(shown.join(u' '));
    }

    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        const double left = kTimeAreaLeft;
        const double cell = (width() - left) / 24.0;
        for (int hour : labelledHours()) {
            QFont font = labelFont();
            const bool current = hour == m_currentHour;
            font.setBold(current);
            painter.setFont(font);
            painter.setPen(current ? ViewStyle::secondaryText() : ViewStyle::quaternaryText());
            painter.drawText(QRectF(left + hour * cell, 0, cell, height()), Qt::AlignCenter, QString::number(hour));
        }
    }

private:
    static constexpr double kLabelGap = 4;

    static QFont labelFont()
    {
        QFont font = ViewStyle::bodyFont();
        font.setPointSizeF(9);
        return font;
    }

    int m_currentHour = -1;
};

} // namespace

DayTimelineView::DayTimelineView(TaskStore &store, const QList<LaunchdJob> &systemJobs, QWidget *parent)
    : QWidget(parent), m_store(store), m_systemJobs(systemJobs), m_clock([] { return QDateTime::currentDateTime(); }),
      m_zone(QTimeZone::systemTimeZone())
{
    setObjectName(QStringLiteral("timeline"));

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 16, 20, 16);
    layout->setSpacing(12);

    auto *header = new QHBoxLayout;
    header->setSpacing(8);
    header->addWidget(ViewStyle::iconLabel(QStringLiteral("clock.badge.checkmark"), QColor(), 20, this));
    auto *title = new QLabel(QStringLiteral("Timeline"), this);
    title->setObjectName(QStringLiteral("timeline-title"));
    QFont titleFont = ViewStyle::titleFont();
    titleFont.setPointSizeF(titleFont.pointSizeF() * 0.85);
    title->setFont(titleFont);
    header->addWidget(title);
    header->addStretch(1);
    m_toggle = new QCheckBox(QStringLiteral("System Jobs"), this);
    ViewStyle::setIdentifier(m_toggle, QStringLiteral("timeline-system-jobs-toggle"));
    connect(m_toggle, &QCheckBox::toggled, this, &DayTimelineView::setShowSystemJobs);
    header->addWidget(m_toggle);
    layout->addLayout(header);

    auto *scroll = new QScrollArea(this);
    m_scroll = scroll;
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidgetResizable(true);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    auto *content = new QWidget;
    auto *contentLayout = new QVBoxLayout(content);
    contentLayout->setContentsMargins(0, 0, 0, 0);
    contentLayout->setSpacing(6);
    auto *ruler = new HourRuler(content);
    m_ruler = ruler;
    contentLayout->addWidget(ruler);
    // Placed by hand, not by a layout: a lane gets its widget only when it comes into sight.
    m_lanes = new QWidget(content);
    m_lanes->installEventFilter(this);
    contentLayout->addWidget(m_lanes);
    contentLayout->addStretch(1);
    scroll->setWidget(content);
    layout->addWidget(scroll, 1);
    scroll->viewport()->installEventFilter(this);
    connect(scroll->verticalScrollBar(), &QScrollBar::valueChanged, this, &DayTimelineView::placeLanesInSight);

    connect(&m_store, &TaskStore::tasksChanged, this, &DayTimelineView::reload);
    reload();
}

void DayTimelineView::setClock(Clock clock)
{
    m_clock = std::move(clock);
    reload();
}

void DayTimelineView::setTimeZone(const QTimeZone &zone)
{
    m_zone = zone;
    reload();
}

void DayTimelineView::setSystemJobs(const QList<LaunchdJob> &jobs)
{
    m_systemJobs = jobs;
    reload();
}

void DayTimelineView::setSystemdJobs(const SystemdJobs &jobs)
{
    m_systemdJobs = jobs;
    reload();
}

void DayTimelineView::setShowSystemJobs(bool show)
{
    if (show == m_showSystemJobs) {
        return;
    }
    m_showSystemJobs = show;
    m_toggle->setChecked(show);
    reload();
}

void DayTimelineView::reload()
{
    const TaskStore &store = m_store;
    const QDateTime now = m_clock();
    m_now = now;
    m_power.reset();
    const Timeline::RunWindow window = Timeline::runWindow(now, m_zone);
    m_day = Timeline::compute(
        store.tasks(),
        [&](const ScheduledTask &task) {
            return m_runs.runsStartingBetween(store.launchdService().runsPath(task), window.from, window.to);
        },
        m_systemJobs, now, m_zone);
    m_runs.dropUnused();
    // Asking systemd for the day's elapses costs a child process per expression: only when shown.
    if (m_showSystemJobs && !m_systemdJobs.isEmpty()) {
        m_day.systemJobs.append(Timeline::systemdRows(m_systemdJobs, m_day.date, m_zone));
    }
    static_cast<HourRuler *>(m_ruler)->setCurrentHour(m_day.currentHour);

    qDeleteAll(m_lanes->findChildren<QWidget *>(Qt::FindDirectChildrenOnly));
    m_laneSlots.clear();

    // Titles and lanes from the top, 2 apart; a gap of 10 more before the system jobs.
    int top = 0;
    const auto placeLabel = [&](QLabel *label) {
        label->setGeometry(0, top, m_lanes->width(), label->sizeHint().height());
        label->show();
        top += label->height() + kLaneSpacing;
    };
    if (!m_day.tasks.isEmpty()) {
        QLabel *title = ViewStyle::sectionTitle(QStringLiteral("MY TASKS"), m_lanes);
        title->setObjectName(QStringLiteral("timeline-my-tasks"));
        placeLabel(title);
        for (qsizetype i = 0; i < m_day.tasks.size(); ++i) {
            m_laneSlots.append(LaneSlot{top, false, i, nullptr});
            top += kRowHeight + kLaneSpacing;
        }
    } else if (!m_showSystemJobs) {
        QLabel *empty = ViewStyle::captionLabel(QStringLiteral("No enabled tasks"), m_lanes);
        empty->setObjectName(QStringLiteral("timeline-empty"));
        placeLabel(empty);
    }
    if (m_showSystemJobs && !m_day.systemJobs.isEmpty()) {
        if (!m_day.tasks.isEmpty()) {
            top += 10 + kLaneSpacing;
        }
        QLabel *title = ViewStyle::sectionTitle(QStringLiteral("SYSTEM JOBS"), m_lanes);
        title->setObjectName(QStringLiteral("timeline-system-jobs"));
        placeLabel(title);
        for (qsizetype i = 0; i < m_day.systemJobs.size(); ++i) {
            m_laneSlots.append(LaneSlot{top, true, i, nullptr});
            top += kRowHeight + kLaneSpacing;
        }
    }
    m_lanes->setFixedHeight(std::max(0, top - kLaneSpacing));
    placeLanesInSight();
}

void DayTimelineView::placeLanesInSight()
{
    if (!m_lanes->isVisible()) {
        return;
    }
    // What the scroll area shows, and a screen more each way so scrolling finds lanes ready.
    const QWidget *viewport = m_scroll->viewport();
    const int sightTop = m_lanes->mapFrom(viewport, QPoint(0, 0)).y();
    const int from = sightTop - viewport->height();
    const int to = sightTop + 2 * viewport->height();
    for (LaneSlot &slot : m_laneSlots) {
        if (slot.top + kRowHeight < from || slot.top > to) {
            continue;
        }
        if (!slot.widget) {
            if (slot.system) {
                slot.widget =
                    new SystemJobTimelineItemView(m_day.systemJobs.at(slot.index), Timeline::kTotalMinutes, m_lanes);
            } else {
                auto *lane = new TimelineItemView(m_day.tasks.at(slot.index), Timeline::kTotalMinutes, m_lanes);
                lane->setMissed(missedToday(m_day.tasks.at(slot.index)));
                slot.widget = lane;
            }
            slot.widget->setGeometry(0, slot.top, m_lanes->width(), kRowHeight);
            slot.widget->show();
        }
    }
}

QList<TimelineItemView::Missed> DayTimelineView::missedToday(const Timeline::TaskRow &row)
{
    const QDateTime local = m_now.toTimeZone(m_zone);
    const int nowMinute = local.time().hour() * 60 + local.time().minute();
    const bool anyPastWithoutRun = std::any_of(row.occurrences.cbegin(), row.occurrences.cend(), [&](const auto &o) {
        return !o.ran && o.minute + TaskStatus::kGraceMinutes <= nowMinute;
    });
    if (!anyPastWithoutRun) {
        return {};
    }
    const Timeline::RunWindow window = Timeline::runWindow(m_now, m_zone);
    const QList<TaskRunRecord> runs =
        m_runs.runsStartingBetween(m_store.launchdService().runsPath(row.task), window.from, window.to);
    QList<TimelineItemView::Missed> missed;
    for (const QDateTime &due :
         TaskStatus::missedRuns(row.task, runs, TaskGlance::installedAt(m_store, row.task), m_now, m_zone)) {
        const QDateTime dueLocal = due.toTimeZone(m_zone);
        if (dueLocal.date() != local.date()) {
            continue;
        }
        if (!m_power) {
            m_power = PowerHistory::read(local.addDays(-1), m_zone);
        }
        missed.append({dueLocal.time().hour() * 60 + dueLocal.time().minute(),
                       PowerHistory::reasonText(PowerHistory::reasonFor(due, *m_power))});
    }
    return missed;
}

bool DayTimelineView::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_lanes && event->type() == QEvent::Resize) {
        for (QWidget *child : m_lanes->findChildren<QWidget *>(Qt::FindDirectChildrenOnly)) {
            child->resize(m_lanes->width(), child->height());
        }
        placeLanesInSight();
    } else if ((watched == m_lanes && event->type() == QEvent::Show) ||
               (watched == m_scroll->viewport() && event->type() == QEvent::Resize)) {
        placeLanesInSight();
    }
    return QWidget::eventFilter(watched, event);
}
