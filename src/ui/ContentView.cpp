#include "ui/ContentView.h"

#include "launchd/LaunchdBrowser.h"
#include "model/TaskMigration.h"
#include "store/TaskStore.h"
#include "ui/AddTaskView.h"
#include "ui/CronEntryDetailView.h"
#include "ui/DayTimelineView.h"
#include "ui/EditTaskView.h"
#include "ui/EmptyStateView.h"
#include "ui/FileDialog.h"
#include "ui/Icons.h"
#include "ui/LaunchdJobDetailView.h"
#include "ui/MessageBox.h"
#include "ui/SidebarView.h"
#include "ui/TaskDetailView.h"
#include "ui/TaskGlance.h"
#include "ui/TimerDetailView.h"
#include "ui/ViewStyle.h"

#include <QApplication>
#include <QEvent>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QSaveFile>
#include <QSplitter>
#include <QThread>
#include <QTimer>
#include <QToolBar>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

// How often a waiting alert looks again whether the one before it has been answered.
constexpr int kAlertRetryMilliseconds = 100;

QAction *toolButton(QToolBar *bar, const QString &symbol, const QString &text, const QString &identifier)
{
    auto *button = new QToolButton(bar);
    ViewStyle::setIdentifier(button, identifier);
    button->setText(text);
    if (!symbol.isEmpty()) {
        button->setIcon(Icons::symbol(symbol));
        button->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    } else {
        button->setToolButtonStyle(Qt::ToolButtonTextOnly);
    }
    button->setAutoRaise(true);
    return bar->addWidget(button);
}

QToolButton *buttonOf(QToolBar *bar, QAction *action)
{
    return qobject_cast<QToolButton *>(bar->widgetForAction(action));
}

} // namespace

ContentView::ContentView(TaskStore &store, QWidget *parent) : QWidget(parent), m_store(store)
{
    setObjectName(QStringLiteral("content-view"));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    m_toolBar = new QToolBar(this);
    m_toolBar->setObjectName(QStringLiteral("toolbar"));
    m_toolBar->setMovable(false);
    m_toolBar->setIconSize(QSize(16, 16));
    auto *spacer = new QWidget(m_toolBar);
    spacer->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    m_toolBar->addWidget(spacer);
    m_addAction =
        toolButton(m_toolBar, QStringLiteral("plus"), QStringLiteral("Add Task"), QStringLiteral("toolbar-add-task"));
    m_exportAction = toolButton(m_toolBar, QStringLiteral("square.and.arrow.up"), QStringLiteral("Export"),
                                QStringLiteral("toolbar-export"));
    m_deleteAction =
        toolButton(m_toolBar, QStringLiteral("trash"), QStringLiteral("Delete"), QStringLiteral("toolbar-delete"));
    m_doneAction = toolButton(m_toolBar, QString(), QStringLiteral("Done"), QStringLiteral("toolbar-done"));
    connect(buttonOf(m_toolBar, m_addAction), &QToolButton::clicked, this, &ContentView::addNewTask);
    connect(buttonOf(m_toolBar, m_exportAction), &QToolButton::clicked, this, &ContentView::exportSelected);
    connect(buttonOf(m_toolBar, m_deleteAction), &QToolButton::clicked, this, &ContentView::deleteSelected);
    connect(buttonOf(m_toolBar, m_doneAction), &QToolButton::clicked, this, &ContentView::leaveSelectMode);
    layout->addWidget(m_toolBar);

    m_splitter = new QSplitter(Qt::Horizontal, this);
    m_splitter->setObjectName(QStringLiteral("content-splitter"));
    m_splitter->setChildrenCollapsible(false);
    m_sidebar = new SidebarView(m_splitter);
    m_sidebar->setMinimumWidth(200);
    m_detailHost = new QWidget(m_splitter);
    m_detailHost->setObjectName(QStringLiteral("detail-host"));
    m_detailHost->setMinimumWidth(340);
    auto *detailLayout = new QVBoxLayout(m_detailHost);
    detailLayout->setContentsMargins(0, 0, 0, 0);
    m_splitter->addWidget(m_sidebar);
    m_splitter->addWidget(m_detailHost);
    m_splitter->setStretchFactor(0, 0);
    m_splitter->setStretchFactor(1, 1);
    m_splitter->setSizes({240, 560});
    layout->addWidget(m_splitter, 1);

    connect(m_sidebar, &SidebarView::searchTextChanged, this, &ContentView::setSearchText);
    // The list already shows what was clicked; only the detail follows.
    connect(m_sidebar, &SidebarView::selectionChanged, this, [this](const std::optional<SidebarSection> &selection) {
        if (selection != m_selection) {
            m_selection = selection;
            rebuildDetail();
            Q_EMIT selectionChanged();
        }
    });
    connect(m_sidebar, &SidebarView::tickToggled, this, &ContentView::toggleTick);
    connect(m_sidebar, &SidebarView::selectButtonClicked, this, [this] {
        if (m_selectMode) {
            selectAllOrNone();
        } else {
            enterSelectMode();
        }
    });
    connect(m_sidebar, &SidebarView::systemJobsToggled, this, [this] { setShowSystemJobs(!m_showSystemJobs); });
    connect(m_sidebar, &SidebarView::addClicked, this, &ContentView::addNewTask);
    connect(m_sidebar, &SidebarView::taskContextMenuRequested, this, [this](const QUuid &id, const QPoint &pos) {
        if (const std::optional<ScheduledTask> task = m_store.task(id)) {
            QMenu *menu = createContextMenu(*task, this);
            menu->setAttribute(Qt::WA_DeleteOnClose);
            menu->popup(pos);
        }
    });

    connect(&m_store, &TaskStore::tasksChanged, this, [this] {
        rebuildSidebar();
        rebuildDetail();
    });
    connect(&m_store, &TaskStore::lastErrorChanged, this, &ContentView::queueAlerts);
    connect(&m_store, &TaskStore::lastWarningChanged, this, &ContentView::queueAlerts);

    rebuildSidebar();
    rebuildDetail();
    updateToolBar();
}

