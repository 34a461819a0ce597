#include "AppWorld.h"

#include "ui/FileDialog.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

// "Export Tasks…" and "Import Tasks…" from the File menu, with the file panels and alerts answered
// through their seams and the real store behind them.
class ExportImportCommandsTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<AppWorld> world;
    MainWindow *window = nullptr;

    void trigger(const char *utf8Text)
    {
        QAction *action = menuItem(window, QString::fromUtf8(utf8Text));
        QVERIFY2(action, utf8Text);
        action->trigger();
    }
    void exportTo(const QString &path)
    {
        FileDialog::setNextFileName(path);
        trigger("Export Tasks\xE2\x80\xA6");
    }
    void importFrom(const QString &path)
    {
        FileDialog::setNextFileName(path);
        trigger("Import Tasks\xE2\x80\xA6");
    }
    QString file(const QString &name) const { return world->sandbox.root() % u"/files/" % name; }
    TaskStore &store() const { return world->app->taskStore(); }

    // The last alert, after it was answered with "OK".
    MessageBox::Shown lastAlert() const
    {
        return MessageBox::history().isEmpty() ? MessageBox::Shown{} : MessageBox::history().last();
    }

private Q_SLOTS:
    void init()
    {
        world = std::make_unique<AppWorld>();
        QDir().mkpath(world->sandbox.root() + u"/files"_s);
    }
    void cleanup()
    {
        window = nullptr;
        world.reset();
    }

    void export_writesEveryTaskToTheChosenFile_andSaysNothing()
    {
        world->writeTasks({AppWorld::task(u"One"_s), AppWorld::task(u"Two"_s), AppWorld::task(u"Three"_s)});
        window = world->open();
        exportTo(file(u"out.json"_s));
        QCOMPARE(FileDialog::lastProposedName(), u"Moxley-tasks.json"_s);
        const QByteArray written = Sandbox::readFile(file(u"out.json"_s));
        QCOMPARE(written, TaskMigration::encode(store().tasks()));
        // The same envelope as the tasks file itself.
        QCOMPARE(written, world->sandbox.readTasksFile());
        QVERIFY(written.startsWith("{\n"));
        QVERIFY(MessageBox::history().isEmpty());
    }

    void export_replacesAnExistingFile()
    {
        world->writeTasks({AppWorld::task(u"One"_s)});
        window = world->open();
        Sandbox::writeFile(file(u"out.json"_s), QByteArray(10000, 'x'));
        exportTo(file(u"out.json"_s));
        QCOMPARE(Sandbox::readFile(file(u"out.json"_s)), TaskMigration::encode(store().tasks()));
    }

    void export_cancelled_writesNothing()
    {
        world->writeTasks({AppWorld::task(u"One"_s)});
        window = world->open();
        exportTo(QString());
        QCOMPARE(QDir(world->sandbox.root() + u"/files"_s).entryList(QDir::Files), QStringList());
        QVERIFY(MessageBox::history().isEmpty());
    }

    void export_thatCannotBeWritten_saysNothing()
    {
        world->writeTasks({AppWorld::task(u"One"_s)});
        window = world->open();
        exportTo(world->sandbox.root() + u"/no such folder/out.json"_s);
        QVERIFY(!QFileInfo::exists(world->sandbox.root() + u"/no such folder/out.json"_s));
        QVERIFY(MessageBox::history().isEmpty());
    }

    void import_newTasks_areAdded_andTheSummarySaysHowMany()
    {
        world->writeTasks({AppWorld::task(u"Mine"_s)});
        window = world->open();
        ScheduledTask enabled = AppWorld::task(u"Enabled"_s, true);
        Sandbox::writeFile(file(u"in.json"_s), TaskMigration::encode({AppWorld::task(u"Disabled"_s), enabled}));
        MessageBox::setNextAnswer(u"OK"_s);
        importFrom(file(u"in.json"_s));
        QCOMPARE(alertTitles(), QStringList{u"Import Complete"_s});
        QCOMPARE(lastAlert().style, MessageBox::Style::information);
        QCOMPARE(lastAlert().text, u"2 tasks imported."_s);
        QCOMPARE(lastAlert().buttons, QStringList{u"OK"_s});
        QCOMPARE(store().tasks().size(), 3);
        QCOMPARE(store().tasks().at(2).name, u"Enabled"_s);
        // Only the enabled one became a job.
        const QList<QStringList> calls = world->launchctl.calls();
        QCOMPARE(calls.size(), 1);
        QCOMPARE(calls.first().value(0), u"load"_s);
        QVERIFY(calls.first().value(1).endsWith(u"com.moxley.task."_s + enabled.fullId() + u".plist"_s));
        QCOMPARE(window->contentView()->visibleTasks().size(), 3);
    }

    void import_ofTheStoresOwnExport_skipsEveryTask_withTheNotice()
    {
        world->writeTasks({AppWorld::task(u"A"_s), AppWorld::task(u"B"_s), AppWorld::task(u"C"_s)});
        window = world->open();
        exportTo(file(u"mine.json"_s));
        const QByteArray before = world->sandbox.readTasksFile();
        MessageBox::setNextAnswer(u"OK"_s);
        MessageBox::setNextAnswer(u"OK"_s);
        importFrom(file(u"mine.json"_s));
        QCOMPARE(MessageBox::history().first().title, u"Import Complete"_s);
        QCOMPARE(MessageBox::history().first().text, u"3 skipped (already present)."_s);
        // The store's warning follows in the window's "Notice" alert.
        QTRY_COMPARE(alertTitles(), (QStringList{u"Import Complete"_s, u"Notice"_s}));
        QCOMPARE(MessageBox::history().last().text, u"Skipped 3 tasks with IDs already present."_s);
        QCOMPARE(store().tasks().size(), 3);
        QCOMPARE(world->sandbox.readTasksFile(), before);
    }

    void import_someNewSomeKnown_summaryHasBothLines()
    {
        const ScheduledTask known = AppWorld::task(u"Known"_s);
        world->writeTasks({known});
        window = world->open();
        Sandbox::writeFile(file(u"in.json"_s), TaskMigration::encode({known, AppWorld::task(u"New"_s)}));
        MessageBox::setNextAnswer(u"OK"_s);
        MessageBox::setNextAnswer(u"OK"_s);
        importFrom(file(u"in.json"_s));
        QCOMPARE(MessageBox::history().first().text, u"1 task imported.\n1 skipped (already present)."_s);
        QTRY_COMPARE(MessageBox::history().size(), 2);
        QCOMPARE(MessageBox::history().last().text, u"Skipped 1 task with ID already present."_s);
    }

    void import_ofAnEmptyList_saysSo_andDoesNotSave()
    {
        world->writeTasks({AppWorld::task(u"Mine"_s)});
        window = world->open();
        const QDateTime written = QFileInfo(world->sandbox.tasksFile()).lastModified();
        QSignalSpy saved(&store(), &TaskStore::saved);
        Sandbox::writeFile(file(u"empty.json"_s), TaskMigration::encode({}));
        MessageBox::setNextAnswer(u"OK"_s);
        importFrom(file(u"empty.json"_s));
        QCOMPARE(lastAlert().title, u"Import Complete"_s);
        QCOMPARE(lastAlert().text, u"The selected file contained no new tasks."_s);
        QCOMPARE(saved.size(), 0);
        QCOMPARE(QFileInfo(world->sandbox.tasksFile()).lastModified(), written);
    }

    void import_ofALegacyBareArray_works()
    {
        window = world->open();
        const ScheduledTask task = AppWorld::task(u"Old"_s);
        // The version 1 form: a bare list of tasks whose calendar schedules hold one time.
        QJsonObject record = QJsonDocument::fromJson(TaskMigration::encode({task}))
                                 .object()
                                 .value(u"tasks"_s)
                                 .toArray()
                                 .at(0)
                                 .toObject();
        record.insert(u"schedule"_s, QJsonObject{{u"daily"_s, QJsonObject{{u"hour"_s, 6}, {u"minute"_s, 15}}}});
        Sandbox::writeFile(file(u"v1.json"_s), QJsonDocument(QJsonArray{record}).toJson());
        MessageBox::setNextAnswer(u"OK"_s);
        importFrom(file(u"v1.json"_s));
        QCOMPARE(lastAlert().title, u"Import Complete"_s);
        QCOMPARE(lastAlert().text, u"1 task imported."_s);
        QCOMPARE(store().tasks().size(), 1);
        QCOMPARE(store().tasks().first().id, task.id);
        QVERIFY(store().tasks().first().schedule == TaskSchedule::daily({{6, 15}}));
    }

    void import_ofAFileThatIsNotJson_failsWithItsReason()
    {
        world->writeTasks({AppWorld::task(u"Mine"_s)});
        window = world->open();
        const QByteArray before = world->sandbox.readTasksFile();
        Sandbox::writeFile(file(u"bad.json"_s), "{\"what\": 1}");
        MessageBox::setNextAnswer(u"OK"_s);
        importFrom(file(u"bad.json"_s));
        QCOMPARE(alertTitles(), QStringList{u"Import Failed"_s});
        QCOMPARE(lastAlert().style, MessageBox::Style::warning);
        QCOMPARE(lastAlert().text, u"Unrecognized tasks.json format"_s);
        QCOMPARE(lastAlert().buttons, QStringList{u"OK"_s});

        Sandbox::writeFile(file(u"v0.json"_s), "{\"version\": 0, \"tasks\": []}");
        MessageBox::setNextAnswer(u"OK"_s);
        importFrom(file(u"v0.json"_s));
        QCOMPARE(lastAlert().title, u"Import Failed"_s);
        QCOMPARE(lastAlert().text, u"Unknown tasks.json version: 0"_s);
        QCOMPARE(store().tasks().size(), 1);
        QCOMPARE(world->sandbox.readTasksFile(), before);
    }

    void import_ofAFileThatCannotBeRead_fails()
    {
        window = world->open();
        MessageBox::setNextAnswer(u"OK"_s);
        importFrom(file(u"missing.json"_s));
        QCOMPARE(lastAlert().title, u"Import Failed"_s);
        QVERIFY(!lastAlert().text.isEmpty());
    }

    void import_cancelled_doesNothing()
    {
        window = world->open();
        importFrom(QString());
        QVERIFY(MessageBox::history().isEmpty());
        QCOMPARE(store().tasks().size(), 0);
    }
};

QTEST_MAIN(ExportImportCommandsTest)
#include "test_export_import_commands.moc"
