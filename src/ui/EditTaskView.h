#pragma once

#include "model/ScheduledTask.h"

#include <QDialog>

class QPushButton;
class TaskFormView;
class TaskStore;

// The sheet that edits a task: the form filled from the task, then "Cancel" (Escape) and "Save"
// (Return). "Save" keeps the task's id, enabled state and logs and hands it to the store.
class EditTaskView : public QDialog
{
    Q_OBJECT

public:
    EditTaskView(TaskStore &store, ScheduledTask task, QWidget *parent = nullptr);
    ~EditTaskView() override;

    TaskFormView *form() const { return m_form; }
    const ScheduledTask &originalTask() const { return m_task; }

    // The task as it would be saved now.
    ScheduledTask buildTask() const;
    // "Save": store, close.
    void save();

private:
    void updateButtons();

    TaskStore &m_store;
    const ScheduledTask m_task;
    TaskFormView *m_form;
    QPushButton *m_save;
};
