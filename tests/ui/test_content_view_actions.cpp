#include "ContentViewHarness.h"

using namespace Qt::StringLiterals;
using namespace ContentViewHarness;

class ContentViewActionsTest : public QObject, private Fixture
{
    Q_OBJECT

private Q_SLOTS:
    void init() { setUp(); }
    void cleanup() { tearDown(); }

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
        auto tickOf = [this](const QUuid &id) { return view->sidebar()->taskLook(id)->tick; };
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
        QCOMPARE(menuTexts(onMenu.get()),
                 (QStringList{u"Edit..."_s, u"Duplicate"_s, u"Run Now"_s, u"Disable"_s, u"Delete"_s}));
        std::unique_ptr<QMenu> offMenu(view->createContextMenu(off, view.get()));
        QCOMPARE(menuTexts(offMenu.get()),
                 (QStringList{u"Edit..."_s, u"Duplicate"_s, u"Run Now"_s, u"Enable"_s, u"Delete"_s}));

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
        QCOMPARE(shown.text,
                 u"Are you sure you want to delete \"Say \"hi\"\"? This will also remove the launchd job."_s);
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

    void enteringSelectMode_keepsFocusOutOfTheFilter()
    {
        open({UiWorld::task(u"a"_s, u"true"_s)});
        view->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(view.get()));
        QLineEdit *filter = view->sidebar()->filterField();
        filter->setText(u"a"_s);
        QPushButton *select = view->sidebar()->selectButton();
        select->setFocus(Qt::MouseFocusReason);
        QTest::mouseClick(select, Qt::LeftButton);
        QVERIFY(view->isSelectMode());
        flushDeletes();
        QVERIFY(!filter->hasFocus());
        QCOMPARE(filter->selectedText(), QString());
        QTest::mouseClick(toolButton(*view, u"toolbar-done"_s), Qt::LeftButton);
        QVERIFY(!view->isSelectMode());
        flushDeletes();
        QVERIFY(!filter->hasFocus());
        QCOMPARE(filter->selectedText(), QString());
    }

    void notice_waitsUntilTheAlertBeforeItIsAnswered()
    {
        const ScheduledTask a = UiWorld::task(u"a"_s, u"true"_s);
        open({a});
        // Another alert is up (the import's summary): the notice comes after it, not on top.
        QDialog summary(view.get());
        summary.open();
        QVERIFY(QTest::qWaitForWindowExposed(&summary));
        MessageBox::clearHistory();
        MessageBox::setNextAnswer(u"OK"_s);
        store->importTasks(TaskMigration::encode({a}));
        QTest::qWait(300);
        QVERIFY(MessageBox::history().isEmpty());
        QVERIFY(store->lastWarning());
        summary.accept();
        QTRY_VERIFY(!store->lastWarning());
        QCOMPARE(MessageBox::history().size(), 1);
        QCOMPARE(MessageBox::history().constFirst().title, u"Notice"_s);
    }
};

QTEST_MAIN(ContentViewActionsTest)
#include "test_content_view_actions.moc"
