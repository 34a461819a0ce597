#include "ui/Icons.h"

#include <QApplication>
#include <QImage>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

// Every symbol name the interface uses; each must ship.
const QStringList kUsedSymbols{u"clock.badge.checkmark"_s,
                               u"gearshape.2"_s,
                               u"plus.circle.fill"_s,
                               u"checkmark.circle.fill"_s,
                               u"circle"_s,
                               u"calendar.badge.clock"_s,
                               u"clock.badge.questionmark"_s,
                               u"plus"_s,
                               u"square.and.arrow.up"_s,
                               u"trash"_s,
                               u"envelope"_s,
                               u"sparkles.rectangle.stack"_s,
                               u"minus.circle"_s,
                               u"plus.circle"_s,
                               u"play.fill"_s,
                               u"pencil"_s,
                               u"doc.on.doc"_s,
                               u"terminal"_s,
                               u"checkmark"_s,
                               u"folder.badge.gearshape"_s,
                               u"power"_s,
                               u"exclamationmark.triangle"_s,
                               u"list.bullet.rectangle"_s,
                               u"arrow.clockwise"_s,
                               u"xmark.circle.fill"_s,
                               u"doc.text"_s,
                               u"doc.text.fill"_s,
                               u"folder"_s,
                               u"xmark.circle"_s,
                               u"checkmark.circle"_s,
                               u"play.circle"_s,
                               u"arrow.clockwise.circle"_s,
                               u"timer"_s,
                               u"tablecells.badge.clock"_s};

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
        for (const QString &name : {u"checkmark.circle.fill"_s, u"xmark.circle.fill"_s, u"plus.circle.fill"_s}) {
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
        QVERIFY(Icons::symbol(u"no.such.symbol"_s).isNull());
    }
};

QTEST_MAIN(IconsTest)
#include "test_icons.moc"
