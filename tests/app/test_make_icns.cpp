#include "Sandbox.h"

#include <QImage>
#include <QtEndian>
#include <QtTest>

using namespace Qt::StringLiterals;

// The bundle's icon: the real moxley-make-icns on our SVG, and its .icns read back by hand.
class MakeIcnsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void appIcon_everyMacSizeAsPng()
    {
        Sandbox sandbox;
        const QString out = sandbox.root() + u"/Moxley.icns"_s;
        const auto result =
            sandbox.run(QStringLiteral(MOXLEY_MAKE_ICNS_PATH), {QStringLiteral(MOXLEY_APP_ICON_SVG), out});
        QCOMPARE(result.exitCode, 0);
        const QByteArray file = Sandbox::readFile(out);
        QVERIFY(file.size() > 8);
        QCOMPARE(file.left(4), QByteArray("icns"));
        QCOMPARE(qFromBigEndian<quint32>(file.constData() + 4), quint32(file.size()));

        const QMap<QByteArray, int> expected{{"icp4", 16},  {"icp5", 32},  {"ic11", 32},  {"ic12", 64},
                                             {"ic07", 128}, {"ic13", 256}, {"ic08", 256}, {"ic14", 512},
                                             {"ic09", 512}, {"ic10", 1024}};
        QMap<QByteArray, int> found;
        qsizetype at = 8;
        while (at < file.size()) {
            QVERIFY(at + 8 <= file.size());
            const QByteArray type = file.mid(at, 4);
            const quint32 length = qFromBigEndian<quint32>(file.constData() + at + 4);
            QVERIFY(length > 8 && at + qsizetype(length) <= file.size());
            const QByteArray data = file.mid(at + 8, length - 8);
            QVERIFY(data.startsWith("\x89PNG\r\n\x1a\n"));
            const QImage image = QImage::fromData(data, "PNG");
            QCOMPARE(image.width(), expected.value(type, -1));
            QCOMPARE(image.height(), image.width());
            // Drawn, not blank: the middle of the icon is opaque.
            QCOMPARE(image.pixelColor(image.width() / 2, image.height() / 2).alpha(), 255);
            found.insert(type, image.width());
            at += length;
        }
        QCOMPARE(found, expected);
    }

    void unreadableSvg_failsWithAMessage()
    {
        Sandbox sandbox;
        Sandbox::writeFile(sandbox.root() + u"/bad.svg"_s, "not svg", 0644);
        const auto result = sandbox.run(QStringLiteral(MOXLEY_MAKE_ICNS_PATH),
                                        {sandbox.root() + u"/bad.svg"_s, sandbox.root() + u"/x.icns"_s});
        QCOMPARE(result.exitCode, 1);
        QVERIFY(result.err.contains("cannot read"));
        QVERIFY(!QFile::exists(sandbox.root() + u"/x.icns"_s));
    }
};

QTEST_MAIN(MakeIcnsTest)
#include "test_make_icns.moc"
