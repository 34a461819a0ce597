#pragma once

#include "model/ScheduledTask.h"

#include <QDialog>

#include <functional>

class DoctorSheet;
class QPushButton;
class TaskFormView;
class TaskStore;
class TestRunView;

// The sheet that creates a task: the form, then "Test Run", "Check", "Cancel" (Escape) and "Add Task"
// (Return). "Add Task" hands the new task to the store and then to `onCreated`.
class AddTaskView : public QDialog
{
    Q_OBJECT

public:
    explicit AddTaskView(TaskStore &store, QWidget *parent = nullptr);
    ~AddTaskView() override;

    TaskFormView *form() const { return m_form; }
    void setOnCreated(std::function<void(const ScheduledTask &)> onCreated) { m_onCreated = std::move(onCreated); }

    // The task the form describes now, with a fresh id.
    ScheduledTask buildTask() const;
    // "Add Task": store, callback, close.
    void addTask();
    // "Test Run" with the form's command and environment.
    TestRunView *openTestRun();
    // "Check" of the task the form describes, before it is added (so no job is asked about).
    DoctorSheet *openCheck();

private:
    void updateButtons();

    TaskStore &m_store;
    std::function<void(const ScheduledTask &)> m_onCreated;
    TaskFormView *m_form;
    QPushButton *m_testRun;
    QPushButton *m_check;
    QPushButton *m_add;
};
