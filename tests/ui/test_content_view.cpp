#include "ContentViewHarness.h"
#include "SidebarRowPainting.h"

#include "ui/ViewStyle.h"

using namespace Qt::StringLiterals;
using namespace ContentViewHarness;

class ContentViewTest : public QObject, private Fixture
{
    Q_OBJECT

private Q_SLOTS:
    void init() { setUp(); }
    void cleanup() { tearDown(); }

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
        QCOMPARE(empty->findChild<QLabel *>(u"empty-state-description"_s)->text(),
                 u"Select a task from the sidebar."_s);
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
        world->writeJob(
            world->sandbox.launchAgentsDir(), u"com.example.agent"_s,
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
        QCOMPARE(sidebarJobLabels(*view), plainLabels);
        for (const LaunchdJob &job : plain) {
            const std::optional<SidebarRows::JobLook> look = view->sidebar()->jobLook(job.id);
            QVERIFY(look);
            QCOMPARE(look->title, job.label);
        }
        QTest::qWait(50);
        QCOMPARE(scanned.size(), 1); // once only
    }

    void scanArriving_leavesTheTaskRowsAlone()
    {
        world->writeJob(world->globalAgentsDir(), u"org.example.one"_s);
        const ScheduledTask a = UiWorld::task(u"Alpha"_s, u"true"_s);
        open({a});
        // The header's button is made anew by every rebuild of the list.
        const QPointer<QPushButton> select = view->sidebar()->selectButton();
        QVERIFY(select);
        QTRY_COMPARE(view->systemJobs().size(), 1);
        flushDeletes();
        // The collapsed section only counted the jobs: the task list was built once.
        QVERIFY(select);
        QCOMPARE(view->sidebar()->selectButton(), select.data());
        QCOMPARE(sidebarTaskNames(*view), QStringList{u"Alpha"_s});
        QCOMPARE(view->sidebar()->systemJobsCount()->text(), u"1"_s);
    }

    void manyTasks_rowsAreDrawnNotMadeOfWidgets()
    {
        QList<ScheduledTask> tasks;
        for (int i = 0; i < 300; ++i) {
            tasks << UiWorld::task(u"Task "_s + QString::number(i), u"true"_s, TaskSchedule::interval(i + 1), i % 2);
        }
        open(tasks);
        QListWidget *list = view->sidebar()->list();
        QCOMPARE(widgetRows(*view), 3); // the timeline, "My Tasks" and "System Jobs"
        QCOMPARE(sidebarTaskNames(*view).size(), 300);
        for (const ScheduledTask &task : tasks) {
            QCOMPARE(view->sidebar()->item(SidebarSection::task(task.id))->sizeHint().height(),
                     SidebarRows::taskRowHeight());
        }
        // The rows in sight are drawn: each dot in its task's colour.
        const auto checkDotsInSight = [&] {
            const QImage image = list->viewport()->grab().toImage();
            int drawn = 0;
            for (const ScheduledTask &task : tasks) {
                const QRect row = list->visualItemRect(view->sidebar()->item(SidebarSection::task(task.id)));
                if (!list->viewport()->rect().contains(row)) {
                    continue;
                }
                const QRect dot = SidebarRows::taskGeometry(*view->sidebar()->taskLook(task.id), row).dot;
                QCOMPARE(image.pixelColor(dot.center()), SidebarRows::dotColor(task.isEnabled));
                ++drawn;
            }
            QVERIFY2(drawn > 3, qPrintable(QString::number(drawn)));
        };
        checkDotsInSight();

        // In select mode, rows far down show their ticks when scrolled to.
        view->enterSelectMode();
        view->toggleTick(tasks.at(299).id);
        list->scrollToBottom();
        QCOMPARE(view->sidebar()->taskLook(tasks.at(299).id)->tick, std::optional(true));
        QCOMPARE(view->sidebar()->taskLook(tasks.at(150).id)->tick, std::optional(false));
        checkDotsInSight();
        const QRect last = list->visualItemRect(view->sidebar()->item(SidebarSection::task(tasks.at(299).id)));
        const QRect tick = SidebarRows::taskGeometry(*view->sidebar()->taskLook(tasks.at(299).id), last).tick;
        QVERIFY(list->viewport()->rect().contains(tick));
        QVERIFY(pixelsNear(list->viewport()->grab().toImage().copy(tick), ViewStyle::accent()) > 20);

        // Clicking a row that came into sight by scrolling ticks it.
        const QUuid near = tasks.at(297).id;
        clickRow(*view, SidebarSection::task(near));
        QVERIFY(view->selectedTaskIDs().contains(near));
        QCOMPARE(view->sidebar()->taskLook(near)->tick, std::optional(true));
    }

