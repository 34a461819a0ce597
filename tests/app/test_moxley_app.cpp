#include "AppWorld.h"

#include "ui/AddTaskView.h"
#include "ui/SidebarSection.h"
#include "ui/UpdaterController.h"

#include <QToolBar>

using namespace Qt::StringLiterals;

// The application shell: one store, the single main window, its menus and their shortcut.
class MoxleyAppTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<AppWorld> world;

    AddTaskView *openAddSheet() const
    {
        for (QWidget *widget : QApplication::allWidgets()) {
            if (auto *sheet = qobject_cast<AddTaskView *>(widget); sheet && sheet->isVisible()) {
                return sheet;
            }
        }
        return nullptr;
    }

private Q_SLOTS:
    void init() { world = std::make_unique<AppWorld>(); }
    void cleanup() { world.reset(); }

    void menus_inTheirOrder_withExactTexts()
    {
        MainWindow *window = world->open();
        QStringList titles;
        for (QAction *action : window->menuBar()->actions()) {
            titles << action->text();
        }
        QCOMPARE(titles, (QStringList{u"Moxley"_s, u"File"_s, u"Help"_s}));
        // The ellipsis of "Check for Updates…" is the one character U+2026; "Install CLI Command..."
        // has three full stops.
        QCOMPARE(itemTexts(menuTitled(window->menuBar(), u"Moxley"_s)),
                 (QStringList{u"About Moxley"_s, QString::fromUtf8("Check for Updates\xE2\x80\xA6"),
                              u"Notify When a Run Fails"_s, u"---"_s, u"Install CLI Command..."_s, u"---"_s,
                              u"Quit Moxley"_s}));
        QCOMPARE(itemTexts(menuTitled(window->menuBar(), u"File"_s)),
                 (QStringList{u"New Task"_s, u"---"_s, QString::fromUtf8("Export Tasks\xE2\x80\xA6"),
                              QString::fromUtf8("Import Tasks\xE2\x80\xA6")}));
        QCOMPARE(itemTexts(menuTitled(window->menuBar(), u"Help"_s)), QStringList{u"Moxley Support"_s});

        QCOMPARE(menuItem(window, u"New Task"_s)->shortcut(), QKeySequence(Qt::CTRL | Qt::Key_N));
        // On macOS these roles put the items into the application menu, after About.
        QCOMPARE(menuItem(window, u"About Moxley"_s)->menuRole(), QAction::AboutRole);
        QCOMPARE(menuItem(window, QString::fromUtf8("Check for Updates\xE2\x80\xA6"))->menuRole(),
                 QAction::ApplicationSpecificRole);
        QCOMPARE(menuItem(window, u"Install CLI Command..."_s)->menuRole(), QAction::ApplicationSpecificRole);
        QCOMPARE(menuItem(window, u"New Task"_s)->menuRole(), QAction::NoRole);
        QCOMPARE(menuItem(window, u"Notify When a Run Fails"_s)->menuRole(), QAction::ApplicationSpecificRole);
        QVERIFY(menuItem(window, u"Notify When a Run Fails"_s)->isCheckable());
    }

    void toolbar_hasNoCustomisationItems()
    {
        MainWindow *window = world->open();
        QVERIFY(!menuTitled(window->menuBar(), u"View"_s));
        for (QAction *top : window->menuBar()->actions()) {
            for (QAction *action : top->menu()->actions()) {
                QVERIFY2(!action->text().contains(u"Toolbar"_s, Qt::CaseInsensitive), qPrintable(action->text()));
            }
        }
        // Nothing to right-click into either.
        QCOMPARE(window->createPopupMenu(), nullptr);
        QToolBar *toolBar = window->contentView()->toolBar();
        QCOMPARE(toolBar->parentWidget(), window);
        QVERIFY(!toolBar->isMovable());
        QVERIFY(!toolBar->isFloatable());
        QVERIFY(!toolBar->toggleViewAction()->isVisible());
        QVERIFY(window->findChild<QWidget *>(u"toolbar-add-task"_s)->isVisible());
    }

    void window_opensAt900By600_andKeepsTheContentsLimits()
    {
        MainWindow *window = world->open();
        QCOMPARE(window->windowTitle(), u"Moxley"_s);
        QCOMPARE(window->size(), QSize(900, 600));
        window->resize(200, 120);
        QTRY_VERIFY(window->width() >= window->contentView()->minimumSizeHint().width());
        QVERIFY(window->height() >= window->contentView()->minimumSizeHint().height());
        QVERIFY(window->width() > 200);
    }

    void ctrlN_opensTheAddSheet_withOrWithoutASelection()
    {
        const ScheduledTask task = AppWorld::task(u"Backup"_s);
        world->writeTasks({task});
        MainWindow *window = world->open();
        QVERIFY(!openAddSheet());
        QTest::keyClick(window, Qt::Key_N, Qt::ControlModifier);
        QTRY_VERIFY(openAddSheet());
        openAddSheet()->close();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QTRY_VERIFY(!window->findChild<AddTaskView *>());

        window->contentView()->setSelection(SidebarSection::task(task.id));
        window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(window));
        QTest::keyClick(window, Qt::Key_N, Qt::ControlModifier);
        QTRY_VERIFY(openAddSheet());
        QCOMPARE(window->contentView()->selection(), std::optional(SidebarSection::task(task.id)));
    }

    void newTaskItem_onlyAsksTheMainWindow()
    {
        MainWindow *window = world->open();
        menuItem(window, u"New Task"_s)->trigger();
        QTRY_VERIFY(openAddSheet());
        QCOMPARE(openAddSheet()->parentWidget(), window->contentView());
        // Nothing was added by asking.
        QCOMPARE(world->app->taskStore().tasks().size(), 0);
    }

    void newTask_withNoMainWindow_doesNothing()
    {
        MainWindow *window = world->open();
        TaskStore *store = &world->app->taskStore();
        QPointer<MainWindow> watched(window);
        window->close();
        QTRY_VERIFY(!watched);
        QCOMPARE(world->app->mainWindow(), nullptr);

        QSignalSpy asked(world->app.get(), &MoxleyApp::addNewTask);
        world->app->newTask();
        QCOMPARE(asked.size(), 1);
        QCoreApplication::processEvents();
        QVERIFY(!openAddSheet());
        for (QWidget *widget : QApplication::topLevelWidgets()) {
            QVERIFY2(!widget->isVisible(), qPrintable(widget->objectName()));
        }

        // A window opened again shares the one store, and listens again.
        MainWindow *again = world->open();
        QCOMPARE(&again->contentView()->store(), store);
        world->app->newTask();
        QTRY_VERIFY(openAddSheet());
        QCOMPARE(openAddSheet()->parentWidget(), again->contentView());
    }

    void showMainWindow_keepsOneWindow()
    {
        MainWindow *window = world->open();
        QCOMPARE(world->app->showMainWindow(), window);
        int windows = 0;
        for (QWidget *widget : QApplication::topLevelWidgets()) {
            windows += qobject_cast<MainWindow *>(widget) != nullptr;
        }
        QCOMPARE(windows, 1);
    }

    void supportItem_opensTheSupportPage_andShowsNothing()
    {
        MainWindow *window = world->open();
        menuItem(window, u"Moxley Support"_s)->trigger();
        QCOMPARE(*world->opened, QList<QUrl>{QUrl(u"https://moxley.example/support"_s)});
        QVERIFY(MessageBox::history().isEmpty());
    }

    void aboutItem_namesTheVersion()
    {
        MainWindow *window = world->open();
        MessageBox::setNextAnswer(u"OK"_s);
        menuItem(window, u"About Moxley"_s)->trigger();
        QCOMPARE(MessageBox::history().size(), 1);
        QCOMPARE(MessageBox::history().first().title, u"About Moxley"_s);
        QVERIFY(MessageBox::history().first().text.startsWith(u"Moxley 0.1.0\n\n"_s));
    }

    void resetTasks_startsEmpty_andLeavesNoFileUntilTheFirstSave()
    {
        world->writeTasks({AppWorld::task(u"One"_s), AppWorld::task(u"Two"_s)});
        world->start(world->options({u"moxley-app"_s, u"--reset-tasks"_s}));
        QCOMPARE(world->app->taskStore().tasks().size(), 0);
        QVERIFY(!QFileInfo::exists(world->sandbox.tasksFile()));
        MainWindow *window = world->open();
        QCOMPARE(window->contentView()->visibleTasks().size(), 0);
        world->app->taskStore().add(AppWorld::task(u"Three"_s));
        QVERIFY(QFileInfo::exists(world->sandbox.tasksFile()));
    }

    void withoutResetTasks_theFileIsLoaded()
    {
        world->writeTasks({AppWorld::task(u"One"_s), AppWorld::task(u"Two"_s)});
        MainWindow *window = world->open();
        QCOMPARE(world->app->taskStore().saveURL(), world->sandbox.tasksFile());
        QCOMPARE(window->contentView()->visibleTasks().size(), 2);
    }

    void defaults_followTheProcess()
    {
        const MoxleyApp::Options options = MoxleyApp::defaultOptions({u"moxley-app"_s});
        QCOMPARE(options.cliToolPath, QCoreApplication::applicationDirPath() + u"/moxley"_s);
        QCOMPARE(options.version, QStringLiteral(MOXLEY_VERSION));
        QVERIFY(!options.store.resetTasks);
        QVERIFY(MoxleyApp::defaultOptions({u"moxley-app"_s, u"--reset-tasks"_s}).store.resetTasks);
        QVERIFY(options.fileWatchDelayMs >= 0);
    }
};

QTEST_MAIN(MoxleyAppTest)
#include "test_moxley_app.moc"
