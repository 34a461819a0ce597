#include "ui/AddTaskView.h"

#include "store/TaskStore.h"
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
    : QDialog(parent),
      m_store(store),
      m_form(new TaskFormView),
      m_testRun(new QPushButton(Icons::symbol(QStringLiteral("play.fill")), QStringLiteral("Test Run"))),
      m_add(new QPushButton(QStringLiteral("Add Task")))
{
    setWindowTitle(QStringLiteral("New Task"));
    setObjectName(QStringLiteral("add-task"));
    m_testRun->setObjectName(QStringLiteral("form-test-run"));
    m_add->setObjectName(QStringLiteral("form-add-task"));
    m_add->setAccessibleName(QStringLiteral("form-add-task"));
    TaskSheet::build(this, m_form, m_add, m_testRun);

    connect(m_form, &TaskFormView::fieldsChanged, this, &AddTaskView::updateButtons);
    connect(m_testRun, &QPushButton::clicked, this, &AddTaskView::openTestRun);
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
    auto *run = new TestRunView(fields.command, noneIfEmpty(fields.workingDirectory),
                                noneIfEmpty(fields.envFilePath), fields.useLoginShell, this);
    run->setAttribute(Qt::WA_DeleteOnClose);
    run->open();
    return run;
}

void AddTaskView::updateButtons()
{
    const TaskFormFields &fields = m_form->fields();
    m_testRun->setEnabled(!fields.command.isEmpty());
    m_add->setEnabled(fields.canSubmit());
}
