#include "platform/UpdateChecker.h"
#include "platform/UpdateFetchModule.h"

#include <QFile>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

QByteArray feedWith(const char *shortVersion)
{
    return QByteArray(
               R"(<?xml version="1.0"?><rss version="2.0" xmlns:sparkle="http://www.andymatuschak.org/xml-namespaces/sparkle"><channel><item><title>Moxley</title><sparkle:version>9</sparkle:version><sparkle:shortVersionString>)") +
           shortVersion +
           "</sparkle:shortVersionString><sparkle:releaseNotesLink>https://example.org/notes</sparkle:releaseNotesLink>"
           "</item></channel></rss>";
}

// A real HTTP server on 127.0.0.1: answers each path as told; "/silent" accepts and never answers.
class FeedServer : public QTcpServer
{
public:
    QHash<QByteArray, QPair<int, QByteArray>> answers;
    int requests = 0;

    FeedServer()
    {
        connect(this, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket *socket = nextPendingConnection()) {
                connect(socket, &QTcpSocket::readyRead, socket, [this, socket] {
                    ++requests;
                    const QByteArray request = socket->readAll();
                    const QByteArray path = request.split(' ').value(1);
                    if (path == "/silent") {
                        return;
                    }
                    const auto answer = answers.value(path, {404, "not here"});
                    socket->write("HTTP/1.1 " + QByteArray::number(answer.first) +
                                  " X\r\nContent-Length: " + QByteArray::number(answer.second.size()) +
                                  "\r\nContent-Type: application/xml\r\nConnection: close\r\n\r\n" + answer.second);
                    socket->disconnectFromHost();
                });
            }
        });
    }

    QUrl url(const char *path) const
    {
        return QUrl(u"http://127.0.0.1:"_s + QString::number(serverPort()) + QString::fromLatin1(path));
    }
};

// The real module, looked for as the app in the build's bin/ looks for it.
void useTheBuiltModule(UpdateChecker &checker)
{
    checker.setModuleFolders(UpdateFetchModule::defaultFolders(QStringLiteral(MOXLEY_BIN_DIR)));
}

// Whether the module is mapped into this process (Linux).
bool moduleIsLoaded()
{
    QFile maps(QStringLiteral("/proc/self/maps"));
    if (!maps.open(QIODevice::ReadOnly)) {
        qFatal("no /proc/self/maps");
    }
    return maps.readAll().contains(UpdateFetchModule::fileName().toUtf8());
}

UpdateChecker::Result check(UpdateChecker &checker)
{
    QSignalSpy spy(&checker, &UpdateChecker::checkFinished);
    checker.checkForUpdates();
    if (!spy.wait(15000)) {
        qFatal("update check never ended");
    }
    return spy.first().first().value<UpdateChecker::Result>();
}

} // namespace

Q_DECLARE_METATYPE(UpdateChecker::Result)

class UpdateCheckerTest : public QObject
{
    Q_OBJECT

    FeedServer m_server;

private Q_SLOTS:
    void initTestCase()
    {
        qRegisterMetaType<UpdateChecker::Result>();
        QVERIFY(m_server.listen(QHostAddress::LocalHost));
        m_server.answers.insert("/newer.xml", {200, feedWith("0.2.0")});
        m_server.answers.insert("/equal.xml", {200, feedWith("0.1.0")});
        m_server.answers.insert("/older.xml", {200, feedWith("0.0.9")});
        m_server.answers.insert("/malformed.xml", {200, "<rss><channel><item><title>half"});
    }

    // First, so that no other check has loaded the module yet.
    void module_isLoadedByTheFirstCheckOnly()
    {
#ifndef Q_OS_LINUX
        QSKIP("reads /proc/self/maps");
#endif
        UpdateChecker checker(m_server.url("/equal.xml"), u"0.1.0"_s);
        useTheBuiltModule(checker);
        QVERIFY(!moduleIsLoaded());
        QCOMPARE(check(checker).status, UpdateChecker::Result::Status::upToDate);
        QVERIFY(moduleIsLoaded());
    }