    void systemJobsHeaderClicked_foldsWithoutTouchingTheSelection()
    {
        world->writeJob(world->sandbox.launchAgentsDir(), u"com.example.agent"_s);
        open({UiWorld::task(u"a"_s, u"true"_s)});
        QTRY_COMPARE(view->systemJobs().size(), 1);
        const SidebarSection task = SidebarSection::task(store->tasks().at(0).id);
        clickRow(*view, task);
        QCOMPARE(view->selection(), std::optional(task));
        QListWidget *list = view->sidebar()->list();
        const auto clickHeader = [&] {
            // On the header's text, away from its disclosure button.
            QListWidgetItem *header = nullptr;
            for (int i = 0; i < list->count() && !header; ++i) {
                if (auto *widget = list->itemWidget(list->item(i));
                    widget && widget->isAncestorOf(view->sidebar()->systemJobsDisclosure())) {
                    header = list->item(i);
                }
            }
            QVERIFY(header);
            const QRect rect = list->visualItemRect(header);
            QTest::mouseClick(list->viewport(), Qt::LeftButton, {},
                              QPoint(rect.left() + rect.width() / 2, rect.center().y()));
        };
        clickHeader();
        QVERIFY(view->showSystemJobs());
        QCOMPARE(view->selection(), std::optional(task));
        QVERIFY(qobject_cast<TaskDetailView *>(view->detailWidget()));
        clickHeader();
        QVERIFY(!view->showSystemJobs());
        QCOMPARE(view->selection(), std::optional(task));
        QVERIFY(qobject_cast<TaskDetailView *>(view->detailWidget()));
    }

    void rightClickOnARow_selectsNothing()
    {
        open({UiWorld::task(u"a"_s, u"true"_s), UiWorld::task(u"b"_s, u"true"_s)});
        const SidebarSection a = SidebarSection::task(store->tasks().at(0).id);
        const SidebarSection b = SidebarSection::task(store->tasks().at(1).id);
        clickRow(*view, a);
        QListWidget *list = view->sidebar()->list();
        QTest::mouseClick(list->viewport(), Qt::RightButton, {},
                          list->visualItemRect(view->sidebar()->item(b)).center());
        QCOMPARE(view->selection(), std::optional(a));
        QVERIFY(view->sidebar()->item(a)->isSelected());
        QVERIFY(!view->sidebar()->item(b)->isSelected());
    }

    void narrowestWindow_stillShowsTheSwitchAndEveryButtonOfTheDetail()
    {
        open({UiWorld::task(u"A task with a rather long name"_s, u"true"_s)});
        clickRow(*view, SidebarSection::task(store->tasks().at(0).id));
        auto *detail = qobject_cast<TaskDetailView *>(view->detailWidget());
        QVERIFY(detail);
        view->resize(1, 600);
        QCoreApplication::processEvents();
        QVERIFY(view->width() > 1);
        QWidget *viewport = detail->viewport();
        for (const QString &name : {u"detail-enabled-toggle"_s, u"detail-test-run"_s, u"detail-edit"_s,
                                    u"detail-duplicate"_s, u"detail-delete"_s}) {
            auto *widget = detail->findChild<QWidget *>(name);
            QVERIFY2(widget && widget->isVisible(), qPrintable(name));
            const QRect inViewport(widget->mapTo(viewport, QPoint(0, 0)), widget->size());
            QVERIFY2(viewport->rect().contains(inViewport),
                     qPrintable(u"%1 at %2,%3 %4x%5 in a viewport %6 wide"_s.arg(name)
                                    .arg(inViewport.x())
                                    .arg(inViewport.y())
                                    .arg(inViewport.width())
                                    .arg(inViewport.height())
                                    .arg(viewport->width())));
            QVERIFY2(widget->width() >= widget->minimumSizeHint().width(), qPrintable(name));
        }
    }
};

QTEST_MAIN(ContentViewTest)
#include "test_content_view.moc"