ContentView::~ContentView()
{
    // The scan's thread owns nothing of the view's; it only has to end before its QThread goes.
    if (m_scanThread) {
        m_scanThread->wait();
    }
}

void ContentView::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    if (m_scan == Scan::notStarted) {
        // The jobs are read once the window has appeared: reading ~2,000 property lists first kept
        // the window from showing. The sidebar's list is what is certain to be painted.
        m_scan = Scan::waitingForPaint;
        m_sidebar->list()->viewport()->installEventFilter(this);
    }
    // An error from loading at start-up is waiting before anyone could see it.
    queueAlerts();
}

bool ContentView::eventFilter(QObject *watched, QEvent *event)
{
    if (m_scan == Scan::waitingForPaint && event->type() == QEvent::Paint && watched == m_sidebar->list()->viewport()) {
        m_scan = Scan::scheduled;
        watched->removeEventFilter(this);
        // Started once this paint has been delivered, not in the middle of it.
        QTimer::singleShot(0, this, &ContentView::startScan);
    }
    return QWidget::eventFilter(watched, event);
}

void ContentView::startScan()
{
    // On a thread of its own, so the window answers while ~2,000 files are parsed; the rows and
    // the timeline's system lane come when it is done.
    struct Found {
        QList<LaunchdJob> launchd;
        SystemdJobs systemd;
    };
    auto found = std::make_shared<Found>();
    const bool systemd = m_browsesSystemd;
    m_scanThread = QThread::create([found, systemd] {
        if (systemd) {
            found->systemd = SystemdJobs::scan();
        } else {
            found->launchd = LaunchdBrowser().scan();
        }
    });
    m_scanThread->setParent(this);
    connect(m_scanThread, &QThread::finished, this, [this, found, systemd] {
        m_scanThread->deleteLater();
        m_scanThread = nullptr;
        m_scan = Scan::done;
        if (systemd) {
            setSystemdJobs(found->systemd);
        } else {
            setSystemJobs(found->launchd);
        }
        Q_EMIT systemJobsScanned();
    });
    m_scan = Scan::running;
    m_scanThread->start(QThread::LowPriority);
}

bool ContentView::isScanningSystemJobs() const
{
    return m_scanThread && m_scanThread->isRunning();
}

