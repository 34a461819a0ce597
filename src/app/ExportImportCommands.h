#pragma once

#include <QObject>
#include <QPointer>
#include <QWidget>

class QAction;
class QMenu;
class TaskStore;

// "Export Tasks…" and "Import Tasks…": every task to a file in the tasks-file form, and the tasks
// of such a file that are new by id into the store.
class ExportImportCommands : public QObject
{
    Q_OBJECT

public:
    explicit ExportImportCommands(TaskStore &store, QObject *parent = nullptr);

    // Adds the two items to `menu`, export first.
    void addTo(QMenu *menu);
    // Panels and alerts open over this window.
    void setDialogParent(QWidget *parent) { m_parent = parent; }

public Q_SLOTS:
    // Save panel with "Moxley-tasks.json" proposed; written atomically; no message either way.
    void exportTasks();
    // Open panel for one JSON file; "Import Failed" or "Import Complete".
    void importTasks();

private:
    TaskStore &m_store;
    QPointer<QWidget> m_parent;
};
