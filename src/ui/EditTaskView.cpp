#include "ui/EditTaskView.h"

#include "store/TaskStore.h"
#include "ui/TaskFormView.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

EditTaskView::EditTaskView(TaskStore &store, ScheduledTask task, QWidget *parent)
    : QDialog(parent),
      m_store(store),
      m_task(std::move(task)),
      m_form(new TaskFormView),
      m_save(new QPushButton(QStringLiteral("Save")))
{
    setWindowTitle(QStringLiteral("Edit Task"));
    setObjectName(QStringLiteral("edit-task"));
    resize(560, 720);
    m_form->setFields(TaskFormFields::fromTask(m_task));

    auto *scroll = new QScrollArea;
    scroll->setWidget(m_form);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);

    auto *line = new QFrame;
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Sunken);

    auto *cancel = new QPushButton(QStringLiteral("Cancel"));
    cancel->setObjectName(QStringLiteral("form-cancel"));
    cancel->setAutoDefault(false);
    m_save->setObjectName(QStringLiteral("form-save"));
    m_save->setDefault(true);

    auto *bar = new QHBoxLayout;
    bar->setContentsMargins(16, 10, 16, 12);
    bar->setSpacing(8);
    bar->addStretch();
    bar->addWidget(cancel);
    bar->addWidget(m_save);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(scroll, 1);
    layout->addWidget(line);
    layout->addLayout(bar);

    connect(m_form, &TaskFormView::fieldsChanged, this, &EditTaskView::updateButtons);
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    connect(m_save, &QPushButton::clicked, this, &EditTaskView::save);
    updateButtons();
}

EditTaskView::~EditTaskView() = default;

ScheduledTask EditTaskView::buildTask() const
{
    return m_form->fields().applyTo(m_task);
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
