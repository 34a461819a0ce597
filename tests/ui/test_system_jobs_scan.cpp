#include "ContentViewHarness.h"

#include <QElapsedTimer>
#include <QTimer>

using namespace Qt::StringLiterals;
using namespace ContentViewHarness;

namespace {

// Notes what the view had when its first paint was delivered.
class FirstPaint : public QObject
{
public:
    explicit FirstPaint(ContentView &view, const QSignalSpy &scanned) : m_view(view), m_scanned(scanned)
    {
        view.installEventFilter(this);
    }
    bool painted = false;
    qsizetype jobsAtPaint = -1;
    qsizetype scansAtPaint = -1;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (!painted && watched == &m_view && event->type() == QEvent::Paint) {
            painted = true;
            jobsAtPaint = m_view.systemJobs().size();
            scansAtPaint = m_scanned.size();
        }
        return QObject::eventFilter(watched, event);
    }

private:
    ContentView &m_view;
    const QSignalSpy &m_scanned;
};

} // namespace

// The system jobs are read after the window's first paint, off the window's thread, and their rows
// come when the reading is done.
class SystemJobsScanTest : public QObject, private Fixture
{
    Q_OBJECT

private Q_SLOTS:
    void init() { setUp(); }
    void cleanup() { tearDown(); }

    void firstPaint_beforeTheScan_windowAnswersWhileItRuns_rowsAfter()
    {
        constexpr int kJobs = 600;
        for (int i = 0; i < kJobs; ++i) {
            const QString folder = i % 2 ? world->globalDaemonsDir() : world->sandbox.launchAgentsDir();
            world->writeJob(folder, u"org.example.job"_s + QString::number(i),
                            "<key>StartInterval</key><integer>" + QByteArray::number(60 + i) + "</integer>");
        }
        world->writeTasks({UiWorld::task(u"a"_s, u"true"_s)});
        store = world->openStore();
        view = std::make_unique<ContentView>(*store);
        QSignalSpy scanned(view.get(), &ContentView::systemJobsScanned);
        const FirstPaint firstPaint(*view, scanned);
        // Events handled on the window's thread while the scan is under way.
        int ticksWhileScanning = 0;
        QTimer ticker;
        ticker.setInterval(1);
        connect(&ticker, &QTimer::timeout, this, [&] { ticksWhileScanning += view->isScanningSystemJobs() ? 1 : 0; });
        ticker.start();
        view->resize(900, 600);
        view->show();
        QVERIFY(scanned.wait(30000));
        ticker.stop();

        QVERIFY(firstPaint.painted);
        QCOMPARE(firstPaint.jobsAtPaint, 0);
        QCOMPARE(firstPaint.scansAtPaint, 0);
        QVERIFY2(ticksWhileScanning > 0, "the window's thread handled nothing while the jobs were read");
        QVERIFY(!view->isScanningSystemJobs());

        QCOMPARE(view->systemJobs().size(), kJobs);
        QCOMPARE(view->sidebar()->systemJobsCount()->text(), QString::number(kJobs));
        view->setShowSystemJobs(true);
        QTRY_VERIFY(!sidebarJobLabels(*view).isEmpty());
        QCOMPARE(sidebarJobLabels(*view).constFirst(), u"org.example.job0"_s);
    }

    void viewClosedWhileScanning_endsCleanly()
    {
        for (int i = 0; i < 1000; ++i) {
            world->writeJob(world->globalAgentsDir(), u"org.example.job"_s + QString::number(i));
        }
        store = world->openStore();
        view = std::make_unique<ContentView>(*store);
        QSignalSpy scanned(view.get(), &ContentView::systemJobsScanned);
        view->show();
        QElapsedTimer waited;
        waited.start();
        while (!view->isScanningSystemJobs() && scanned.isEmpty() && waited.elapsed() < 10000) {
            QCoreApplication::processEvents();
        }
        QVERIFY(view->isScanningSystemJobs());
        view.reset(); // waits for the reading; its answer goes nowhere
        QTest::qWait(20);
        QVERIFY(scanned.isEmpty());
    }
};

QTEST_MAIN(SystemJobsScanTest)
#include "test_system_jobs_scan.moc"
