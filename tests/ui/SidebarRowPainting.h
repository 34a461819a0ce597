#pragma once

// The sidebar's rows drawn into an image, as the list draws them, for tests that look at pixels.

#include "ui/SidebarRows.h"

#include <QImage>
#include <QPainter>

// `paint` draws one row into the whole of a white image of `size`.
template <typename Paint> QImage painted(const QSize &size, Paint paint)
{
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::white);
    QPainter painter(&image);
    paint(painter, QRect(QPoint(), size), SidebarRows::Colors{Qt::black, Qt::darkGray});
    painter.end();
    return image;
}

inline QImage paintedTask(const SidebarRows::TaskLook &look, const QSize &size = QSize(240, 44))
{
    return painted(size, [&look](QPainter &painter, const QRect &row, const SidebarRows::Colors &colors) {
        SidebarRows::paintTask(painter, look, row, colors);
    });
}

inline QImage paintedJob(const SidebarRows::JobLook &look, const QSize &size = QSize(240, 44))
{
    return painted(size, [&look](QPainter &painter, const QRect &row, const SidebarRows::Colors &colors) {
        SidebarRows::paintJob(painter, look, row, colors);
    });
}

// A colour, maybe translucent, as drawn on the white ground of the images above.
inline QColor onWhite(const QColor &colour)
{
    const qreal alpha = colour.alphaF();
    const auto mix = [alpha](int channel) { return qRound(channel * alpha + 255 * (1 - alpha)); };
    return QColor(mix(colour.red()), mix(colour.green()), mix(colour.blue()));
}

// Pixels within a small distance of `colour`.
inline int pixelsNear(const QImage &image, const QColor &colour, int distance = 24)
{
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor pixel = image.pixelColor(x, y);
            count += std::abs(pixel.red() - colour.red()) < distance &&
                     std::abs(pixel.green() - colour.green()) < distance &&
                     std::abs(pixel.blue() - colour.blue()) < distance;
        }
    }
    return count;
}

// Pixels darker than mid grey: drawn text, on the white ground.
inline int darkPixels(const QImage &image)
{
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            count += qGray(image.pixel(x, y)) < 128;
        }
    }
    return count;
}