void ContentView::scanSystemJobs()
{
    if (m_browsesSystemd) {
        setSystemdJobs(SystemdJobs::scan());
    } else {
        setSystemJobs(LaunchdBrowser().scan());
    }
}

void ContentView::setSystemJobs(const QList<LaunchdJob> &jobs)
{
    m_systemJobs = jobs;
    if (auto *timeline = qobject_cast<DayTimelineView *>(m_detail)) {
        timeline->setSystemJobs(m_systemJobs);
    }
    updateSidebarJobs();
}

void ContentView::setSystemdJobs(const SystemdJobs &jobs)
{
    m_systemdJobs = jobs;
    if (auto *timeline = qobject_cast<DayTimelineView *>(m_detail)) {
        timeline->setSystemdJobs(m_systemdJobs);
    }
    updateSidebarJobs();
}

void ContentView::updateSidebarJobs()
{
    m_sidebar->setSystemJobs(visibleSystemJobs(), int(m_systemJobs.size() + m_systemdJobs.size()), m_showSystemJobs,
                             visibleSystemdJobs());
    if (m_selection && m_selection->kind == SidebarSection::Kind::systemJob) {
        rebuildDetail();
    }
}

void ContentView::setSelection(const std::optional<SidebarSection> &selection)
{
    if (selection == m_selection) {
        return;
    }
    m_selection = selection;
    rebuildSidebar();
    rebuildDetail();
    Q_EMIT selectionChanged();
}

void ContentView::setShowSystemJobs(bool show)
{
    if (show != m_showSystemJobs) {
        m_showSystemJobs = show;
        rebuildSidebar();
    }
}

void ContentView::setSearchText(const QString &text)
{
    m_searchText = text;
    if (m_sidebar->filterField()->text() != text) {
        m_sidebar->filterField()->setText(text);
    }
    rebuildSidebar();
}

QList<ScheduledTask> ContentView::visibleTasks() const
{
    QList<ScheduledTask> tasks;
    for (const ScheduledTask &task : m_store.tasks()) {
        if (SidebarFilter::taskPasses(task, m_searchText)) {
            tasks << task;
        }
    }
    return tasks;
}

SystemdJobs ContentView::visibleSystemdJobs() const
{
    SystemdJobs jobs;
    for (const TimerUnit &timer : m_systemdJobs.timers) {
        if (SidebarFilter::jobPasses(timer, m_searchText)) {
            jobs.timers << timer;
        }
    }
    for (const CronEntry &entry : m_systemdJobs.cron) {
        if (SidebarFilter::jobPasses(entry, m_searchText)) {
            jobs.cron << entry;
        }
    }
    return jobs;
}

QList<LaunchdJob> ContentView::visibleSystemJobs() const
{
    QList<LaunchdJob> jobs;
    for (const LaunchdJob &job : m_systemJobs) {
        if (SidebarFilter::jobPasses(job, m_searchText)) {
            jobs << job;
        }
    }
    return jobs;
}

void ContentView::rebuildSidebar()
{
    SidebarView::State state;
    state.tasks = visibleTasks();
    state.totalTasks = int(m_store.tasks().size());
    state.jobs = visibleSystemJobs();
    state.systemdJobs = visibleSystemdJobs();
    state.totalJobs = int(m_systemJobs.size() + m_systemdJobs.size());
    state.selection = m_selection;
    state.selectMode = m_selectMode;
    state.ticked = m_ticked;
    state.showSystemJobs = m_showSystemJobs;
    // The zone once per rebuild: asking for it reads the system's zone files each time.
    state.glance = [&store = m_store, zone = QTimeZone::systemTimeZone()](const ScheduledTask &task) {
        return TaskGlance::status(store, task, QDateTime::currentDateTimeUtc(), zone);
    };
    m_sidebar->setState(state);
}

