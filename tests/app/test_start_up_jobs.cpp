#include "AppWorld.h"

#include "app/StartUpJobs.h"
#include "platform/TasksFileLock.h"

#include <QProgressBar>

namespace {

constexpr int kTasks = 60;

// Notes what each paint of the main window shows: at its first paint, how many scripts were
// written and whether the start-up jobs had finished; afterwards, the progress bar's values.
class PaintProbe : public QObject
{
public:
    explicit PaintProbe(std::function<int()> scripts) : m_scripts(std::move(scripts))
    {
        qApp->installEventFilter(this);
    }
    ~PaintProbe() override { qApp->removeEventFilter(this); }

    bool painted = false;
    int scriptsAtFirstPaint = -1;
    QList<QPair<int, int>> barsPainted; // value, maximum

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() != QEvent::Paint || !watched->isWidgetType()) {
            return false;
        }
        auto *widget = static_cast<QWidget *>(watched);
        if (!painted && widget->window()->inherits("MainWindow")) {
            painted = true;
            scriptsAtFirstPaint = m_scripts();
        }
        if (auto *bar = qobject_cast<QProgressBar *>(widget); bar && bar->objectName() == u"start-up-progress") {
            barsPainted.append({bar->value(), bar->maximum()});
        }
        return false;
    }

private:
    std::function<int()> m_scripts;
};

} // namespace

// The app's window paints before the stray-job sweep and the script refresh of its start-up,
// which then run a slice at a time with a progress bar.
class StartUpJobsTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<AppWorld> world;
    QList<ScheduledTask> tasks;

    int scriptsWritten() const
    {
        int count = 0;
        for (const ScheduledTask &task : tasks) {
            count += QFileInfo::exists(LaunchdService().scriptPath(task)) ? 1 : 0;
        }
        return count;
    }

    QString strayJob() const
    {
        return world->sandbox.launchAgentsDir() + u"/com.moxley.task."_s +
               QUuid::createUuidV5(QUuid(), u"stray"_s).toString(QUuid::WithoutBraces).toUpper() + u".plist"_s;
    }

private Q_SLOTS:
    void init()
    {
        world = std::make_unique<AppWorld>();
        tasks.clear();
        for (int i = 0; i < kTasks; ++i) {
            tasks.append(AppWorld::task(u"Task "_s + QString::number(i), true));
        }
        world->writeTasks(tasks);
        Sandbox::writeFile(strayJob(), "<plist/>");
    }
    void cleanup() { world.reset(); }

    void deferred_firstPaintComesBeforeTheReinstall()
    {
        MoxleyApp::Options options = world->options();
        options.store.deferStartUpJobs = true;
        world->start(std::move(options));
        // Nothing was installed or swept while the store loaded.
        QCOMPARE(scriptsWritten(), 0);
        QVERIFY(QFileInfo::exists(strayJob()));
        QVERIFY(world->launchctl.calls().isEmpty());
        // Nor was the lock file of the sweep written: a start writes nothing before its first paint.
        const QString sweepLock = TasksFileLock::lockFilePath(TasksFileLock::Kind::sweep, world->sandbox.tasksFile());
        QVERIFY(!QFileInfo::exists(sweepLock));

        PaintProbe probe([this] { return scriptsWritten(); });
        MainWindow *window = world->open();
        StartUpJobs *jobs = world->app->startUpJobs();
        QVERIFY(jobs);
        QTRY_VERIFY(probe.painted);
        QCOMPARE(probe.scriptsAtFirstPaint, 0);

        QTRY_VERIFY_WITH_TIMEOUT(jobs->isFinished(), 60000);
        QCOMPARE(scriptsWritten(), kTasks);
        QVERIFY(!QFileInfo::exists(strayJob()));
        // The sweep after the paint took its lock.
        QVERIFY(QFileInfo::exists(sweepLock));
        // The bar showed the work as it went, out of all the tasks, and is gone at the end.
        QVERIFY(!probe.barsPainted.isEmpty());
        bool partway = false;
        for (const auto &[value, maximum] : std::as_const(probe.barsPainted)) {
            QCOMPARE(maximum, kTasks);
            partway = partway || (value > 0 && value < kTasks);
        }
        QVERIFY(partway);
        QTRY_VERIFY(!window->findChild<QProgressBar *>(u"start-up-progress"_s));
    }

    void deferred_nothingOutdated_noProgressBar()
    {
        // A first start without deferral writes every script while it loads.
        world->start();
        QCOMPARE(scriptsWritten(), kTasks);
        QVERIFY(!QFileInfo::exists(strayJob()));
        world->app.reset();

        Sandbox::writeFile(strayJob(), "<plist/>");
        MoxleyApp::Options options = world->options();
        options.store.deferStartUpJobs = true;
        world->start(std::move(options));
        PaintProbe probe([this] { return scriptsWritten(); });
        world->open();
        QTRY_VERIFY_WITH_TIMEOUT(world->app->startUpJobs()->isFinished(), 30000);
        QVERIFY(probe.painted);
        QVERIFY(probe.barsPainted.isEmpty());
        QVERIFY(!world->app->mainWindow()->findChild<QProgressBar *>(u"start-up-progress"_s));
        QVERIFY(!QFileInfo::exists(strayJob()));
    }
};

QTEST_MAIN(StartUpJobsTest)
#include "test_start_up_jobs.moc"
