#include "ui/AppStyle.h"
#include "ui/Icons.h"

#include <QApplication>
#include <QBuffer>
#include <QFile>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenuBar>
#include <QToolBar>
#include <QToolButton>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

// The shared objects this process has mapped whose path holds `part`.
QStringList mapped(const QString &part)
{
    QFile maps(u"/proc/self/maps"_s);
    if (!maps.open(QIODevice::ReadOnly)) {
        return {u"(cannot read /proc/self/maps)"_s};
    }
    QStringList found;
    for (const QByteArray &line : maps.readAll().split('\n')) {
        const QString text = QString::fromUtf8(line);
        if (text.contains(part) && !found.contains(text.section(u' ', -1))) {
            found << text.section(u' ', -1);
        }
    }
    return found;
}

bool samePixels(const QIcon &a, const QIcon &b)
{
    return a.pixmap(QSize(32, 32)).toImage() == b.pixmap(QSize(32, 32)).toImage();
}

} // namespace

class AppStyleTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
#ifndef Q_OS_LINUX
        QSKIP("reads /proc/self/maps");
#endif
        // Nothing yet has read an image: the check below would otherwise prove nothing.
        QVERIFY2(mapped(u"/imageformats/"_s).isEmpty(), qPrintable(mapped(u"/imageformats/"_s).join(u", ")));
        QApplication::setStyle(new AppStyle);
    }

    void mainWindowBars_loadNoImagePlugin()
    {
        QMainWindow window;
        window.menuBar()->addMenu(u"File"_s);
        auto *bar = window.addToolBar(u"Tools"_s);
        bar->addAction(Icons::symbol(u"plus"_s), u"Add"_s);
        auto *field = new QLineEdit(&window);
        field->setClearButtonEnabled(true);
        window.setCentralWidget(field);
        window.setWindowIcon(Icons::appIcon());
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QCOMPARE(mapped(u"/imageformats/"_s), QStringList());
        QCOMPARE(mapped(u"/iconengines/"_s), QStringList());
        // A real image read still works, and loads the plug-ins: the probe above can see them.
        QImage image(4, 4, QImage::Format_ARGB32);
        image.fill(Qt::red);
        QByteArray bytes;
        QBuffer buffer(&bytes);
        QVERIFY(buffer.open(QIODevice::WriteOnly) && image.save(&buffer, "PNG"));
        buffer.close();
        QImage read;
        QVERIFY(read.loadFromData(bytes));
        QVERIFY(!mapped(u"/imageformats/"_s).isEmpty());
    }

    void extensionButtons_useTheAppsSymbols()
    {
        AppStyle style;
        QVERIFY(samePixels(style.standardIcon(QStyle::SP_ToolBarHorizontalExtensionButton),
                           Icons::symbol(u"chevron.right.2"_s)));
        QVERIFY(samePixels(style.standardIcon(QStyle::SP_ToolBarVerticalExtensionButton),
                           Icons::symbol(u"chevron.down.2"_s)));
        QVERIFY(samePixels(
            style.standardIcon(QStyle::SP_LineEditClearButton),
            Icons::symbol(u"xmark.circle.fill"_s, QApplication::palette().color(QPalette::PlaceholderText))));
        QVERIFY(!style.standardIcon(QStyle::SP_ToolBarHorizontalExtensionButton).isNull());
        // Everything else is the style's own.
        QVERIFY(samePixels(style.standardIcon(QStyle::SP_DialogOkButton),
                           style.baseStyle()->standardIcon(QStyle::SP_DialogOkButton)));
    }

    void appIcon_keepsItsOwnColours()
    {
        const QImage image = Icons::appIcon().pixmap(QSize(48, 48)).toImage();
        QVERIFY(!image.isNull());
        int white = 0;
        int green = 0;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                const QColor pixel = image.pixelColor(x, y);
                if (pixel.alpha() < 250) {
                    continue;
                }
                white += pixel.red() > 240 && pixel.green() > 240 && pixel.blue() > 240;
                green += pixel.green() > pixel.red() + 30 && pixel.green() > pixel.blue() + 20;
            }
        }
        // The clock face is white on a green ground: not one tint.
        QVERIFY2(white > 20 && green > 500, qPrintable(u"white %1, green %2"_s.arg(white).arg(green)));
    }
};

QTEST_MAIN(AppStyleTest)
#include "test_app_style.moc"
