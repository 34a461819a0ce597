#include "ui/SidebarView.h"

#include "ui/Icons.h"
#include "ui/SidebarRowDelegate.h"
#include "ui/ViewStyle.h"

#include <QApplication>
#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMouseEvent>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

constexpr int kKindRole = Qt::UserRole;
constexpr int kIdRole = Qt::UserRole + 1;
constexpr int kHeaderKind = -1;

qsizetype jobCount(const SidebarView::State &state)
{
    return state.jobs.size() + state.systemdJobs.timers.size() + state.systemdJobs.cron.size();
}

// A task's or job's row. It answers from the sidebar's state when asked rather than storing its
// data: a thousand rows are made at every rebuild, and only those in sight are ever asked.
class ListedRow final : public QListWidgetItem
{
public:
    ListedRow(const SidebarView::State &state, const SidebarSection &section, int index, const QSize &size)
        : QListWidgetItem(nullptr, UserType), m_state(state), m_section(section), m_index(index), m_size(size)
    {
    }

    const SidebarSection &section() const { return m_section; }
    int index() const { return m_index; }

    QVariant data(int role) const override
    {
        switch (role) {
        case kKindRole:
            return int(m_section.kind);
        case kIdRole:
            return m_section.kind == SidebarSection::Kind::task ? m_section.taskId.toString() : m_section.jobId;
        case Qt::SizeHintRole:
            return m_size;
        case Qt::DisplayRole:
        case Qt::AccessibleTextRole: // what a screen reader says, and what typing in the list finds
            return title();
        default:
            return QListWidgetItem::data(role);
        }
    }

private:
    QString title() const
    {
        // Asked while a rebuild swaps the state under the old rows, it may be out of range.
        if (m_section.kind == SidebarSection::Kind::task) {
            return m_index < m_state.tasks.size() ? m_state.tasks.at(m_index).name : QString();
        }
        qsizetype at = m_index;
        if (at >= jobCount(m_state)) {
            return {};
        }
        if (at < m_state.jobs.size()) {
            return m_state.jobs.at(at).label;
        }
        const SystemdJobs &systemd = m_state.systemdJobs;
        if ((at -= m_state.jobs.size()) < systemd.timers.size()) {
            return systemd.timers.at(at).name;
        }
        return systemd.cron.at(at - systemd.timers.size()).label();
    }

    const SidebarView::State &m_state;
    SidebarSection m_section;
    int m_index;
    QSize m_size;
};

std::optional<SidebarSection> sectionOf(const QListWidgetItem *item)
{
    if (!item) {
        return std::nullopt;
    }
    if (const auto *row = dynamic_cast<const ListedRow *>(item)) {
        return row->section();
    }
    const int kind = item->data(kKindRole).toInt();
    switch (kind) {
    case int(SidebarSection::Kind::task):
        return SidebarSection::task(QUuid::fromString(item->data(kIdRole).toString()));
    case int(SidebarSection::Kind::systemJob):
        return SidebarSection::systemJob(item->data(kIdRole).toString());
    case int(SidebarSection::Kind::timeline):
        return SidebarSection::timeline();
    default:
        return std::nullopt;
    }
}

} // namespace

SidebarView::SidebarView(QWidget *parent) : QWidget(parent)
{
    setObjectName(QStringLiteral("sidebar"));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(8, 8, 8, 8);
    layout->setSpacing(8);

    m_filter = new QLineEdit(this);
    ViewStyle::setIdentifier(m_filter, QStringLiteral("sidebar-filter"));
    m_filter->setPlaceholderText(QStringLiteral("Filter..."));
    m_filter->setClearButtonEnabled(true);
    connect(m_filter, &QLineEdit::textChanged, this, &SidebarView::searchTextChanged);
    layout->addWidget(m_filter);

    m_list = new QListWidget(this);
    ViewStyle::setIdentifier(m_list, QStringLiteral("sidebar-list"));
    m_list->setSelectionMode(QAbstractItemView::SingleSelection);
    m_list->setContextMenuPolicy(Qt::CustomContextMenu);
    m_list->setFrameShape(QFrame::NoFrame);
    m_list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_list->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    QPalette palette = m_list->palette();
    palette.setColor(QPalette::Base, Qt::transparent);
    m_list->setPalette(palette);
    m_list->setItemDelegate(new SidebarRowDelegate(this, m_list));
    m_list->viewport()->installEventFilter(this);
    connect(m_list, &QListWidget::itemSelectionChanged, this, &SidebarView::onSelectionChanged);
    connect(m_list, &QListWidget::customContextMenuRequested, this, [this](const QPoint &pos) {
        const std::optional<SidebarSection> section = sectionOf(m_list->itemAt(pos));
        if (section && section->kind == SidebarSection::Kind::task && !m_state.selectMode) {
            Q_EMIT taskContextMenuRequested(section->taskId, m_list->viewport()->mapToGlobal(pos));
        }
    });
    layout->addWidget(m_list, 1);

    m_add = new QPushButton(Icons::symbol(QStringLiteral("plus.circle.fill"), ViewStyle::accent()),
                            QStringLiteral("Add Task"), this);
    ViewStyle::setIdentifier(m_add, QStringLiteral("sidebar-add-task"));
    connect(m_add, &QPushButton::clicked, this, &SidebarView::addClicked);
    layout->addWidget(m_add);
}

