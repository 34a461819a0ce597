#include "UiWorld.h"

#include "launchd/LaunchdBrowser.h"
#include "ui/AddTaskView.h"
#include "ui/ContentView.h"
#include "ui/DayTimelineView.h"
#include "ui/EditTaskView.h"
#include "ui/EmptyStateView.h"
#include "ui/FileDialog.h"
#include "ui/LaunchdJobDetailView.h"
#include "ui/LaunchdJobRow.h"
#include "ui/SidebarView.h"
#include "ui/TaskDetailView.h"
#include "ui/TaskRowView.h"

#include <QAction>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QToolBar>
#include <QToolButton>

using namespace Qt::StringLiterals;

namespace {

QStringList sidebarTaskNames(const ContentView &view)
{
    QStringList names;
    QListWidget *list = view.sidebar()->list();
    for (int i = 0; i < list->count(); ++i) {
        if (auto *row = qobject_cast<TaskRowView *>(list->itemWidget(list->item(i)))) {
            names << row->task().name;
        }
    }
    return names;
}

QStringList sidebarJobLabels(const ContentView &view)
{
    QStringList labels;
    QListWidget *list = view.sidebar()->list();
    for (int i = 0; i < list->count(); ++i) {
        if (auto *row = qobject_cast<LaunchdJobRow *>(list->itemWidget(list->item(i)))) {
            labels << row->job().label;
        }
    }
    return labels;
}

void clickRow(const ContentView &view, const SidebarSection &section)
{
    QListWidget *list = view.sidebar()->list();
    QListWidgetItem *item = view.sidebar()->item(section);
    QVERIFY2(item, "row not listed");
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(item).center());
}

// The rows of the list that have been given their widget so far.
QList<TaskRowView *> taskRowsMade(const ContentView &view)
{
    QList<TaskRowView *> rows;
    QListWidget *list = view.sidebar()->list();
    for (int i = 0; i < list->count(); ++i) {
        if (auto *row = qobject_cast<TaskRowView *>(list->itemWidget(list->item(i)))) {
            rows << row;
        }
    }
    return rows;
}

QStringList jobKeys(const QList<LaunchdJob> &jobs)
{
    QStringList keys;
    for (const LaunchdJob &job : jobs) {
        keys << job.id % u'|' % job.label % u'|' % LaunchdJob::sourceTitle(job.source) % u'|' % job.scheduleSummary();
    }
    return keys;
}

QStringList menuTexts(QMenu *menu)
{
    QStringList texts;
    for (QAction *action : menu->actions()) {
        texts << action->text();
    }
    return texts;
}

void triggerMenu(ContentView &view, const ScheduledTask &task, const QString &text)
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

bool toolVisible(const ContentView &view, const QString &name)
{
    QCoreApplication::processEvents(); // the tool bar lays itself out on a posted request
    return toolButton(view, name)->isVisibleTo(view.toolBar());
}

QString emptyStateTitle(const ContentView &view)
{
    auto *empty = qobject_cast<EmptyStateView *>(view.detailWidget());
    return empty ? empty->title() : QStringLiteral("<no empty state>");
}

} // namespace

class ContentViewTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<UiWorld> world;
    std::unique_ptr<TaskStore> store;
    std::unique_ptr<ContentView> view;

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

