#pragma once

// What the ContentView tests share: a real window over a real store in a sandbox, and the ways a
// test reads the sidebar, menus and tool bar.

#include "UiWorld.h"

#include "launchd/LaunchdBrowser.h"
#include "ui/AddTaskView.h"
#include "ui/ContentView.h"
#include "ui/DayTimelineView.h"
#include "ui/EditTaskView.h"
#include "ui/EmptyStateView.h"
#include "ui/FileDialog.h"
#include "ui/LaunchdJobDetailView.h"
#include "ui/SidebarView.h"
#include "ui/TaskDetailView.h"

#include <QAction>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QToolBar>
#include <QToolButton>

namespace ContentViewHarness {

inline QStringList sidebarTaskNames(const ContentView &view)
{
    QStringList names;
    for (int i = 0; i < view.sidebar()->list()->count(); ++i) {
        if (const SidebarRows::TaskLook *look = view.sidebar()->taskLookAt(i)) {
            names << look->name;
        }
    }
    return names;
}

inline QStringList sidebarJobLabels(const ContentView &view)
{
    QStringList labels;
    for (int i = 0; i < view.sidebar()->list()->count(); ++i) {
        if (const SidebarRows::JobLook *look = view.sidebar()->jobLookAt(i)) {
            labels << look->title;
        }
    }
    return labels;
}

inline void clickRow(const ContentView &view, const SidebarSection &section)
{
    QListWidget *list = view.sidebar()->list();
    QListWidgetItem *item = view.sidebar()->item(section);
    QVERIFY2(item, "row not listed");
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(item).center());
}

// The rows of the list that are widgets (the timeline and the headers; tasks and jobs are drawn).
inline int widgetRows(const ContentView &view)
{
    int count = 0;
    QListWidget *list = view.sidebar()->list();
    for (int i = 0; i < list->count(); ++i) {
        count += list->itemWidget(list->item(i)) != nullptr;
    }
    return count;
}

inline QStringList jobKeys(const QList<LaunchdJob> &jobs)
{
    QStringList keys;
    for (const LaunchdJob &job : jobs) {
        keys << job.id % u'|' % job.label % u'|' % LaunchdJob::sourceTitle(job.source) % u'|' % job.scheduleSummary();
    }
    return keys;
}

inline QStringList menuTexts(QMenu *menu)
{
    QStringList texts;
    for (QAction *action : menu->actions()) {
        texts << action->text();
    }
    return texts;
}

inline void triggerMenu(ContentView &view, const ScheduledTask &task, const QString &text)
{
    std::unique_ptr<QMenu> menu(view.createContextMenu(task, &view));
    for (QAction *action : menu->actions()) {
        if (action->text() == text) {
            action->trigger();
            return;
        }
    }
    QFAIL(qPrintable(u"no menu item " % text));
}

QToolButton *toolButton(const ContentView &view, const QString &name)
{
    return view.toolBar()->findChild<QToolButton *>(name);
}

inline bool toolVisible(const ContentView &view, const QString &name)
{
    QCoreApplication::processEvents(); // the tool bar lays itself out on a posted request
    return toolButton(view, name)->isVisibleTo(view.toolBar());
}

inline QString emptyStateTitle(const ContentView &view)
{
    auto *empty = qobject_cast<EmptyStateView *>(view.detailWidget());
    return empty ? empty->title() : QStringLiteral("<no empty state>");
}

// A window over the store of a fresh sandbox; the test classes take it as a base, next to QObject.
struct Fixture {
    std::unique_ptr<UiWorld> world;
    std::unique_ptr<TaskStore> store;
    std::unique_ptr<ContentView> view;

    void setUp() { world = std::make_unique<UiWorld>(); }
    void tearDown()
    {
        view.reset();
        store.reset();
        flushDeletes();
        world.reset();
    }

    // Writes the tasks, opens the store and shows the window over it.
    void open(const QList<ScheduledTask> &tasks = {})
    {
        world->writeTasks(tasks);
        store = world->openStore();
        view = std::make_unique<ContentView>(*store);
        view->resize(900, 600);
        view->show();
        QVERIFY(QTest::qWaitForWindowExposed(view.get()));
        flushDeletes();
    }
};

} // namespace ContentViewHarness