QListWidgetItem *SidebarView::addRow(QWidget *widget, Qt::ItemFlags flags, const std::optional<SidebarSection> &section)
{
    auto *item = new QListWidgetItem;
    item->setFlags(flags);
    item->setData(kKindRole, section ? int(section->kind) : kHeaderKind);
    if (section) {
        item->setData(kIdRole,
                      section->kind == SidebarSection::Kind::task ? section->taskId.toString() : section->jobId);
    }
    item->setSizeHint(widget->sizeHint());
    m_list->addItem(item);
    m_pendingWidgets.append({item, widget});
    return item;
}

void SidebarView::addListedRow(const QSize &sizeHint, Qt::ItemFlags flags, const SidebarSection &section, int index)
{
    auto *item = new ListedRow(m_state, section, index, sizeHint);
    item->setFlags(flags); // before it joins the list, so that it signals nothing
    m_list->addItem(item);
}

void SidebarView::addSectionGap()
{
    auto *gap = new QListWidgetItem;
    gap->setFlags(Qt::NoItemFlags);
    gap->setData(kKindRole, kHeaderKind);
    gap->setSizeHint(QSize(1, 8));
    m_list->addItem(gap);
}

bool SidebarView::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != m_list->viewport()) {
        return QWidget::eventFilter(watched, event);
    }
    switch (event->type()) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick:
    case QEvent::MouseButtonRelease:
        return filterMouse(static_cast<QMouseEvent *>(event));
    default:
        break;
    }
    return QWidget::eventFilter(watched, event);
}

bool SidebarView::filterMouse(QMouseEvent *event)
{
    // Only a left click on a selectable row changes the selection. The list would otherwise
    // clear it on a click on a header, a gap or a ticked row, and select a row on a right click
    // (whose menu opens all the same).
    QListWidgetItem *item = m_list->itemAt(event->position().toPoint());
    const bool selectable = item && (item->flags() & Qt::ItemIsSelectable);
    if (event->button() == Qt::LeftButton && selectable) {
        return false;
    }
    if (event->type() == QEvent::MouseButtonPress) {
        m_pressedItem = event->button() == Qt::LeftButton ? item : nullptr;
    } else if (event->type() == QEvent::MouseButtonRelease && event->button() == Qt::LeftButton) {
        if (item && item == m_pressedItem) {
            onItemClicked(item);
        }
        m_pressedItem = nullptr;
    }
    return true;
}

QWidget *SidebarView::tasksHeader()
{
    auto *header = new QWidget;
    auto *layout = new QHBoxLayout(header);
    layout->setContentsMargins(6, 2, 4, 2);
    layout->addWidget(ViewStyle::sectionTitle(QStringLiteral("My Tasks"), header));
    layout->addStretch(1);
    m_selectButton = new QPushButton(header);
    ViewStyle::setIdentifier(m_selectButton, QStringLiteral("sidebar-select-button"));
    m_selectButton->setFlat(true);
    m_selectButton->setFont(ViewStyle::captionFont());
    m_selectButton->setCursor(Qt::PointingHandCursor);
    m_selectButton->setStyleSheet(QStringLiteral("QPushButton { border: none; padding: 1px 4px; }"));
    connect(m_selectButton, &QPushButton::clicked, this, &SidebarView::selectButtonClicked);
    layout->addWidget(m_selectButton);
    updateSelectButton();
    return header;
}

QWidget *SidebarView::systemJobsHeader()
{
    auto *header = new QWidget;
    auto *layout = new QHBoxLayout(header);
    layout->setContentsMargins(2, 2, 4, 2);
    layout->setSpacing(4);
    m_disclosure = new QToolButton(header);
    ViewStyle::setIdentifier(m_disclosure, QStringLiteral("sidebar-system-jobs-toggle"));
    m_disclosure->setAutoRaise(true);
    m_disclosure->setArrowType(m_state.showSystemJobs ? Qt::DownArrow : Qt::RightArrow);
    m_disclosure->setIconSize(QSize(8, 8));
    m_disclosure->setFixedSize(16, 16);
    connect(m_disclosure, &QToolButton::clicked, this, &SidebarView::systemJobsToggled);
    layout->addWidget(m_disclosure);
    layout->addWidget(ViewStyle::iconLabel(QStringLiteral("gearshape.2"), ViewStyle::secondaryText(), 13, header));
    layout->addWidget(ViewStyle::sectionTitle(QStringLiteral("System Jobs"), header));
    m_jobCount = ViewStyle::captionLabel(QString::number(m_state.totalJobs), header);
    m_jobCount->setObjectName(QStringLiteral("sidebar-system-jobs-count"));
    m_jobCount->setFont(ViewStyle::caption2Font());
    layout->addWidget(m_jobCount);
    layout->addStretch(1);
    return header;
}

