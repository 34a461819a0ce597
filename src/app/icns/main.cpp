// moxley-make-icns SVG ICNS: renders the app icon at the sizes macOS asks for and writes them as
// PNG entries of an .icns file. Built and run at build time on every system (so it is tested on
// Linux too); on macOS the bundle takes the result as its icon.

#include <QBuffer>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QSaveFile>
#include <QSvgRenderer>
#include <QtEndian>

#include <cstdio>

namespace {

// The PNG entry types of the format and their pixel sizes.
struct Entry {
    const char *type;
    int pixels;
};
constexpr Entry kEntries[] = {{"icp4", 16},  {"icp5", 32},  {"ic11", 32},  {"ic12", 64},  {"ic07", 128},
                              {"ic13", 256}, {"ic08", 256}, {"ic14", 512}, {"ic09", 512}, {"ic10", 1024}};

QByteArray bigEndian(quint32 value)
{
    QByteArray bytes(4, '\0');
    qToBigEndian(value, bytes.data());
    return bytes;
}

QByteArray png(QSvgRenderer &svg, int pixels)
{
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    svg.render(&painter);
    painter.end();
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

} // namespace

int main(int argc, char **argv)
{
#ifndef Q_OS_MACOS
    // No window is shown: elsewhere than on a Mac the build machine may have no display.
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
#endif
    QGuiApplication app(argc, argv);
    if (argc != 3) {
        std::fputs("usage: moxley-make-icns SVG ICNS\n", stderr);
        return 2;
    }
    QSvgRenderer svg(QString::fromLocal8Bit(argv[1]));
    if (!svg.isValid()) {
        std::fprintf(stderr, "moxley-make-icns: cannot read %s\n", argv[1]);
        return 1;
    }
    QByteArray body;
    for (const Entry &entry : kEntries) {
        const QByteArray data = png(svg, entry.pixels);
        body += QByteArray(entry.type, 4) + bigEndian(quint32(data.size() + 8)) + data;
    }
    const QByteArray file = QByteArray("icns") + bigEndian(quint32(body.size() + 8)) + body;
    QSaveFile out(QString::fromLocal8Bit(argv[2]));
    if (!out.open(QIODevice::WriteOnly) || out.write(file) != file.size() || !out.commit()) {
        std::fprintf(stderr, "moxley-make-icns: cannot write %s\n", argv[2]);
        return 1;
    }
    return 0;
}