    void newerFeed_reportsTheRelease()
    {
        UpdateChecker checker(m_server.url("/newer.xml"), u"0.1.0"_s);
        useTheBuiltModule(checker);
        QSignalSpy canCheck(&checker, &UpdateChecker::canCheckForUpdatesChanged);
        const auto result = check(checker);
        QCOMPARE(result.status, UpdateChecker::Result::Status::newerAvailable);
        QCOMPARE(result.release->displayVersion(), u"0.2.0"_s);
        QCOMPARE(result.release->releaseNotesLink, u"https://example.org/notes"_s);
        // Disabled while the check ran, enabled again after.
        QCOMPARE(canCheck.size(), 2);
        QCOMPARE(canCheck.at(0).at(0).toBool(), false);
        QCOMPARE(canCheck.at(1).at(0).toBool(), true);
        QVERIFY(checker.canCheckForUpdates());
    }

    void equalOrOlderFeed_isUpToDate()
    {
        UpdateChecker equal(m_server.url("/equal.xml"), u"0.1.0"_s);
        useTheBuiltModule(equal);
        QCOMPARE(check(equal).status, UpdateChecker::Result::Status::upToDate);
        UpdateChecker older(m_server.url("/older.xml"), u"0.1.0"_s);
        useTheBuiltModule(older);
        QCOMPARE(check(older).status, UpdateChecker::Result::Status::upToDate);
    }

    void malformedFeed_fails()
    {
        UpdateChecker checker(m_server.url("/malformed.xml"), u"0.1.0"_s);
        useTheBuiltModule(checker);
        const auto result = check(checker);
        QCOMPARE(result.status, UpdateChecker::Result::Status::failed);
        QVERIFY2(result.error.startsWith(u"The update feed is not valid XML: "_s), qPrintable(result.error));
    }

    void missingFeed_fails()
    {
        UpdateChecker checker(m_server.url("/nothing.xml"), u"0.1.0"_s);
        useTheBuiltModule(checker);
        const auto result = check(checker);
        QCOMPARE(result.status, UpdateChecker::Result::Status::failed);
        // QtNetwork's own words for the 404.
        QVERIFY2(result.error.contains(u"server replied"_s), qPrintable(result.error));
    }

    void silentServer_endsWithAMessage()
    {
        UpdateChecker checker(m_server.url("/silent"), u"0.1.0"_s);
        useTheBuiltModule(checker);
        checker.setTimeout(800);
        QVERIFY(checker.canCheckForUpdates());
        QSignalSpy spy(&checker, &UpdateChecker::checkFinished);
        checker.checkForUpdates();
        QVERIFY(!checker.canCheckForUpdates());
        checker.checkForUpdates(); // a second request while one runs is ignored
        QVERIFY(spy.wait(10000));
        QCOMPARE(spy.size(), 1);
        const auto result = spy.first().first().value<UpdateChecker::Result>();
        QCOMPARE(result.status, UpdateChecker::Result::Status::failed);
        QCOMPARE(result.error, u"The update server did not answer in time."_s);
        QVERIFY(checker.canCheckForUpdates());
    }

    void checkerDeletedMidRequest_endsQuietly()
    {
        auto checker = std::make_unique<UpdateChecker>(m_server.url("/silent"), u"0.1.0"_s);
        useTheBuiltModule(*checker);
        QSignalSpy finished(checker.get(), &UpdateChecker::checkFinished);
        const int requestsBefore = m_server.requests;
        checker->checkForUpdates();
        QTRY_COMPARE(m_server.requests, requestsBefore + 1);
        checker.reset();
        QTest::qWait(100);
        QCOMPARE(finished.size(), 0);
    }

    void missingModule_failsWithAMessage_andIsLookedForAgain()
    {
        QTemporaryDir empty;
        UpdateChecker checker(m_server.url("/newer.xml"), u"0.1.0"_s);
        checker.setModuleFolders({empty.path(), empty.path() + u"/nothing"_s});
        QSignalSpy canCheck(&checker, &UpdateChecker::canCheckForUpdatesChanged);
        const int requestsBefore = m_server.requests;
        const auto result = check(checker);
        QCOMPARE(result.status, UpdateChecker::Result::Status::failed);
        QCOMPARE(result.error, u"The update module could not be loaded: "_s + UpdateFetchModule::fileName() +
                                   u" is in none of these folders: "_s + empty.path() + u", "_s + empty.path() +
                                   u"/nothing."_s);
        QCOMPARE(result.currentVersion, u"0.1.0"_s);
        QCOMPARE(m_server.requests, requestsBefore);
        QVERIFY(canCheck.isEmpty());
        QVERIFY(checker.canCheckForUpdates());
        // Once it is there, the next check finds it.
        useTheBuiltModule(checker);
        QCOMPARE(check(checker).status, UpdateChecker::Result::Status::newerAvailable);
    }