void SidebarView::setState(const State &state)
{
    m_state = state;
    m_taskLooks.clear();
    m_jobLooks.clear();
    m_rebuilding = true;
    // The rows go, and with them a focused button (Select, Done): focus would move on to the
    // filter and select its text. It stays in the list instead.
    if (QWidget *focused = QApplication::focusWidget(); focused && m_list->isAncestorOf(focused)) {
        m_list->setFocus(Qt::OtherFocusReason);
    }
    const int scrolled = m_list->verticalScrollBar() ? m_list->verticalScrollBar()->value() : 0;
    {
        const QSignalBlocker blocker(m_list);
        m_list->clear(); // the old row widgets go later, once control is back in the event loop
        m_pressedItem = nullptr;
        m_selectButton = nullptr;
        m_disclosure = nullptr;
        m_jobCount = nullptr;

        auto *timeline = new QWidget;
        auto *timelineLayout = new QHBoxLayout(timeline);
        timelineLayout->setContentsMargins(6, 5, 6, 5);
        timelineLayout->setSpacing(8);
        timelineLayout->addWidget(
            ViewStyle::iconLabel(QStringLiteral("clock.badge.checkmark"), QColor(), 16, timeline));
        auto *timelineLabel = new QLabel(QStringLiteral("Timeline"), timeline);
        timelineLabel->setObjectName(QStringLiteral("sidebar-timeline"));
        timelineLayout->addWidget(timelineLabel, 1);
        addRow(timeline, Qt::ItemIsEnabled | Qt::ItemIsSelectable, SidebarSection::timeline());
        addSectionGap();

        addRow(tasksHeader(), Qt::ItemIsEnabled, std::nullopt);
        const Qt::ItemFlags taskFlags =
            state.selectMode ? Qt::ItemIsEnabled : (Qt::ItemIsEnabled | Qt::ItemIsSelectable);
        // Measuring a row loads its fonts: not for an empty list.
        const QSize taskSize(0, state.tasks.isEmpty() ? 0 : SidebarRows::taskRowHeight());
        for (int i = 0; i < state.tasks.size(); ++i) {
            addListedRow(taskSize, taskFlags, SidebarSection::task(state.tasks.at(i).id), i);
        }
        addSectionGap();

        m_jobsHeaderItem = addRow(systemJobsHeader(), Qt::ItemIsEnabled, std::nullopt);
        addJobRows();

        for (const auto &[row, widget] : std::as_const(m_pendingWidgets)) {
            m_list->setItemWidget(row, widget);
        }
        m_pendingWidgets.clear();

        if (state.selection) {
            if (QListWidgetItem *selected = item(*state.selection);
                selected && (selected->flags() & Qt::ItemIsSelectable)) {
                selected->setSelected(true);
                m_list->setCurrentItem(selected, QItemSelectionModel::NoUpdate);
            }
        }
    }
    m_list->verticalScrollBar()->setValue(scrolled);
    m_add->setText(state.totalTasks == 0 ? QStringLiteral("Add your first task") : QStringLiteral("Add Task"));
    m_rebuilding = false;
}

void SidebarView::addJobRows()
{
    if (!m_state.showSystemJobs) {
        return;
    }
    const QSize jobSize(0, SidebarRows::jobRowHeight());
    const Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    int index = 0;
    for (const LaunchdJob &job : std::as_const(m_state.jobs)) {
        addListedRow(jobSize, flags, SidebarSection::systemJob(job.id), index++);
    }
    for (const TimerUnit &timer : std::as_const(m_state.systemdJobs.timers)) {
        addListedRow(jobSize, flags, SidebarSection::systemJob(timer.id), index++);
    }
    for (const CronEntry &entry : std::as_const(m_state.systemdJobs.cron)) {
        addListedRow(jobSize, flags, SidebarSection::systemJob(entry.id), index++);
    }
}

void SidebarView::setSystemJobs(const QList<LaunchdJob> &jobs, int totalJobs, bool showSystemJobs,
                                const SystemdJobs &systemdJobs)
{
    if (showSystemJobs || m_state.showSystemJobs) {
        // Rows come or go. Rebuilding is cheap (only the headers are widgets) and, unlike inserting
        // rows into a list that holds widgets, does not move every widget per row.
        State state = m_state;
        state.jobs = jobs;
        state.systemdJobs = systemdJobs;
        state.totalJobs = totalJobs;
        state.showSystemJobs = showSystemJobs;
        setState(state);
        return;
    }
    // Collapsed: only the count changes.
    m_state.jobs = jobs;
    m_state.systemdJobs = systemdJobs;
    m_state.totalJobs = totalJobs;
    if (m_jobCount) {
        m_jobCount->setText(QString::number(totalJobs));
    }
}

