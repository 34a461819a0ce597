#pragma once

#include "launchd/LaunchdJob.h"
#include "model/ScheduledTask.h"
#include "systemd/SystemdBrowser.h"
#include "ui/SidebarSection.h"

#include <QDialog>
#include <QList>
#include <QPointer>
#include <QSet>
#include <QWidget>

#include <memory>
#include <optional>

class QAction;
class QMenu;
class QSplitter;
class QThread;
class QToolBar;
class SidebarView;
class TaskStore;

// The main window's content: the sidebar (timeline, the user's tasks, the system's jobs) and a
// detail pane for what it has selected, with a toolbar, select mode, bulk export and delete, the
// delete confirmations and the store's error and notice alerts. The window around it (title,
// menus) belongs to the application shell, which may move toolBar() into its own window.
class ContentView : public QWidget
{
    Q_OBJECT

public:
    explicit ContentView(TaskStore &store, QWidget *parent = nullptr);
    ~ContentView() override;

    TaskStore &store() const { return m_store; }
    std::optional<SidebarSection> selection() const { return m_selection; }
    void setSelection(const std::optional<SidebarSection> &selection);
    bool isSelectMode() const { return m_selectMode; }
    const QSet<QUuid> &selectedTaskIDs() const { return m_ticked; }
    const QList<LaunchdJob> &systemJobs() const { return m_systemJobs; }
    // On Linux with systemd: the machine's timers and cron lines instead of launchd jobs.
    const SystemdJobs &systemdJobs() const { return m_systemdJobs; }
    bool showSystemJobs() const { return m_showSystemJobs; }
    void setShowSystemJobs(bool show);
    QString searchText() const { return m_searchText; }

    // The tasks and jobs that pass the filter, as the sidebar lists them.
    QList<ScheduledTask> visibleTasks() const;
    QList<LaunchdJob> visibleSystemJobs() const;
    SystemdJobs visibleSystemdJobs() const;

    SidebarView *sidebar() const { return m_sidebar; }
    QToolBar *toolBar() const { return m_toolBar; }
    QWidget *detailWidget() const { return m_detail; }
    // The context menu of a task row: "Edit...", "Duplicate", "Disable"/"Enable", "Delete".
    QMenu *createContextMenu(const ScheduledTask &task, QWidget *parent);

public Q_SLOTS:
    // What the "New Task" command asks for: the add sheet (AddTaskView), opened window-modal.
    void addNewTask();
    // The edit sheet (EditTaskView) for the task.
    void editTask(const ScheduledTask &task);
    void duplicateTask(const ScheduledTask &task);
    void toggleEnabled(const ScheduledTask &task);
    // Asks for confirmation, then deletes.
    void deleteTask(const ScheduledTask &task);
    // A task the add sheet created becomes the selection.
    void taskCreated(const ScheduledTask &task);

    void enterSelectMode();
    void leaveSelectMode();
    // "Select All" or "Deselect All", whichever the header button shows.
    void selectAllOrNone();
    void toggleTick(const QUuid &id);
    void exportSelected();
    void deleteSelected();

    // Reads the job folders again, at once. The first reading starts right after the view's first
    // paint, on a thread of its own (systemJobsScanned tells when it is in).
    void scanSystemJobs();
    // The reading's thread is at work now.
    bool isScanningSystemJobs() const;

Q_SIGNALS:
    void selectionChanged();
    void systemJobsScanned();

protected:
    void showEvent(QShowEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void startScan();
    void setSystemJobs(const QList<LaunchdJob> &jobs);
    void setSystemdJobs(const SystemdJobs &jobs);
    void updateSidebarJobs();
    // The detail page of the system job with this id, or nothing when there is none.
    QWidget *systemJobDetail(const QString &id);
    void setSearchText(const QString &text);
    void rebuildSidebar();
    void rebuildDetail();
    void updateToolBar();
    void queueAlerts();
    void showAlerts();

    TaskStore &m_store;
    std::optional<SidebarSection> m_selection;
    QList<LaunchdJob> m_systemJobs;
    SystemdJobs m_systemdJobs;
    const bool m_browsesSystemd = browsesSystemdJobs();
    QString m_searchText;
    bool m_showSystemJobs = false;
    bool m_selectMode = false;
    QSet<QUuid> m_ticked;
    enum class Scan { notStarted, waitingForPaint, scheduled, running, done };
    Scan m_scan = Scan::notStarted;
    bool m_alertsQueued = false;
    bool m_alertShowing = false;

    QToolBar *m_toolBar;
    QAction *m_addAction;
    QAction *m_exportAction;
    QAction *m_deleteAction;
    QAction *m_doneAction;
    QSplitter *m_splitter;
    SidebarView *m_sidebar;
    QWidget *m_detailHost;
    QWidget *m_detail = nullptr;
    QPointer<QDialog> m_addSheet;
    QPointer<QDialog> m_editSheet;
    QThread *m_scanThread = nullptr;
};
