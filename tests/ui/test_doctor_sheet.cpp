#include "UiWorld.h"

#include "doctor/DoctorChecks.h"
#include "ui/AddTaskView.h"
#include "ui/DoctorSheet.h"
#include "ui/TaskDetailView.h"
#include "ui/TaskFormView.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QTimer>

using namespace Qt::StringLiterals;

// The app's Check: the detail's button and the add form's, the report sheet over a real check
// (launchd's stand-ins, so the scheduled side is launchd's default environment run here), and the
// detail remembering what the last check found.
class DoctorSheetTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<UiWorld> world;
    std::unique_ptr<TaskStore> store;
    QString tools;
    QByteArray savedPath;

    ScheduledTask addTask(const QString &command, const std::optional<QString> &envFile = std::nullopt)
    {
        ScheduledTask task = UiWorld::task(u"Nightly report"_s, command, TaskSchedule::daily({{6, 0}}), true);
        task.useLoginShell = false;
        task.envFilePath = envFile;
        store->add(task);
        return task;
    }

    static QString labelText(const QWidget *root, const QString &name)
    {
        auto *label = visibleChild<QLabel>(root, name);
        return label ? label->text() : u"<no "_s + name + u'>';
    }

private Q_SLOTS:
    void init()
    {
        world = std::make_unique<UiWorld>();
        store = world->openStore();
        tools = world->sandbox.root() + u"/my tools"_s;
        Sandbox::writeFile(tools + u"/only-mine"_s, "#!/bin/sh\n", 0755);
        savedPath = qgetenv("PATH");
        qputenv("PATH", QByteArray(tools.toUtf8() + ':' + savedPath));
    }

    void cleanup()
    {
        qputenv("PATH", savedPath);
        store.reset();
        world.reset();
    }

    void detailCheck_showsEachProblemWithItsFix_andTheDetailKeepsIt()
    {
        const ScheduledTask task = addTask(u"only-mine --report"_s);
        TaskDetailView view(*store, task);
        view.resize(760, 900);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        QVERIFY(!visibleChild<QWidget>(&view, u"detail-check-problems"_s));

        auto *check = visibleChild<QPushButton>(&view, u"detail-check"_s);
        QVERIFY(check);
        QTest::mouseClick(check, Qt::LeftButton);
        auto *sheet = view.findChild<DoctorSheet *>();
        QVERIFY(sheet);
        QTRY_VERIFY(sheet->isVisible());
        QTRY_VERIFY_WITH_TIMEOUT(!sheet->isChecking(), 30000);

        QCOMPARE(labelText(sheet, u"doctor-headline"_s), u"1 problem found"_s);
        // New widgets in a shown layout appear once the event loop has turned.
        QTRY_VERIFY(visibleChild<QWidget>(sheet, u"doctor-problem-0"_s));
        auto *problem = visibleChild<QWidget>(sheet, u"doctor-problem-0"_s);
        QCOMPARE(labelText(problem, u"doctor-problem-title"_s), u"Command not found when scheduled"_s);
        QCOMPARE(labelText(problem, u"doctor-problem-text"_s),
                 u"`only-mine` is found in your terminal ("_s + tools + u"/only-mine) but not when scheduled."_s);
        QCOMPARE(labelText(problem, u"doctor-problem-fix"_s),
                 u"Fix: Add its folder to PATH in the task's .env file or use the full path."_s);
        QCOMPARE(labelText(sheet, u"doctor-note"_s),
                 u"The scheduler could not be asked (launchctl is a stand-in here), so the scheduled side is its "
                 "documented default environment: PATH=/usr/bin:/bin:/usr/sbin:/sbin, working folder /"_s);
        QVERIFY(
            labelText(sheet, u"doctor-scheduled"_s).startsWith(u"PATH=/usr/bin:/bin:/usr/sbin:/sbin\nshell: bash\n"_s));

        QTest::mouseClick(visibleChild<QPushButton>(sheet, u"doctor-close"_s), Qt::LeftButton);
        QTRY_VERIFY(!view.findChild<DoctorSheet *>());
        QCOMPARE(labelText(&view, u"detail-check-problems"_s),
                 u"The last check found 1 problem: Command not found when scheduled. Check shows how to fix them."_s);
    }

    void longCheck_leavesTheWindowResponsive()
    {
        const QString envFile = world->sandbox.root() + u"/slow.env"_s;
        Sandbox::writeFile(envFile, "sleep 1.5\n");
        const ScheduledTask task = addTask(u"ls"_s, envFile);
        TaskDetailView view(*store, task);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        int ticks = 0;
        QTimer ticker;
        connect(&ticker, &QTimer::timeout, this, [&ticks] { ++ticks; });
        ticker.start(20);
        DoctorSheet *sheet = view.openCheck();
        QTRY_VERIFY(sheet->isChecking());
        QVERIFY(visibleChild<QWidget>(sheet, u"doctor-running"_s));
        QVERIFY(!visibleChild<QPushButton>(sheet, u"doctor-check-again"_s)->isEnabled());
        const int before = ticks;
        QTRY_VERIFY_WITH_TIMEOUT(!sheet->isChecking(), 30000);
        // Both probes sleep 1.5 s in the .env file: the event loop turned all the while.
        QVERIFY2(ticks - before > 40, qPrintable(QString::number(ticks - before)));
        QCOMPARE(labelText(sheet, u"doctor-headline"_s),
                 u"No problems: the task will run when scheduled as it does in a Test Run."_s);
        QVERIFY(visibleChild<QPushButton>(sheet, u"doctor-check-again"_s)->isEnabled());
        QVERIFY(!visibleChild<QWidget>(sheet, u"doctor-problem-0"_s));
    }

    void addForm_checkBesideTestRun_checksTheFormsCommand()
    {
        AddTaskView add(*store);
        add.show();
        QVERIFY(QTest::qWaitForWindowExposed(&add));
        auto *check = visibleChild<QPushButton>(&add, u"form-check"_s);
        auto *testRun = visibleChild<QPushButton>(&add, u"form-test-run"_s);
        QVERIFY(check && testRun);
        QVERIFY(!check->isEnabled());
        // Beside Test Run, at the start of the bar.
        QCOMPARE(check->y(), testRun->y());
        QVERIFY(check->x() > testRun->x() && check->x() - (testRun->x() + testRun->width()) < 20);

        TaskFormFields fields = add.form()->fields();
        fields.name = u"Try"_s;
        fields.command = u"only-mine && ./not-here.sh"_s;
        fields.useLoginShell = false;
        add.form()->setFields(fields);
        QVERIFY(check->isEnabled());
        QTest::mouseClick(check, Qt::LeftButton);
        auto *sheet = add.findChild<DoctorSheet *>();
        QVERIFY(sheet);
        QTRY_VERIFY_WITH_TIMEOUT(sheet->isVisible() && !sheet->isChecking(), 30000);
        QCOMPARE(labelText(sheet, u"doctor-headline"_s), u"2 problems found"_s);
        QTRY_VERIFY(visibleChild<QWidget>(sheet, u"doctor-problem-1"_s));
        QCOMPARE(labelText(visibleChild<QWidget>(sheet, u"doctor-problem-1"_s), u"doctor-problem-title"_s),
                 u"Script missing"_s);
        // The task is not added yet: no job is asked about, and nothing was installed.
        QCOMPARE(store->tasks().size(), 0);
    }

    void splitFix_takesTheTextAfterTheLastSemicolon()
    {
        QCOMPARE(DoctorSheet::splitFix(u"a; b; run chmod +x x"_s),
                 (QPair<QString, QString>{u"a; b."_s, u"Run chmod +x x."_s}));
        QCOMPARE(DoctorSheet::splitFix(u"no fix here"_s), (QPair<QString, QString>{u"no fix here"_s, QString()}));
    }
};

QTEST_MAIN(DoctorSheetTest)
#include "test_doctor_sheet.moc"
