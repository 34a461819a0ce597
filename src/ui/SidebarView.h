#pragma once

#include "launchd/LaunchdJob.h"
#include "model/ScheduledTask.h"
#include "systemd/SystemdBrowser.h"
#include "timeline/TaskStatus.h"
#include "ui/SidebarRows.h"
#include "ui/SidebarSection.h"

#include <QHash>
#include <QList>
#include <QSet>
#include <QWidget>

#include <functional>

#include <optional>

class QLineEdit;
class QListWidget;
class QListWidgetItem;
class QPushButton;
class QToolButton;
class QLabel;
class QMouseEvent;

// The sidebar's looks: the filter field, the list (timeline entry, "My Tasks", "System Jobs") and the
// add button at the bottom. It holds no state of its own: ContentView hands it everything to show
// and hears back what the user did.
//
// Task and job rows are drawn by the list (SidebarRows), not made of widgets: with a thousand tasks
// and as many system jobs, widgets per row (and measuring their labels) were most of the start-up
// time. What a row shows is worked out when it is first drawn. Rows of one kind share one height.
class SidebarView : public QWidget
{
    Q_OBJECT

public:
    struct State {
        QList<ScheduledTask> tasks; // those that pass the filter, in store order
        int totalTasks = 0;
        QList<LaunchdJob> jobs;  // those that pass the filter
        SystemdJobs systemdJobs; // timers and cron lines that pass the filter, listed after `jobs`
        int totalJobs = 0;
        std::optional<SidebarSection> selection;
        bool selectMode = false;
        QSet<QUuid> ticked;
        bool showSystemJobs = false;
        // A task's last run and missed runs for its row's marks, asked for when the row comes into
        // sight; none: no marks.
        std::function<TaskStatus::Status(const ScheduledTask &)> glance;
    };

    explicit SidebarView(QWidget *parent = nullptr);

    void setState(const State &state);
    // New system jobs, or the section opened or closed. While it stays collapsed only the header's
    // count changes; otherwise the list is rebuilt, which costs its items only.
    void setSystemJobs(const QList<LaunchdJob> &jobs, int totalJobs, bool showSystemJobs,
                       const SystemdJobs &systemdJobs = {});
    // Updates the tick marks and the header button without rebuilding the rows.
    void setTicked(const QSet<QUuid> &ticked);

    QLineEdit *filterField() const { return m_filter; }
    QListWidget *list() const { return m_list; }
    QPushButton *addButton() const { return m_add; }
    QPushButton *selectButton() const { return m_selectButton; }
    QToolButton *systemJobsDisclosure() const { return m_disclosure; }
    QLabel *systemJobsCount() const { return m_jobCount; }
    QListWidgetItem *item(const SidebarSection &section) const;
    // What the list's row `row` shows, if it is a task's or a job's (worked out now if it was not yet).
    const SidebarRows::TaskLook *taskLookAt(int row) const;
    const SidebarRows::JobLook *jobLookAt(int row) const;
    // The same for a listed task or job; none when it is not listed.
    std::optional<SidebarRows::TaskLook> taskLook(const QUuid &id) const;
    std::optional<SidebarRows::JobLook> jobLook(const QString &id) const;

Q_SIGNALS:
    void searchTextChanged(const QString &text);
    void selectionChanged(const std::optional<SidebarSection> &selection);
    void tickToggled(const QUuid &id);
    void selectButtonClicked();
    void systemJobsToggled();
    void taskContextMenuRequested(const QUuid &id, const QPoint &globalPos);
    void addClicked();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void addSectionGap();
    QListWidgetItem *addRow(QWidget *widget, Qt::ItemFlags flags, const std::optional<SidebarSection> &section);
    // A task or job row, drawn by the list; `index` is its place in m_state.tasks, or in
    // m_state.jobs followed by the timers and cron lines of m_state.systemdJobs.
    void addListedRow(const QSize &sizeHint, Qt::ItemFlags flags, const SidebarSection &section, int index);
    void addJobRows();
    QWidget *tasksHeader();
    QWidget *systemJobsHeader();
    void updateSelectButton();
    bool filterMouse(QMouseEvent *event);
    void onItemClicked(QListWidgetItem *item);
    void onSelectionChanged();

    State m_state;
    bool m_rebuilding = false;
    QLineEdit *m_filter;
    QListWidget *m_list;
    QPushButton *m_add;
    QPushButton *m_selectButton = nullptr;
    QToolButton *m_disclosure = nullptr;
    QLabel *m_jobCount = nullptr;
    QListWidgetItem *m_jobsHeaderItem = nullptr;
    QListWidgetItem *m_pressedItem = nullptr; // a row we took a left press on, not the list
    // The headers' widgets go in only after all rows of a rebuild are in: inserting a row into a
    // list that already holds widgets moves every one of them.
    QList<std::pair<QListWidgetItem *, QWidget *>> m_pendingWidgets;
    // Keyed by the row's place in m_state (tasks; jobs, then timers and cron lines).
    mutable QHash<int, SidebarRows::TaskLook> m_taskLooks;
    mutable QHash<int, SidebarRows::JobLook> m_jobLooks;
};