void SidebarView::setTicked(const QSet<QUuid> &ticked)
{
    m_state.ticked = ticked;
    m_list->viewport()->update();
    updateSelectButton();
}

void SidebarView::updateSelectButton()
{
    if (!m_selectButton) {
        return;
    }
    QString text = QStringLiteral("Select");
    if (m_state.selectMode) {
        text = m_state.ticked.size() != m_state.tasks.size() ? QStringLiteral("Select All")
                                                             : QStringLiteral("Deselect All");
    }
    m_selectButton->setText(text);
    ViewStyle::setTextColor(m_selectButton, ViewStyle::accent());
}

QListWidgetItem *SidebarView::item(const SidebarSection &section) const
{
    for (int i = 0; i < m_list->count(); ++i) {
        QListWidgetItem *candidate = m_list->item(i);
        if (sectionOf(candidate) == section) {
            return candidate;
        }
    }
    return nullptr;
}

const SidebarRows::TaskLook *SidebarView::taskLookAt(int row) const
{
    const auto *listed = dynamic_cast<const ListedRow *>(m_list->item(row));
    if (!listed || listed->section().kind != SidebarSection::Kind::task || listed->index() >= m_state.tasks.size()) {
        return nullptr;
    }
    const int index = listed->index();
    auto found = m_taskLooks.find(index);
    if (found == m_taskLooks.end()) {
        const ScheduledTask &task = m_state.tasks.at(index);
        SidebarRows::TaskLook look = SidebarRows::taskLook(task);
        if (m_state.glance) {
            const TaskStatus::Status status = m_state.glance(task);
            SidebarRows::setGlance(look, status.lastRun, status.missed.size());
        }
        found = m_taskLooks.insert(index, look);
    }
    // Ticks change without a rebuild.
    const QUuid &id = m_state.tasks.at(index).id;
    found->tick = m_state.selectMode ? std::optional<bool>(m_state.ticked.contains(id)) : std::nullopt;
    return &found.value();
}

const SidebarRows::JobLook *SidebarView::jobLookAt(int row) const
{
    const auto *listed = dynamic_cast<const ListedRow *>(m_list->item(row));
    if (!listed || listed->section().kind != SidebarSection::Kind::systemJob || listed->index() >= jobCount(m_state)) {
        return nullptr;
    }
    auto found = m_jobLooks.find(listed->index());
    if (found == m_jobLooks.end()) {
        qsizetype place = listed->index();
        const SystemdJobs &systemd = m_state.systemdJobs;
        SidebarRows::JobLook look;
        if (place < m_state.jobs.size()) {
            look = SidebarRows::jobLook(m_state.jobs.at(place));
        } else if ((place -= m_state.jobs.size()) < systemd.timers.size()) {
            look = SidebarRows::jobLook(systemd.timers.at(place));
        } else {
            look = SidebarRows::jobLook(systemd.cron.at(place - systemd.timers.size()));
        }
        found = m_jobLooks.insert(listed->index(), look);
    }
    return &found.value();
}

std::optional<SidebarRows::TaskLook> SidebarView::taskLook(const QUuid &id) const
{
    QListWidgetItem *found = item(SidebarSection::task(id));
    const SidebarRows::TaskLook *look = found ? taskLookAt(m_list->row(found)) : nullptr;
    return look ? std::optional(*look) : std::nullopt;
}

std::optional<SidebarRows::JobLook> SidebarView::jobLook(const QString &id) const
{
    QListWidgetItem *found = item(SidebarSection::systemJob(id));
    const SidebarRows::JobLook *look = found ? jobLookAt(m_list->row(found)) : nullptr;
    return look ? std::optional(*look) : std::nullopt;
}

void SidebarView::onItemClicked(QListWidgetItem *clicked)
{
    if (clicked == m_jobsHeaderItem) {
        Q_EMIT systemJobsToggled();
        return;
    }
    const std::optional<SidebarSection> section = sectionOf(clicked);
    if (m_state.selectMode && section && section->kind == SidebarSection::Kind::task) {
        Q_EMIT tickToggled(section->taskId);
    }
}

void SidebarView::onSelectionChanged()
{
    if (m_rebuilding) {
        return;
    }
    const QList<QListWidgetItem *> selected = m_list->selectedItems();
    Q_EMIT selectionChanged(selected.isEmpty() ? std::nullopt : sectionOf(selected.first()));
}
