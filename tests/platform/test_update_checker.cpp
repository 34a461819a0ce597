#include "platform/UpdateChecker.h"

#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
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

    FeedServer()
    {
        connect(this, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket *socket = nextPendingConnection()) {
                connect(socket, &QTcpSocket::readyRead, socket, [this, socket] {
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

    void newerFeed_reportsTheRelease()
    {
        UpdateChecker checker(m_server.url("/newer.xml"), u"0.1.0"_s);
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
        QCOMPARE(check(equal).status, UpdateChecker::Result::Status::upToDate);
        UpdateChecker older(m_server.url("/older.xml"), u"0.1.0"_s);
        QCOMPARE(check(older).status, UpdateChecker::Result::Status::upToDate);
    }

    void malformedFeed_fails()
    {
        UpdateChecker checker(m_server.url("/malformed.xml"), u"0.1.0"_s);
        const auto result = check(checker);
        QCOMPARE(result.status, UpdateChecker::Result::Status::failed);
        QVERIFY2(result.error.startsWith(u"The update feed is not valid XML: "_s), qPrintable(result.error));
    }

    void missingFeed_fails()
    {
        UpdateChecker checker(m_server.url("/nothing.xml"), u"0.1.0"_s);
        const auto result = check(checker);
        QCOMPARE(result.status, UpdateChecker::Result::Status::failed);
        QVERIFY(!result.error.isEmpty());
    }

    void silentServer_endsWithAMessage()
    {
        UpdateChecker checker(m_server.url("/silent"), u"0.1.0"_s);
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