QWidget *ContentView::systemJobDetail(const QString &id)
{
    QWidget *detail = nullptr;
    const auto launchd =
        std::find_if(m_systemJobs.cbegin(), m_systemJobs.cend(), [&id](const LaunchdJob &job) { return job.id == id; });
    const auto timer = std::find_if(m_systemdJobs.timers.cbegin(), m_systemdJobs.timers.cend(),
                                    [&id](const TimerUnit &unit) { return unit.id == id; });
    const auto cron = std::find_if(m_systemdJobs.cron.cbegin(), m_systemdJobs.cron.cend(),
                                   [&id](const CronEntry &entry) { return entry.id == id; });
    if (launchd != m_systemJobs.cend()) {
        detail = new LaunchdJobDetailView(*launchd);
    } else if (timer != m_systemdJobs.timers.cend()) {
        detail = new TimerDetailView(*timer);
    } else if (cron != m_systemdJobs.cron.cend()) {
        detail = new CronEntryDetailView(*cron);
    }
    if (detail) {
        // A rescan that finds the same job keeps the page (and where it was scrolled to).
        detail->setProperty("systemJobId", id);
    }
    return detail;
}

void ContentView::rebuildDetail()
{
    QWidget *next = nullptr;
    const auto noSelection = [] {
        return new EmptyStateView(QStringLiteral("clock.badge.questionmark"), QStringLiteral("No Selection"),
                                  QStringLiteral("Select a task from the sidebar."));
    };

    if (!m_selection) {
        if (m_store.tasks().isEmpty()) {
            if (auto *empty = qobject_cast<EmptyStateView *>(m_detail); empty && empty->title() == u"No Tasks") {
                return;
            }
            auto *empty = new EmptyStateView(QStringLiteral("calendar.badge.clock"), QStringLiteral("No Tasks"),
                                             QStringLiteral("Schedule CLI commands to run automatically."),
                                             QStringLiteral("Add Task"));
            connect(empty, &EmptyStateView::actionTriggered, this, &ContentView::addNewTask);
            next = empty;
        } else {
            next = noSelection();
        }
    } else if (m_selection->kind == SidebarSection::Kind::task) {
        const std::optional<ScheduledTask> task = m_store.task(m_selection->taskId);
        if (!task) {
            next = noSelection();
        } else if (auto *detail = qobject_cast<TaskDetailView *>(m_detail); detail && detail->task().id == task->id) {
            detail->setTask(*task);
            return;
        } else {
            auto *view = new TaskDetailView(m_store, *task);
            const QUuid id = task->id;
            auto current = [this, id] { return m_store.task(id); };
            connect(view, &TaskDetailView::editRequested, this, [this, current] {
                if (const auto task = current()) {
                    editTask(*task);
                }
            });
            connect(view, &TaskDetailView::duplicateRequested, this, [this, current] {
                if (const auto task = current()) {
                    duplicateTask(*task);
                }
            });
            connect(view, &TaskDetailView::deleteRequested, this, [this, current] {
                if (const auto task = current()) {
                    deleteTask(*task);
                }
            });
            next = view;
        }
    } else if (m_selection->kind == SidebarSection::Kind::systemJob) {
        next = systemJobDetail(m_selection->jobId);
        if (!next) {
            next = noSelection();
        } else if (m_detail && m_detail->property("systemJobId") == next->property("systemJobId")) {
            delete next;
            return;
        }
    } else {
        if (qobject_cast<DayTimelineView *>(m_detail)) {
            return; // it follows the store by itself
        }
        auto *timeline = new DayTimelineView(m_store, m_systemJobs);
        if (!m_systemdJobs.isEmpty()) {
            timeline->setSystemdJobs(m_systemdJobs);
        }
        next = timeline;
    }

    if (m_detail) {
        // The old pane may be the sender of the signal that brought us here.
        m_detail->hide();
        m_detail->deleteLater();
    }
    m_detail = next;
    m_detailHost->layout()->addWidget(next);
    next->show();
}

void ContentView::updateToolBar()
{
    m_addAction->setVisible(!m_selectMode);
    m_exportAction->setVisible(m_selectMode);
    m_deleteAction->setVisible(m_selectMode);
    m_doneAction->setVisible(m_selectMode);
    m_exportAction->setEnabled(!m_ticked.isEmpty());
    m_deleteAction->setEnabled(!m_ticked.isEmpty());
}

