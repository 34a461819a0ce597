#include "ui/EditTaskView.h"

#include "store/TaskStore.h"
#include "ui/TaskFormView.h"
#include "ui/TaskSheet.h"

#include <QPushButton>

EditTaskView::EditTaskView(TaskStore &store, ScheduledTask task, QWidget *parent)
    : QDialog(parent), m_store(store), m_task(std::move(task)), m_form(new TaskFormView),
      m_save(new QPushButton(QStringLiteral("Save")))
{
    setWindowTitle(QStringLiteral("Edit Task"));
    setObjectName(QStringLiteral("edit-task"));
    m_form->setFields(TaskFormFields::fromTask(m_task));
    m_save->setObjectName(QStringLiteral("form-save"));
    TaskSheet::build(this, m_form, m_save);

    connect(m_form, &TaskFormView::fieldsChanged, this, &EditTaskView::updateButtons);
    connect(m_save, &QPushButton::clicked, this, &EditTaskView::save);
    updateButtons();
}

EditTaskView::~EditTaskView() = default;

ScheduledTask EditTaskView::buildTask() const
{
    // Onto the task as it is now: what the tool switched or changed while the sheet was open stays,
    // unless the sheet changed that field too.
    const ScheduledTask edited = m_form->fields().applyTo(m_task);
    const std::optional<ScheduledTask> current = m_store.task(m_task.id);
    return current ? withChanges(*current, m_task, edited) : edited;
}

void EditTaskView::save()
{
    if (!m_form->fields().canSubmit()) {
        return;
    }
    m_store.update(buildTask());
    accept();
}

void EditTaskView::updateButtons()
{
    m_save->setEnabled(m_form->fields().canSubmit());
}
