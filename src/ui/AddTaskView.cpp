#include "ui/AddTaskView.h"

#include "doctor/DoctorChecks.h"
#include "store/TaskStore.h"
#include "ui/DoctorSheet.h"
#include "ui/Icons.h"
#include "ui/TaskFormView.h"
#include "ui/TaskSheet.h"
#include "ui/TestRunView.h"

#include <QPushButton>

namespace {
std::optional<QString> noneIfEmpty(const QString &text)
{
    return text.isEmpty() ? std::nullopt : std::optional<QString>(text);
}
} // namespace

AddTaskView::AddTaskView(TaskStore &store, QWidget *parent)
    : QDialog(parent), m_store(store), m_form(new TaskFormView),
      m_testRun(new QPushButton(Icons::symbol(QStringLiteral("play.fill")), QStringLiteral("Test Run"))),
      m_check(new QPushButton(Icons::symbol(QStringLiteral("checkmark.circle")), QStringLiteral("Check"))),
      m_add(new QPushButton(QStringLiteral("Add Task")))
{
    setWindowTitle(QStringLiteral("New Task"));
    setObjectName(QStringLiteral("add-task"));
    m_testRun->setObjectName(QStringLiteral("form-test-run"));
    m_check->setObjectName(QStringLiteral("form-check"));
    m_check->setToolTip(QStringLiteral("Check that the command will run when scheduled as it does in a Test Run."));
    m_add->setObjectName(QStringLiteral("form-add-task"));
    m_add->setAccessibleName(QStringLiteral("form-add-task"));
    TaskSheet::build(this, m_form, m_add, {m_testRun, m_check});

    connect(m_form, &TaskFormView::fieldsChanged, this, &AddTaskView::updateButtons);
    connect(m_testRun, &QPushButton::clicked, this, &AddTaskView::openTestRun);
    connect(m_check, &QPushButton::clicked, this, &AddTaskView::openCheck);
    connect(m_add, &QPushButton::clicked, this, &AddTaskView::addTask);
    updateButtons();
    m_form->findChild<QWidget *>(QStringLiteral("form-task-name"))->setFocus();
}

AddTaskView::~AddTaskView() = default;

ScheduledTask AddTaskView::buildTask() const
{
    return m_form->fields().newTask();
}

void AddTaskView::addTask()
{
    if (!m_form->fields().canSubmit()) {
        return;
    }
    const ScheduledTask task = buildTask();
    m_store.add(task);
    if (m_onCreated) {
        m_onCreated(task);
    }
    accept();
}

TestRunView *AddTaskView::openTestRun()
{
    const TaskFormFields &fields = m_form->fields();
    if (fields.command.isEmpty()) {
        return nullptr;
    }
    auto *run = new TestRunView(fields.command, noneIfEmpty(fields.workingDirectory), noneIfEmpty(fields.envFilePath),
                                fields.useLoginShell, this);
    run->setAttribute(Qt::WA_DeleteOnClose);
    run->open();
    return run;
}

DoctorSheet *AddTaskView::openCheck()
{
    if (m_form->fields().command.isEmpty()) {
        return nullptr;
    }
    ScheduledTask task = buildTask();
    task.isEnabled = false;
    auto *sheet =
        new DoctorSheet(DoctorChecks::instance(), task, m_store.sharedScheduler(), m_store.launchdService(), this);
    sheet->setAttribute(Qt::WA_DeleteOnClose);
    sheet->open();
    return sheet;
}

void AddTaskView::updateButtons()
{
    const TaskFormFields &fields = m_form->fields();
    m_testRun->setEnabled(!fields.command.isEmpty());
    m_check->setEnabled(!fields.command.isEmpty());
    m_add->setEnabled(fields.canSubmit());
}