    void fileThatIsNoLibrary_failsWithTheLoadersMessage()
    {
        QTemporaryDir broken;
        const QString path = broken.filePath(UpdateFetchModule::fileName());
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("not a shared library\n");
        file.close();
        UpdateChecker checker(m_server.url("/newer.xml"), u"0.1.0"_s);
        // The first file found is the one used: the real module further on is not tried.
        checker.setModuleFolders(QStringList{broken.path()} +
                                 UpdateFetchModule::defaultFolders(QStringLiteral(MOXLEY_BIN_DIR)));
        const auto result = check(checker);
        QCOMPARE(result.status, UpdateChecker::Result::Status::failed);
        QVERIFY2(result.error.startsWith(u"The update module could not be loaded: "_s), qPrintable(result.error));
        QVERIFY2(result.error.contains(path), qPrintable(result.error));
    }

    void moduleOfAnotherInterfaceVersion_isRefused()
    {
        QTemporaryDir folder;
        QVERIFY(
            QFile::copy(QStringLiteral(MOXLEY_OTHER_VERSION_MODULE), folder.filePath(UpdateFetchModule::fileName())));
        UpdateChecker checker(m_server.url("/newer.xml"), u"0.1.0"_s);
        checker.setModuleFolders({folder.path()});
        const auto result = check(checker);
        QCOMPARE(result.status, UpdateChecker::Result::Status::failed);
        QCOMPARE(result.error, u"The update module could not be loaded: "_s +
                                   folder.filePath(UpdateFetchModule::fileName()) +
                                   u" has no function moxleyCreateUpdateFetcher1: it is not an update module "
                                   u"of this version of Moxley."_s);
    }

    // Plain HTTP only from this machine, judged without QtNetwork: QHostAddress is the referee.
    void plainHttp_onlyFromALoopbackAddress()
    {
        const char *const hosts[] = {"127.0.0.1",
                                     "127.1",
                                     "0x7f.0.0.1",
                                     "2130706433",
                                     "127.255.255.254",
                                     "127.000.000.001",
                                     "[::1]",
                                     "[0:0:0:0:0:0:0:1]",
                                     "[::ffff:127.0.0.1]",
                                     "[::ffff:7f00:1]",
                                     "[::]",
                                     "0.0.0.0",
                                     "128.0.0.1",
                                     "1.2.3.4",
                                     "127.0.0.300",
                                     "127.0.0.1.example.org",
                                     "[::ffff:8.8.8.8]",
                                     "[::2]",
                                     "[fe80::1%25eth0]",
                                     "example.org"};
        for (const char *host : hosts) {
            const QUrl url(u"http://"_s + QLatin1String(host) + u":8080/appcast.xml"_s);
            QVERIFY2(url.isValid(), host);
            const QHostAddress address(url.host());
            QCOMPARE(UpdateChecker::isTrustedAddress(url), !address.isNull() && address.isLoopback());
        }
        QVERIFY(UpdateChecker::isTrustedAddress(QUrl(u"http://localhost:8080/appcast.xml"_s)));
        QVERIFY(UpdateChecker::isTrustedAddress(QUrl(u"http://LocalHost/appcast.xml"_s)));
        QVERIFY(UpdateChecker::isTrustedAddress(QUrl(u"https://example.org/appcast.xml"_s)));
        QVERIFY(!UpdateChecker::isTrustedAddress(QUrl(u"ftp://127.0.0.1/appcast.xml"_s)));
        QVERIFY(!UpdateChecker::isTrustedAddress(QUrl(u"file:///tmp/appcast.xml"_s)));
    }

    void insecureAddress_refused()
    {
        UpdateChecker checker(QUrl(u"http://example.org/appcast.xml"_s), u"0.1.0"_s);
        const auto result = check(checker);
        QCOMPARE(result.status, UpdateChecker::Result::Status::failed);
        QCOMPARE(result.error,
                 u"The update feed address is not a secure (https) address: http://example.org/appcast.xml"_s);
    }
};

QTEST_GUILESS_MAIN(UpdateCheckerTest)
#include "test_update_checker.moc"
