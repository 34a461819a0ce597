// Select mode: ticking tasks in the sidebar, then exporting or deleting them together.
#include "ui/ContentView.h"

#include "model/TaskMigration.h"
#include "store/TaskStore.h"
#include "ui/FileDialog.h"
#include "ui/MessageBox.h"
#include "ui/SidebarView.h"

#include <QApplication>
#include <QLineEdit>
#include <QListWidget>
#include <QSaveFile>
#include <QToolBar>

void ContentView::enterSelectMode()
{
    m_selectMode = true;
    m_ticked.clear();
    m_selection.reset();
    rebuildSidebar();
    rebuildDetail();
    updateToolBar();
    Q_EMIT selectionChanged();
}

void ContentView::leaveSelectMode()
{
    m_selectMode = false;
    m_ticked.clear();
    // "Done" hides itself; focus goes back to the list rather than on to the filter.
    if (m_toolBar->isAncestorOf(QApplication::focusWidget())) {
        m_sidebar->list()->setFocus(Qt::OtherFocusReason);
    }
    rebuildSidebar();
    updateToolBar();
}

void ContentView::selectAllOrNone()
{
    if (!m_selectMode) {
        return;
    }
    const QList<ScheduledTask> visible = visibleTasks();
    if (m_ticked.size() != visible.size()) {
        m_ticked.clear();
        for (const ScheduledTask &task : visible) {
            m_ticked.insert(task.id);
        }
    } else {
        m_ticked.clear();
    }
    m_sidebar->setTicked(m_ticked);
    updateToolBar();
}

void ContentView::toggleTick(const QUuid &id)
{
    if (!m_selectMode) {
        return;
    }
    if (!m_ticked.remove(id)) {
        m_ticked.insert(id);
    }
    m_sidebar->setTicked(m_ticked);
    updateToolBar();
}

void ContentView::exportSelected()
{
    if (m_ticked.isEmpty()) {
        return;
    }
    const QString path = FileDialog::getSaveFileName(
        this, QStringLiteral("Export Tasks"), QStringLiteral("Moxley-tasks.json"), QStringLiteral("JSON (*.json)"));
    if (path.isEmpty()) {
        return;
    }
    QList<ScheduledTask> chosen;
    for (const ScheduledTask &task : m_store.tasks()) {
        if (m_ticked.contains(task.id)) {
            chosen << task;
        }
    }
    // A failed write is not reported, as with the full export.
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly)) {
        file.write(TaskMigration::encode(chosen));
        file.commit();
    }
}

void ContentView::deleteSelected()
{
    if (m_ticked.isEmpty()) {
        return;
    }
    const QString count = QString::number(m_ticked.size());
    const QString answer = MessageBox::show(this, MessageBox::Style::warning, u"Delete " % count % u" Tasks",
                                            u"Are you sure you want to delete " % count %
                                                u" tasks? This will also remove their launchd jobs.",
                                            {{QStringLiteral("Cancel"), MessageBox::Role::cancel},
                                             {QStringLiteral("Delete"), MessageBox::Role::destructive}});
    if (answer != u"Delete") {
        return;
    }
    if (m_selection && m_selection->kind == SidebarSection::Kind::task && m_ticked.contains(m_selection->taskId)) {
        m_selection.reset();
        Q_EMIT selectionChanged();
    }
    const QSet<QUuid> ids = m_ticked;
    m_ticked.clear();
    m_selectMode = false;
    m_store.deleteTasks(ids);
    rebuildSidebar();
    rebuildDetail();
    updateToolBar();
}
