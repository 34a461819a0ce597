#include "ui/AddTaskView.h"

#include "store/TaskStore.h"
#include "ui/Icons.h"
#include "ui/TaskFormView.h"
#include "ui/TestRunView.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

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
    resize(560, 720);

    auto *scroll = new QScrollArea;
    scroll->setWidget(m_form);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);

    auto *line = new QFrame;
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Sunken);

    m_testRun->setObjectName(QStringLiteral("form-test-run"));
    m_testRun->setAutoDefault(false);
    auto *cancel = new QPushButton(QStringLiteral("Cancel"));
    cancel->setObjectName(QStringLiteral("form-cancel"));
    cancel->setAutoDefault(false);
    m_add->setObjectName(QStringLiteral("form-add-task"));
    m_add->setAccessibleName(QStringLiteral("form-add-task"));
    m_add->setDefault(true);

    auto *bar = new QHBoxLayout;
    bar->setContentsMargins(16, 10, 16, 12);
    bar->setSpacing(8);
    bar->addWidget(m_testRun);
    bar->addStretch();
    bar->addWidget(cancel);
    bar->addWidget(m_add);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(scroll, 1);
    layout->addWidget(line);
    layout->addLayout(bar);

    connect(m_form, &TaskFormView::fieldsChanged, this, &AddTaskView::updateButtons);
    connect(m_testRun, &QPushButton::clicked, this, &AddTaskView::openTestRun);
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
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
