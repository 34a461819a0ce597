#include "ui/DayTimelineView.h"

#include "store/TaskStore.h"
#include "ui/Icons.h"
#include "ui/SystemJobTimelineItemView.h"
#include "ui/TimelineItemView.h"
#include "ui/ViewStyle.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QScrollArea>
#include <QVBoxLayout>

using namespace TimelineRowGeometry;

namespace {

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

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        const double left = kTimeAreaLeft;
        const double cell = (width() - left) / 24.0;
        for (int hour = 0; hour < 24; ++hour) {
            QFont font = ViewStyle::bodyFont();
            font.setPointSizeF(9);
            const bool current = hour == m_currentHour;
            font.setBold(current);
            painter.setFont(font);
            painter.setPen(current ? ViewStyle::secondaryText() : ViewStyle::quaternaryText());
            painter.drawText(QRectF(left + hour * cell, 0, cell, height()), Qt::AlignCenter, QString::number(hour));
        }
    }

private:
    int m_currentHour = -1;
};

QLabel *sectionTitle(const QString &text, QWidget *parent)
{
    QLabel *label = ViewStyle::captionLabel(text, parent);
    QFont font = label->font();
    font.setWeight(QFont::DemiBold);
    label->setFont(font);
    return label;
}

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
    m_lanes = new QWidget(content);
    m_lanesLayout = new QVBoxLayout(m_lanes);
    m_lanesLayout->setContentsMargins(0, 0, 0, 0);
    m_lanesLayout->setSpacing(2);
    contentLayout->addWidget(m_lanes);
    contentLayout->addStretch(1);
    scroll->setWidget(content);
    layout->addWidget(scroll, 1);

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
    m_day = Timeline::compute(
        store.tasks(), [&store](const ScheduledTask &task) { return store.runRecords(task); }, m_systemJobs, m_clock(),
        m_zone);
    static_cast<HourRuler *>(m_ruler)->setCurrentHour(m_day.currentHour);

    // Each lane shown on its own into a visible parent lays out every lane again (a thousand lanes,
    // a million placements); shown together with their parent, they are laid out once.
    const bool wasHidden = m_lanes->isHidden();
    m_lanes->hide();
    while (QLayoutItem *item = m_lanesLayout->takeAt(0)) {
        delete item->widget(); // rows hold no state and send nothing, so they can go at once
        delete item;
    }

    if (!m_day.tasks.isEmpty()) {
        QLabel *title = sectionTitle(QStringLiteral("MY TASKS"), m_lanes);
        title->setObjectName(QStringLiteral("timeline-my-tasks"));
        m_lanesLayout->addWidget(title);
        for (const Timeline::TaskRow &row : m_day.tasks) {
            m_lanesLayout->addWidget(new TimelineItemView(row, Timeline::kTotalMinutes, m_lanes));
        }
    } else if (!m_showSystemJobs) {
        QLabel *empty = ViewStyle::captionLabel(QStringLiteral("No enabled tasks"), m_lanes);
        empty->setObjectName(QStringLiteral("timeline-empty"));
        m_lanesLayout->addWidget(empty);
    }

    if (m_showSystemJobs && !m_day.systemJobs.isEmpty()) {
        if (!m_day.tasks.isEmpty()) {
            m_lanesLayout->addSpacing(10);
        }
        QLabel *title = sectionTitle(QStringLiteral("SYSTEM JOBS"), m_lanes);
        title->setObjectName(QStringLiteral("timeline-system-jobs"));
        m_lanesLayout->addWidget(title);
        for (const Timeline::SystemRow &row : m_day.systemJobs) {
            m_lanesLayout->addWidget(new SystemJobTimelineItemView(row, Timeline::kTotalMinutes, m_lanes));
        }
    }
    if (!wasHidden) {
        m_lanes->show();
    }
}
