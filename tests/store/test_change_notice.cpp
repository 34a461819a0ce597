#include "SessionBus.h"
#include "platform/ChangeNotice.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

// The tool's notice must reach an app in another process; without a bus nothing may go wrong.
class ChangeNoticeTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { SKIP_WITHOUT_SESSION_BUS(); }

    void postedNotice_reachesObserver()
    {
        SessionBus bus;
        QVERIFY(bus.isValid());
        const auto listener = ChangeNotice::system();
        int received = 0;
        auto observation = listener->observe([&] { ++received; });
        const auto poster = ChangeNotice::system();
        poster->post();
        QTRY_COMPARE(received, 1);
        poster->post();
        QTRY_COMPARE(received, 2);
        // Nothing else arrives.
        QTest::qWait(200);
        QCOMPARE(received, 2);
    }

    void noticeFromAnotherProcess_reachesObserver()
    {
        SessionBus bus;
        QVERIFY(bus.isValid());
        const auto listener = ChangeNotice::system();
        int received = 0;
        auto observation = listener->observe([&] { ++received; });
        // The wire form another program would send: path, interface and member.
        QProcess sender;
        sender.start(QStringLiteral("dbus-send"),
                     {QStringLiteral("--session"), QStringLiteral("--type=signal"), QStringLiteral("/com/moxley/Tasks"),
                      QStringLiteral("com.moxley.Tasks.tasksDidChange")});
        QVERIFY(sender.waitForFinished(10000));
        QCOMPARE(sender.exitCode(), 0);
        QTRY_COMPARE(received, 1);
    }

    void otherSignals_ignored()
    {
        SessionBus bus;
        QVERIFY(bus.isValid());
        const auto listener = ChangeNotice::system();
        int received = 0;
        auto observation = listener->observe([&] { ++received; });
        QProcess sender;
        sender.start(QStringLiteral("dbus-send"),
                     {QStringLiteral("--session"), QStringLiteral("--type=signal"), QStringLiteral("/com/moxley/Tasks"),
                      QStringLiteral("com.moxley.Tasks.somethingElse")});
        QVERIFY(sender.waitForFinished(10000));
        ChangeNotice::system()->post();
        QTRY_COMPARE(received, 1);
        QTest::qWait(200);
        QCOMPARE(received, 1);
    }

    void droppedObservation_receivesNothing()
    {
        SessionBus bus;
        QVERIFY(bus.isValid());
        const auto listener = ChangeNotice::system();
        int first = 0;
        int second = 0;
        auto kept = listener->observe([&] { ++second; });
        auto dropped = listener->observe([&] { ++first; });
        dropped.reset();
        ChangeNotice::system()->post();
        QTRY_COMPARE(second, 1);
        QTest::qWait(200);
        QCOMPARE(first, 0);
    }

    void noBus_nothingHappensAndNoComplaint()
    {
        const QByteArray savedAddress = qgetenv("DBUS_SESSION_BUS_ADDRESS");
        const QByteArray savedRuntime = qgetenv("XDG_RUNTIME_DIR");
        QTemporaryDir emptyRuntime;
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        for (const QByteArray &address : {QByteArray(), QByteArray("unix:path=/nonexistent/moxley-bus")}) {
            if (address.isEmpty()) {
                qunsetenv("DBUS_SESSION_BUS_ADDRESS");
            } else {
                qputenv("DBUS_SESSION_BUS_ADDRESS", address);
            }
            qputenv("XDG_RUNTIME_DIR", emptyRuntime.path().toUtf8());
            const auto notice = ChangeNotice::system();
            int received = 0;
            auto observation = notice->observe([&] { ++received; });
            QVERIFY(observation);
            notice->post();
            QTest::qWait(100);
            QCOMPARE(received, 0);
        }
        const auto restore = [](const char *name, const QByteArray &value) {
            if (value.isNull()) {
                qunsetenv(name);
            } else {
                qputenv(name, value);
            }
        };
        restore("DBUS_SESSION_BUS_ADDRESS", savedAddress);
        restore("XDG_RUNTIME_DIR", savedRuntime);
    }
};

QTEST_GUILESS_MAIN(ChangeNoticeTest)
#include "test_change_notice.moc"