private Q_SLOTS:
    void init() { world = std::make_unique<UiWorld>(); }
    void cleanup()
    {
        view.reset();
        store.reset();
        flushDeletes();
        world.reset();
    }

    void identifiers_areObjectAndAccessibleNames()
    {
        open();
        for (const QString &name : {u"toolbar-add-task"_s, u"sidebar-add-task"_s}) {
            QWidget *widget = view->findChild<QWidget *>(name);
            QVERIFY2(widget, qPrintable(name));
            QCOMPARE(widget->accessibleName(), name);
        }
        QCOMPARE(toolButton(*view, u"toolbar-add-task"_s)->text(), u"Add Task"_s);
        QCOMPARE(view->sidebar()->filterField()->placeholderText(), u"Filter..."_s);
        QCOMPARE(view->sidebar()->findChild<QLabel *>(u"sidebar-timeline"_s)->text(), u"Timeline"_s);
    }

    void noTasks_showsNoTasksAndAddYourFirstTask()
    {
        open();
        QCOMPARE(emptyStateTitle(*view), u"No Tasks"_s);
        auto *empty = qobject_cast<EmptyStateView *>(view->detailWidget());
        QCOMPARE(empty->findChild<QLabel *>(u"empty-state-description"_s)->text(),
                 u"Schedule CLI commands to run automatically."_s);
        QCOMPARE(empty->findChild<QLabel *>(u"empty-state-icon"_s)->accessibleName(), u"calendar.badge.clock"_s);
        QCOMPARE(empty->actionButton()->text(), u"Add Task"_s);
        QCOMPARE(view->sidebar()->addButton()->text(), u"Add your first task"_s);
    }

    void addingTheFirstTask_selectsItAndRenamesTheButton()
    {
        open();
        QTest::mouseClick(view->sidebar()->addButton(), Qt::LeftButton);
        auto *sheet = view->findChild<AddTaskView *>();
        QVERIFY(sheet);
        QTRY_VERIFY(sheet->isVisible());
        QTest::keyClicks(sheet->findChild<QLineEdit *>(u"form-task-name"_s), u"Nightly build"_s);
        QTest::keyClicks(sheet->findChild<QPlainTextEdit *>(u"form-task-command"_s), u"npm run build"_s);
        QTest::mouseClick(sheet->findChild<QPushButton *>(u"form-add-task"_s), Qt::LeftButton);
        QCOMPARE(store->tasks().size(), 1);
        const ScheduledTask created = store->tasks().first();
        QCOMPARE(created.name, u"Nightly build"_s);
        QCOMPARE(view->selection(), std::optional(SidebarSection::task(created.id)));
        auto *detail = qobject_cast<TaskDetailView *>(view->detailWidget());
        QVERIFY(detail);
        QCOMPARE(detail->task().id, created.id);
        QCOMPARE(view->sidebar()->addButton()->text(), u"Add Task"_s);
        QCOMPARE(sidebarTaskNames(*view), QStringList{u"Nightly build"_s});
    }

    void toolbarAndNewTaskCommand_openTheAddSheet()
    {
        open({UiWorld::task(u"a"_s, u"true"_s)});
        QTest::mouseClick(toolButton(*view, u"toolbar-add-task"_s), Qt::LeftButton);
        QTRY_VERIFY(view->findChild<AddTaskView *>() && view->findChild<AddTaskView *>()->isVisible());
        // Asking again while it is open keeps the one sheet.
        view->addNewTask();
        QCOMPARE(view->findChildren<AddTaskView *>().size(), 1);
        // Asked for right after Cancel, before the closed sheet is gone, a new sheet shows.
        AddTaskView *first = view->findChild<AddTaskView *>();
        first->reject();
        view->addNewTask();
        const auto newSheetShows = [this, first] {
            const QList<AddTaskView *> sheets = view->findChildren<AddTaskView *>();
            return std::any_of(sheets.cbegin(), sheets.cend(),
                               [first](AddTaskView *sheet) { return sheet != first && sheet->isVisible(); });
        };
        QTRY_VERIFY(newSheetShows());
    }

    void tasksButNoSelection_showsNoSelection()
    {
        open({UiWorld::task(u"a"_s, u"true"_s)});
        QCOMPARE(emptyStateTitle(*view), u"No Selection"_s);
        auto *empty = qobject_cast<EmptyStateView *>(view->detailWidget());
        QCOMPARE(empty->findChild<QLabel *>(u"empty-state-description"_s)->text(), u"Select a task from the sidebar."_s);
        QCOMPARE(empty->findChild<QLabel *>(u"empty-state-icon"_s)->accessibleName(), u"clock.badge.questionmark"_s);
        QVERIFY(!empty->actionButton());
    }

    void clickingARow_showsItsDetail_andAVanishedTaskShowsNoSelection()
    {
        const ScheduledTask a = UiWorld::task(u"Alpha"_s, u"true"_s);
        const ScheduledTask b = UiWorld::task(u"Beta"_s, u"false"_s);
        open({a, b});
        clickRow(*view, SidebarSection::task(b.id));
        QCOMPARE(view->selection(), std::optional(SidebarSection::task(b.id)));
        QCOMPARE(qobject_cast<TaskDetailView *>(view->detailWidget())->task().name, u"Beta"_s);
        view->setSelection(SidebarSection::task(QUuid::createUuid()));
        QCOMPARE(emptyStateTitle(*view), u"No Selection"_s);
        view->setSelection(SidebarSection::systemJob(u"/nowhere.plist"_s));
        QCOMPARE(emptyStateTitle(*view), u"No Selection"_s);
        clickRow(*view, SidebarSection::timeline());
        QVERIFY(qobject_cast<DayTimelineView *>(view->detailWidget()));
    }

    void filter_matchesNameThenCommand_caseInsensitively()
    {
        open({UiWorld::task(u"Deploy site"_s, u"npm run build && rsync"_s), UiWorld::task(u"Backup"_s, u"tar czf"_s),
              UiWorld::task(u"Ping"_s, u"ping -c1 example.org"_s)});
        QTest::keyClicks(view->sidebar()->filterField(), u"BUILD"_s);
        QCOMPARE(sidebarTaskNames(*view), QStringList{u"Deploy site"_s});
        view->sidebar()->filterField()->clear();
        QTest::keyClicks(view->sidebar()->filterField(), u"back"_s);
        QCOMPARE(sidebarTaskNames(*view), QStringList{u"Backup"_s});
        view->sidebar()->filterField()->clear();
        // Used as typed: a trailing blank is part of the text.
        QTest::keyClicks(view->sidebar()->filterField(), u"ping "_s);
        QCOMPARE(sidebarTaskNames(*view), QStringList{u"Ping"_s});
        view->sidebar()->filterField()->clear();
        QCOMPARE(sidebarTaskNames(*view), (QStringList{u"Deploy site"_s, u"Backup"_s, u"Ping"_s}));
    }

    void systemJobs_scannedOnShow_countedInFull_andFiltered()
    {
        world->writeJob(world->sandbox.launchAgentsDir(), u"com.example.agent"_s,
                        "<key>ProgramArguments</key><array><string>/usr/bin/backup</string><string>--all</string></array>"
                        "<key>StartInterval</key><integer>600</integer>");
        world->writeJob(world->globalAgentsDir(), u"org.other.noprogram"_s);
        world->writeJob(world->globalDaemonsDir(), u"com.moxley.task.ABC"_s); // ours: never listed
        world->writeTasks({});
        store = world->openStore();
        view = std::make_unique<ContentView>(*store);
        QVERIFY(view->systemJobs().isEmpty()); // nothing is read before the view is shown
        view->show();
        QVERIFY(QTest::qWaitForWindowExposed(view.get()));
        // Read once the view has been painted, off the GUI thread.
        QTRY_COMPARE(view->systemJobs().size(), 2);
        QCOMPARE(view->sidebar()->systemJobsCount()->text(), u"2"_s);
        QVERIFY(sidebarJobLabels(*view).isEmpty()); // collapsed at start
        QTest::mouseClick(view->sidebar()->systemJobsDisclosure(), Qt::LeftButton);
        QVERIFY(view->showSystemJobs());
        QCOMPARE(sidebarJobLabels(*view), (QStringList{u"com.example.agent"_s, u"org.other.noprogram"_s}));

        QTest::keyClicks(view->sidebar()->filterField(), u"unknown"_s);
        QCOMPARE(sidebarJobLabels(*view), QStringList{u"org.other.noprogram"_s});
        QCOMPARE(view->sidebar()->systemJobsCount()->text(), u"2"_s); // all of them, not the filtered ones
        view->sidebar()->filterField()->clear();
        QTest::keyClicks(view->sidebar()->filterField(), u"BACKUP --ALL"_s);
        QCOMPARE(sidebarJobLabels(*view), QStringList{u"com.example.agent"_s});
        view->sidebar()->filterField()->clear();

        // Shown again: no second scan.
        world->writeJob(world->sandbox.launchAgentsDir(), u"com.example.later"_s);
        view->hide();
        view->show();
        QVERIFY(QTest::qWaitForWindowExposed(view.get()));
        QTest::qWait(50);
        QCOMPARE(view->systemJobs().size(), 2);

        const QString path = world->sandbox.launchAgentsDir() % u"/com.example.agent.plist";
        clickRow(*view, SidebarSection::systemJob(path));
        auto *detail = qobject_cast<LaunchdJobDetailView *>(view->detailWidget());
        QVERIFY(detail);
        QCOMPARE(detail->job().label, u"com.example.agent"_s);

        QTest::mouseClick(view->sidebar()->systemJobsDisclosure(), Qt::LeftButton);
        QVERIFY(!view->showSystemJobs());
        QVERIFY(sidebarJobLabels(*view).isEmpty());
    }

    void systemJobs_readAfterThePaint_matchAPlainScan()
    {
        for (int i = 0; i < 40; ++i) {
            const QString folder = i % 3 == 0   ? world->sandbox.launchAgentsDir()
                                   : i % 3 == 1 ? world->globalAgentsDir()
                                                : world->globalDaemonsDir();
            world->writeJob(folder, u"org.example.job"_s + QString::number(39 - i),
                            i % 2 ? QByteArray("<key>StartInterval</key><integer>") + QByteArray::number(60 * i) +
                                        "</integer>"
                                  : QByteArray("<key>Program</key><string>/bin/true</string>"));
        }
        world->writeJob(world->sandbox.launchAgentsDir(), u"com.moxley.task.X"_s); // ours: never listed
        Sandbox::writeFile(world->globalDaemonsDir() % u"/broken.plist", "<plist><dict><key>Label</key>");
        world->writeTasks({UiWorld::task(u"a"_s, u"true"_s)});
        store = world->openStore();
        view = std::make_unique<ContentView>(*store);
        QSignalSpy scanned(view.get(), &ContentView::systemJobsScanned);
        view->resize(900, 600);
        view->show();
        // Applied only through the event loop, after the first paint.
        QVERIFY(view->systemJobs().isEmpty());
        QCOMPARE(view->sidebar()->systemJobsCount()->text(), u"0"_s);
        QVERIFY(scanned.wait());
        QCOMPARE(scanned.size(), 1);

        const QList<LaunchdJob> plain = LaunchdBrowser().scan();
        QCOMPARE(plain.size(), 40);
        QCOMPARE(jobKeys(view->systemJobs()), jobKeys(plain));
        QCOMPARE(view->sidebar()->systemJobsCount()->text(), u"40"_s);
        view->setShowSystemJobs(true);
        QStringList plainLabels;
        for (const LaunchdJob &job : plain) {
            plainLabels << job.label;
        }
        QListWidget *list = view->sidebar()->list();
        list->scrollToBottom();
        QCOMPARE(sidebarJobLabels(*view).last(), plainLabels.last());
        for (const LaunchdJob &job : plain) {
            auto *row = qobject_cast<LaunchdJobRow *>(view->sidebar()->rowWidget(SidebarSection::systemJob(job.id)));
            QVERIFY(row);
            QCOMPARE(row->job().label, job.label);
        }
        QTest::qWait(50);
        QCOMPARE(scanned.size(), 1); // once only
    }

    void scanArriving_leavesTheTaskRowsAlone()
    {
        world->writeJob(world->globalAgentsDir(), u"org.example.one"_s);
        const ScheduledTask a = UiWorld::task(u"Alpha"_s, u"true"_s);
        open({a});
        const QPointer<QWidget> row = view->sidebar()->rowWidget(SidebarSection::task(a.id));
        QVERIFY(row);
        QTRY_COMPARE(view->systemJobs().size(), 1);
        flushDeletes();
        // The collapsed section only counted the jobs: the task list was built once.
        QVERIFY(row);
        QCOMPARE(view->sidebar()->rowWidget(SidebarSection::task(a.id)), row.data());
        QCOMPARE(view->sidebar()->systemJobsCount()->text(), u"1"_s);
    }

    void manyTasks_rowsGetTheirWidgetsWhenInSight()
    {
        QList<ScheduledTask> tasks;
        for (int i = 0; i < 300; ++i) {
            tasks << UiWorld::task(u"Task "_s + QString::number(i), u"true"_s, TaskSchedule::interval(i + 1), i % 2);
        }
        open(tasks);
        QListWidget *list = view->sidebar()->list();
        const QList<TaskRowView *> made = taskRowsMade(*view);
        QVERIFY(!made.isEmpty());
        QVERIFY2(made.size() < 40, qPrintable(QString::number(made.size())));
        QCOMPARE(made.first()->task().name, u"Task 0"_s);
        for (TaskRowView *row : made) {
            QVERIFY(row->geometry().intersects(list->viewport()->rect()));
            QVERIFY(row->isVisible());
        }
        // Every row is as tall as a row measured on its own.
        ScheduledTask sample = tasks.at(7);
        const int height = TaskRowView(sample).sizeHint().height();
        for (const ScheduledTask &task : tasks) {
            QCOMPARE(view->sidebar()->item(SidebarSection::task(task.id))->sizeHint().height(), height);
        }
        QCOMPARE(made.first()->height(), height);

        // Scrolling brings rows (and their ticks in select mode) into being.
        view->enterSelectMode();
        view->toggleTick(tasks.at(299).id);
        list->scrollToBottom();
        QListWidgetItem *last = view->sidebar()->item(SidebarSection::task(tasks.at(299).id));
        auto *lastRow = qobject_cast<TaskRowView *>(list->itemWidget(last));
        QVERIFY(lastRow);
        QCOMPARE(lastRow->task().name, u"Task 299"_s);
        QCOMPARE(lastRow->tick(), std::optional(true));
        QVERIFY(lastRow->geometry().intersects(list->viewport()->rect()));
        QVERIFY(taskRowsMade(*view).size() < 80);

        // Asked for by section, a row out of sight is made too.
        auto *middle = qobject_cast<TaskRowView *>(view->sidebar()->rowWidget(SidebarSection::task(tasks.at(150).id)));
        QVERIFY(middle);
        QCOMPARE(middle->task().name, u"Task 150"_s);
        QCOMPARE(middle->tick(), std::optional(false));

        // Clicking a row that came into sight by scrolling ticks it.
        const QUuid near = tasks.at(297).id;
        clickRow(*view, SidebarSection::task(near));
        QVERIFY(view->selectedTaskIDs().contains(near));
        QCOMPARE(static_cast<TaskRowView *>(view->sidebar()->rowWidget(SidebarSection::task(near)))->tick(),
                 std::optional(true));
    }

    void selectMode_selectAllFollowsTheFilter()
    {
        open({UiWorld::task(u"Build app"_s, u"make"_s), UiWorld::task(u"Build docs"_s, u"make docs"_s),
              UiWorld::task(u"Backup"_s, u"tar"_s)});
        clickRow(*view, SidebarSection::task(store->tasks().at(0).id));
        QPushButton *select = view->sidebar()->selectButton();
        QCOMPARE(select->text(), u"Select"_s);
        QVERIFY(toolVisible(*view, u"toolbar-add-task"_s));
        QVERIFY(!toolVisible(*view, u"toolbar-export"_s));

        QTest::mouseClick(select, Qt::LeftButton);
        QVERIFY(view->isSelectMode());
        QVERIFY(!view->selection()); // entering select mode clears the selection
        QVERIFY(view->selectedTaskIDs().isEmpty());
        QCOMPARE(view->sidebar()->selectButton()->text(), u"Select All"_s);
        QVERIFY(!toolVisible(*view, u"toolbar-add-task"_s));
        QVERIFY(toolVisible(*view, u"toolbar-export"_s));
        QVERIFY(toolVisible(*view, u"toolbar-delete"_s));
        QVERIFY(toolVisible(*view, u"toolbar-done"_s));
        QCOMPARE(toolButton(*view, u"toolbar-export"_s)->text(), u"Export"_s);
        QCOMPARE(toolButton(*view, u"toolbar-delete"_s)->text(), u"Delete"_s);
        QCOMPARE(toolButton(*view, u"toolbar-done"_s)->text(), u"Done"_s);
        QVERIFY(!toolButton(*view, u"toolbar-export"_s)->isEnabled());
        QVERIFY(!toolButton(*view, u"toolbar-delete"_s)->isEnabled());

        QTest::keyClicks(view->sidebar()->filterField(), u"build"_s);
        QTest::mouseClick(view->sidebar()->selectButton(), Qt::LeftButton);
        const QSet<QUuid> builds{store->tasks().at(0).id, store->tasks().at(1).id};
        QCOMPARE(view->selectedTaskIDs(), builds);
        QCOMPARE(view->sidebar()->selectButton()->text(), u"Deselect All"_s);
        QVERIFY(toolButton(*view, u"toolbar-export"_s)->isEnabled());
        QVERIFY(toolButton(*view, u"toolbar-delete"_s)->isEnabled());

        view->sidebar()->filterField()->clear();
        QCOMPARE(view->sidebar()->selectButton()->text(), u"Select All"_s);
        QTest::mouseClick(view->sidebar()->selectButton(), Qt::LeftButton);
        QCOMPARE(view->selectedTaskIDs().size(), 3);
        QCOMPARE(view->sidebar()->selectButton()->text(), u"Deselect All"_s);
        QTest::mouseClick(view->sidebar()->selectButton(), Qt::LeftButton);
        QVERIFY(view->selectedTaskIDs().isEmpty());
        QCOMPARE(view->sidebar()->selectButton()->text(), u"Select All"_s);

        QTest::mouseClick(toolButton(*view, u"toolbar-done"_s), Qt::LeftButton);
        QVERIFY(!view->isSelectMode());
        QCOMPARE(view->sidebar()->selectButton()->text(), u"Select"_s);
        QVERIFY(toolVisible(*view, u"toolbar-add-task"_s));
    }

    void selectMode_clickingARowTogglesItsTick()
    {
        open({UiWorld::task(u"a"_s, u"true"_s), UiWorld::task(u"b"_s, u"true"_s)});
        const QUuid a = store->tasks().at(0).id;
        view->enterSelectMode();
        auto tickOf = [this](const QUuid &id) {
            return static_cast<TaskRowView *>(view->sidebar()->rowWidget(SidebarSection::task(id)))->tick();
        };
        QCOMPARE(tickOf(a), std::optional(false));
        clickRow(*view, SidebarSection::task(a));
        QCOMPARE(view->selectedTaskIDs(), QSet<QUuid>{a});
        QCOMPARE(tickOf(a), std::optional(true));
        QVERIFY(!view->selection()); // ticking selects nothing
        clickRow(*view, SidebarSection::task(a));
        QVERIFY(view->selectedTaskIDs().isEmpty());
        QCOMPARE(tickOf(a), std::optional(false));
        view->leaveSelectMode();
        QCOMPARE(tickOf(a), std::nullopt);
    }

    void contextMenu_itemsInOrder_andEnableDisable()
    {
        const ScheduledTask on = UiWorld::task(u"on"_s, u"true"_s, TaskSchedule::daily({{9, 0}}), true);
        const ScheduledTask off = UiWorld::task(u"off"_s, u"true"_s);
        open({on, off});
        std::unique_ptr<QMenu> onMenu(view->createContextMenu(on, view.get()));
        QCOMPARE(menuTexts(onMenu.get()), (QStringList{u"Edit..."_s, u"Duplicate"_s, u"Run Now"_s, u"Disable"_s, u"Delete"_s}));
        std::unique_ptr<QMenu> offMenu(view->createContextMenu(off, view.get()));
        QCOMPARE(menuTexts(offMenu.get()), (QStringList{u"Edit..."_s, u"Duplicate"_s, u"Run Now"_s, u"Enable"_s, u"Delete"_s}));

        triggerMenu(*view, off, u"Enable"_s);
        QVERIFY(store->task(off.id)->isEnabled);
        triggerMenu(*view, on, u"Disable"_s);
        QVERIFY(!store->task(on.id)->isEnabled);

        triggerMenu(*view, off, u"Edit..."_s);
        auto *sheet = view->findChild<EditTaskView *>();
        QVERIFY(sheet);
        QCOMPARE(sheet->originalTask().id, off.id);
    }

    void duplicate_selectsTheCopy()
    {
        const ScheduledTask a = UiWorld::task(u"Alpha"_s, u"true"_s);
        open({a});
        triggerMenu(*view, a, u"Duplicate"_s);
        QCOMPARE(store->tasks().size(), 2);
        const ScheduledTask copy = store->tasks().at(1);
        QCOMPARE(copy.name, u"Alpha (copy)"_s);
        QCOMPARE(view->selection(), std::optional(SidebarSection::task(copy.id)));
        QCOMPARE(qobject_cast<TaskDetailView *>(view->detailWidget())->task().id, copy.id);

        // The detail's own "Duplicate" does the same.
        QTest::mouseClick(visibleChild<QPushButton>(view->detailWidget(), u"detail-duplicate"_s), Qt::LeftButton);
        QCOMPARE(store->tasks().size(), 3);
        QCOMPARE(view->selection(), std::optional(SidebarSection::task(store->tasks().at(2).id)));
    }

    void singleDelete_confirmationTexts_cancelKeeps_deleteRemoves()
    {
        const ScheduledTask quoted = UiWorld::task(u"Say \"hi\""_s, u"echo hi"_s, TaskSchedule::daily({{9, 0}}), true);
        const ScheduledTask other = UiWorld::task(u"Other"_s, u"true"_s);
        open({quoted, other});
        view->setSelection(SidebarSection::task(quoted.id));

        MessageBox::setNextAnswer(u"Cancel"_s);
        triggerMenu(*view, quoted, u"Delete"_s);
        QCOMPARE(MessageBox::history().size(), 1);
        const MessageBox::Shown shown = MessageBox::history().last();
        QCOMPARE(shown.title, u"Delete Task"_s);
        QCOMPARE(shown.text, u"Are you sure you want to delete \"Say \"hi\"\"? This will also remove the launchd job."_s);
        QCOMPARE(shown.buttons, (QStringList{u"Cancel"_s, u"Delete"_s}));
        QCOMPARE(store->tasks().size(), 2);
        QCOMPARE(view->selection(), std::optional(SidebarSection::task(quoted.id)));

        world->launchctl.clearCalls();
        MessageBox::setNextAnswer(u"Delete"_s);
        QTest::mouseClick(visibleChild<QPushButton>(view->detailWidget(), u"detail-delete"_s), Qt::LeftButton);
        QCOMPARE(store->tasks().size(), 1);
        QVERIFY(!store->task(quoted.id));
        QVERIFY(!view->selection());
        QCOMPARE(emptyStateTitle(*view), u"No Selection"_s);
        QVERIFY(!world->launchctl.calls().isEmpty());
        QCOMPARE(world->launchctl.calls().first().value(0), u"unload"_s);
    }

    void deletingAnotherTask_keepsTheSelection()
    {
        const ScheduledTask a = UiWorld::task(u"a"_s, u"true"_s);
        const ScheduledTask b = UiWorld::task(u"b"_s, u"true"_s);
        open({a, b});
        view->setSelection(SidebarSection::task(a.id));
        MessageBox::setNextAnswer(u"Delete"_s);
        triggerMenu(*view, b, u"Delete"_s);
        QCOMPARE(store->tasks().size(), 1);
        QCOMPARE(view->selection(), std::optional(SidebarSection::task(a.id)));
        QCOMPARE(qobject_cast<TaskDetailView *>(view->detailWidget())->task().id, a.id);
    }

    void bulkDelete_ofOneTask_keepsThePlural()
    {
        const ScheduledTask a = UiWorld::task(u"a"_s, u"true"_s);
        const ScheduledTask b = UiWorld::task(u"b"_s, u"true"_s);
        open({a, b});
        view->enterSelectMode();
        view->setSelection(SidebarSection::timeline());
        view->toggleTick(b.id);

        MessageBox::setNextAnswer(u"Cancel"_s);
        QTest::mouseClick(toolButton(*view, u"toolbar-delete"_s), Qt::LeftButton);
        QCOMPARE(MessageBox::history().last().title, u"Delete 1 Tasks"_s);
        QCOMPARE(MessageBox::history().last().text,
                 u"Are you sure you want to delete 1 tasks? This will also remove their launchd jobs."_s);
        QCOMPARE(MessageBox::history().last().buttons, (QStringList{u"Cancel"_s, u"Delete"_s}));
        QCOMPARE(store->tasks().size(), 2);
        QVERIFY(view->isSelectMode());

        MessageBox::setNextAnswer(u"Delete"_s);
        QTest::mouseClick(toolButton(*view, u"toolbar-delete"_s), Qt::LeftButton);
        QCOMPARE(store->tasks().size(), 1);
        QCOMPARE(store->tasks().first().id, a.id);
        QVERIFY(!view->isSelectMode());
        QVERIFY(view->selectedTaskIDs().isEmpty());
        QCOMPARE(view->selection(), std::optional(SidebarSection::timeline())); // not a deleted task: kept
        QVERIFY(toolVisible(*view, u"toolbar-add-task"_s));
    }

    void bulkDelete_ofSeveral_countsThem()
    {
        open({UiWorld::task(u"a"_s, u"true"_s), UiWorld::task(u"b"_s, u"true"_s), UiWorld::task(u"c"_s, u"true"_s)});
        view->enterSelectMode();
        view->selectAllOrNone();
        MessageBox::setNextAnswer(u"Delete"_s);
        QTest::mouseClick(toolButton(*view, u"toolbar-delete"_s), Qt::LeftButton);
        QCOMPARE(MessageBox::history().last().title, u"Delete 3 Tasks"_s);
        QCOMPARE(MessageBox::history().last().text,
                 u"Are you sure you want to delete 3 tasks? This will also remove their launchd jobs."_s);
        QVERIFY(store->tasks().isEmpty());
        QCOMPARE(emptyStateTitle(*view), u"No Tasks"_s);
        QCOMPARE(view->sidebar()->addButton()->text(), u"Add your first task"_s);
    }

    void exportOfTickedTasks_writesThemInStoreOrder_andStaysInSelectMode()
    {
        const ScheduledTask a = UiWorld::task(u"a"_s, u"true"_s);
        const ScheduledTask b = UiWorld::task(u"b"_s, u"true"_s);
        const ScheduledTask c = UiWorld::task(u"c"_s, u"true"_s);
        open({a, b, c});
        view->enterSelectMode();
        view->toggleTick(c.id);
        view->toggleTick(a.id);
        const QString path = world->sandbox.root() % u"/out/chosen.json";
        QDir().mkpath(world->sandbox.root() % u"/out");
        FileDialog::setNextFileName(path);
        QTest::mouseClick(toolButton(*view, u"toolbar-export"_s), Qt::LeftButton);
        QCOMPARE(FileDialog::lastProposedName(), u"Moxley-tasks.json"_s);
        QCOMPARE(Sandbox::readFile(path), TaskMigration::encode({store->tasks().at(0), store->tasks().at(2)}));
        QVERIFY(view->isSelectMode());
        QCOMPARE(view->selectedTaskIDs(), (QSet<QUuid>{a.id, c.id}));

        // Cancelling the panel writes nothing.
        QFile::remove(path);
        FileDialog::setNextFileName(QString());
        QTest::mouseClick(toolButton(*view, u"toolbar-export"_s), Qt::LeftButton);
        QVERIFY(!QFile::exists(path));
    }

    void errorAlert_okClearsTheStoresError()
    {
        const ScheduledTask off = UiWorld::task(u"off"_s, u"true"_s);
        open({off});
        world->launchctl.setExitStatus(1, u"load"_s);
        MessageBox::setNextAnswer(u"OK"_s);
        triggerMenu(*view, off, u"Enable"_s);
        QCOMPARE(store->lastError(), std::optional(u"launchctl load failed (exit code 1)"_s));
        QTRY_VERIFY(!store->lastError());
        QCOMPARE(MessageBox::history().size(), 1);
        QCOMPARE(MessageBox::history().last().title, u"Error"_s);
        QCOMPARE(MessageBox::history().last().text, u"launchctl load failed (exit code 1)"_s);
        QCOMPARE(MessageBox::history().last().buttons, QStringList{u"OK"_s});
    }

    void noticeAlert_okClearsTheStoresWarning()
    {
        const ScheduledTask a = UiWorld::task(u"a"_s, u"true"_s);
        open({a});
        MessageBox::setNextAnswer(u"OK"_s);
        store->importTasks(TaskMigration::encode({a}));
        QCOMPARE(store->lastWarning(), std::optional(u"Skipped 1 task with ID already present."_s));
        QTRY_VERIFY(!store->lastWarning());
        QCOMPARE(MessageBox::history().last().title, u"Notice"_s);
        QCOMPARE(MessageBox::history().last().text, u"Skipped 1 task with ID already present."_s);
        QCOMPARE(MessageBox::history().last().buttons, QStringList{u"OK"_s});
    }

    void errorFromStartUp_isShownOnceTheViewAppears()
    {
        world->sandbox.writeTasksFile("{ not json");
        store = world->openStore();
        QVERIFY(store->lastError());
        view = std::make_unique<ContentView>(*store);
        MessageBox::setNextAnswer(u"OK"_s);
        view->show();
        QTRY_VERIFY(!store->lastError());
        QCOMPARE(MessageBox::history().last().title, u"Error"_s);
        QVERIFY(MessageBox::history().last().text.startsWith(u"Failed to load tasks: "_s));
    }
};

QTEST_MAIN(ContentViewTest)
#include "test_content_view.moc"