QMenu *ContentView::createContextMenu(const ScheduledTask &task, QWidget *parent)
{
    auto *menu = new QMenu(parent);
    menu->setObjectName(QStringLiteral("task-context-menu"));
    connect(menu->addAction(QStringLiteral("Edit...")), &QAction::triggered, this, [this, task] { editTask(task); });
    connect(menu->addAction(QStringLiteral("Duplicate")), &QAction::triggered, this,
            [this, task] { duplicateTask(task); });
    QAction *runNow = menu->addAction(QStringLiteral("Run Now"));
    runNow->setEnabled(task.isEnabled);
    connect(runNow, &QAction::triggered, this, [this, task] { m_store.startNow(task); });
    connect(menu->addAction(task.isEnabled ? QStringLiteral("Disable") : QStringLiteral("Enable")), &QAction::triggered,
            this, [this, task] { toggleEnabled(task); });
    connect(menu->addAction(QStringLiteral("Delete")), &QAction::triggered, this, [this, task] { deleteTask(task); });
    return menu;
}

void ContentView::addNewTask()
{
    // One add sheet at a time, however often "New Task" is asked for. A sheet that was just
    // closed may not be deleted yet; it no longer counts.
    if (m_addSheet && m_addSheet->isVisible()) {
        m_addSheet->raise();
        return;
    }
    auto *sheet = new AddTaskView(m_store, this);
    sheet->setAttribute(Qt::WA_DeleteOnClose);
    sheet->setOnCreated([this](const ScheduledTask &created) { taskCreated(created); });
    m_addSheet = sheet;
    sheet->open();
}

void ContentView::editTask(const ScheduledTask &task)
{
    if (m_editSheet) {
        m_editSheet->close();
    }
    auto *sheet = new EditTaskView(m_store, task, this);
    sheet->setAttribute(Qt::WA_DeleteOnClose);
    m_editSheet = sheet;
    sheet->open();
}

void ContentView::taskCreated(const ScheduledTask &task)
{
    setSelection(SidebarSection::task(task.id));
}

void ContentView::duplicateTask(const ScheduledTask &task)
{
    if (const std::optional<ScheduledTask> copy = m_store.duplicate(task)) {
        setSelection(SidebarSection::task(copy->id));
    }
}

void ContentView::toggleEnabled(const ScheduledTask &task)
{
    m_store.setEnabled(!task.isEnabled, task.id);
}

void ContentView::deleteTask(const ScheduledTask &task)
{
    const QString answer = MessageBox::show(this, MessageBox::Style::warning, QStringLiteral("Delete Task"),
                                            u"Are you sure you want to delete \"" % task.name %
                                                u"\"? This will also remove the launchd job.",
                                            {{QStringLiteral("Cancel"), MessageBox::Role::cancel},
                                             {QStringLiteral("Delete"), MessageBox::Role::destructive}});
    if (answer != u"Delete") {
        return;
    }
    if (m_selection == SidebarSection::task(task.id)) {
        setSelection(std::nullopt);
    }
    m_store.deleteTask(task);
}

void ContentView::queueAlerts()
{
    if (m_alertsQueued) {
        return;
    }
    m_alertsQueued = true;
    // Shown once the store has finished the operation that reported the problem.
    QTimer::singleShot(0, this, &ContentView::showAlerts);
}

void ContentView::showAlerts()
{
    m_alertsQueued = false;
    if (m_alertShowing || !isVisible()) {
        return;
    }
    // One alert at a time: one that is already up (the import's summary, say) is answered first.
    if (QApplication::activeModalWidget()) {
        m_alertsQueued = true;
        QTimer::singleShot(kAlertRetryMilliseconds, this, &ContentView::showAlerts);
        return;
    }
    m_alertShowing = true;
    while (m_store.lastError() || m_store.lastWarning()) {
        if (const std::optional<QString> error = m_store.lastError()) {
            MessageBox::show(this, MessageBox::Style::critical, QStringLiteral("Error"), *error,
                             {{QStringLiteral("OK"), MessageBox::Role::accept}});
            // However the alert went away, the error has been seen.
            m_store.clearLastError();
            continue;
        }
        if (const std::optional<QString> warning = m_store.lastWarning()) {
            MessageBox::show(this, MessageBox::Style::warning, QStringLiteral("Notice"), *warning,
                             {{QStringLiteral("OK"), MessageBox::Role::accept}});
            m_store.clearLastWarning();
        }
    }
    m_alertShowing = false;
}
