#include "ui/Icons.h"

#include <QApplication>
#include <QImage>
#include <QtTest>

namespace {

// Every symbol name the interface uses; each must ship.
const QStringList kUsedSymbols{
    u"clock.badge.checkmark"_qs, u"gearshape.2"_qs, u"plus.circle.fill"_qs, u"checkmark.circle.fill"_qs,
    u"circle"_qs, u"calendar.badge.clock"_qs, u"clock.badge.questionmark"_qs, u"plus"_qs,
    u"square.and.arrow.up"_qs, u"trash"_qs, u"envelope"_qs, u"sparkles.rectangle.stack"_qs,
    u"minus.circle"_qs, u"plus.circle"_qs, u"play.fill"_qs, u"pencil"_qs, u"doc.on.doc"_qs,
    u"terminal"_qs, u"checkmark"_qs, u"folder.badge.gearshape"_qs, u"power"_qs,
    u"exclamationmark.triangle"_qs, u"list.bullet.rectangle"_qs, u"arrow.clockwise"_qs,
    u"xmark.circle.fill"_qs, u"doc.text"_qs, u"doc.text.fill"_qs, u"folder"_qs, u"xmark.circle"_qs,
    u"checkmark.circle"_qs, u"play.circle"_qs, u"arrow.clockwise.circle"_qs};

int countPixels(const QImage &image, const QColor &color)
{
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor pixel = image.pixelColor(x, y);
            if (pixel.alpha() > 200 && pixel.red() == color.red() && pixel.green() == color.green() &&
                pixel.blue() == color.blue()) {
                ++count;
            }
        }
    }
    return count;
}

} // namespace

class IconsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyUsedSymbolShips()
    {
        const QStringList shipped = Icons::names();
        for (const QString &name : kUsedSymbols) {
            QVERIFY2(shipped.contains(name), qPrintable(name));
            QVERIFY2(!Icons::symbol(name).isNull(), qPrintable(name));
        }
        QVERIFY(!Icons::appIcon().isNull());
    }

    void symbolsAreTintedAndVisible()
    {
        const QColor green(52, 199, 89);
        for (const QString &name : kUsedSymbols) {
            const QImage image = Icons::symbol(name, green).pixmap(QSize(48, 48)).toImage();
            // A drawn shape of the tint colour, and nothing of any other colour.
            QVERIFY2(countPixels(image, green) > 20, qPrintable(name));
        }
    }

    void filledSymbolsKeepTheirInnerMark()
    {
        // The check inside a filled circle is cut out, so its centre stays transparent.
        for (const QString &name : {u"checkmark.circle.fill"_qs, u"xmark.circle.fill"_qs, u"plus.circle.fill"_qs}) {
            const QImage image = Icons::symbol(name, Qt::red).pixmap(QSize(48, 48)).toImage();
            int transparentInside = 0;
            for (int y = 14; y < 34; ++y) {
                for (int x = 14; x < 34; ++x) {
                    transparentInside += image.pixelColor(x, y).alpha() < 40;
                }
            }
            QVERIFY2(transparentInside > 30, qPrintable(name));
        }
    }

    void unknownSymbol_isNull()
    {
        QTest::ignoreMessage(QtWarningMsg, "Icons: no symbol named no.such.symbol");
        QVERIFY(Icons::symbol(u"no.such.symbol"_qs).isNull());
    }
};

QTEST_MAIN(IconsTest)
#include "test_icons.moc"
