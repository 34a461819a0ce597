#pragma once

#include "launchd/LaunchdJob.h"
#include "model/ScheduledTask.h"
#include "ui/SidebarSection.h"

#include <QList>
#include <QSet>
#include <QWidget>

#include <optional>

class QLineEdit;
class QListWidget;
class QListWidgetItem;
class QPushButton;
class QToolButton;
class QLabel;

// The sidebar's looks: the filter field, the list (timeline entry, "My Tasks", "System Jobs") and the
// add button at the bottom. It holds no state of its own: ContentView hands it everything to show
// and hears back what the user did.
class SidebarView : public QWidget
{
    Q_OBJECT

public:
    struct State {
        QList<ScheduledTask> tasks; // those that pass the filter, in store order
        int totalTasks = 0;
        QList<LaunchdJob> jobs; // those that pass the filter
        int totalJobs = 0;
        std::optional<SidebarSection> selection;
        bool selectMode = false;
        QSet<QUuid> ticked;
        bool showSystemJobs = false;
    };

    explicit SidebarView(QWidget *parent = nullptr);

    void setState(const State &state);
    // Updates the tick marks and the header button without rebuilding the rows.
    void setTicked(const QSet<QUuid> &ticked);

    QLineEdit *filterField() const { return m_filter; }
    QListWidget *list() const { return m_list; }
    QPushButton *addButton() const { return m_add; }
    QPushButton *selectButton() const { return m_selectButton; }
    QToolButton *systemJobsDisclosure() const { return m_disclosure; }
    QLabel *systemJobsCount() const { return m_jobCount; }
    // The row widget showing `section`, if it is listed.
    QWidget *rowWidget(const SidebarSection &section) const;
    QListWidgetItem *item(const SidebarSection &section) const;

Q_SIGNALS:
    void searchTextChanged(const QString &text);
    void selectionChanged(const std::optional<SidebarSection> &selection);
    void tickToggled(const QUuid &id);
    void selectButtonClicked();
    void systemJobsToggled();
    void taskContextMenuRequested(const QUuid &id, const QPoint &globalPos);
    void addClicked();

private:
    void addSectionGap();
    QListWidgetItem *addRow(QWidget *widget, Qt::ItemFlags flags, const std::optional<SidebarSection> &section);
    // Rows get their widgets once every row is in: inserting a row into a list that already holds
    // row widgets moves all of them, so adding a thousand one by one took seconds.
    QList<std::pair<QListWidgetItem *, QWidget *>> m_pendingWidgets;
    QWidget *tasksHeader();
    QWidget *systemJobsHeader();
    void updateSelectButton();
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
};
