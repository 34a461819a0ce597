#include "platform/Appcast.h"

#include <QtTest>

using namespace Qt::StringLiterals;

namespace {
QByteArray twoReleases()
{
    QFile file(QStringLiteral(MOXLEY_TEST_DATA_DIR "/appcast-two-releases.xml"));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
} // namespace

class AppcastTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void parse_readsElementAndEnclosureVersions()
    {
        const Appcast::Feed feed = Appcast::parse(twoReleases());
        QVERIFY(feed.error.isEmpty());
        QCOMPARE(feed.releases.size(), 2);
        QCOMPARE(feed.releases.at(0).version, u"120"_s);
        QCOMPARE(feed.releases.at(0).displayVersion(), u"1.2.0"_s);
        QCOMPARE(feed.releases.at(0).releaseNotesLink, u"https://example.org/notes/1.2.0.html"_s);
        QCOMPARE(feed.releases.at(1).displayVersion(), u"1.10.0"_s);
        QCOMPARE(feed.releases.at(1).releaseNotesLink, u"https://example.org/notes/1.10.0.html"_s);
        QCOMPARE(feed.releases.at(1).downloadUrl, u"https://example.org/Moxley-1.10.0.zip"_s);
        QCOMPARE(Appcast::newest(feed)->displayVersion(), u"1.10.0"_s);
    }

    void parse_brokenFeeds()
    {
        QVERIFY(Appcast::parse("<rss><channel><item>").error.startsWith(u"The update feed is not valid XML: "_s));
        QCOMPARE(Appcast::parse("<html><body>Moved</body></html>").error, u"The update feed has no channel."_s);
        QVERIFY(!Appcast::newest(Appcast::parse("<rss><channel></channel></rss>")));
    }

    void compareVersions_data()
    {
        QTest::addColumn<QString>("a");
        QTest::addColumn<QString>("b");
        QTest::addColumn<int>("expected");
        QTest::newRow("numeric not textual") << "1.10"
                                             << "1.9" << 1;
        QTest::newRow("equal") << "0.1.0"
                               << "0.1.0" << 0;
        QTest::newRow("trailing zero") << "2.0"
                                       << "2" << 0;
        QTest::newRow("longer with number") << "1.0.1"
                                            << "1.0" << 1;
        QTest::newRow("beta before release") << "1.0b2"
                                             << "1.0" << -1;
        QTest::newRow("beta order") << "1.0b2"
                                    << "1.0b10" << -1;
        QTest::newRow("older") << "0.9.9"
                               << "0.10" << -1;
    }

    void compareVersions()
    {
        QFETCH(QString, a);
        QFETCH(QString, b);
        QFETCH(int, expected);
        QCOMPARE(Appcast::compareVersions(a, b), expected);
        QCOMPARE(Appcast::compareVersions(b, a), -expected);
    }
};

QTEST_GUILESS_MAIN(AppcastTest)
#include "test_appcast.moc"
