#include "ui/Icons.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QHash>
#include <QPainter>
#include <QPalette>
#include <QPixmap>
#include <QSvgRenderer>

static void initIconResources()
{
    // The icons live in a static library; without this the linker drops them.
    Q_INIT_RESOURCE(icons);
}

namespace {

QString resourcePath(const QString &name)
{
    return u":/icons/" % name % u".svg";
}

QPixmap tinted(QSvgRenderer &renderer, int size, qreal ratio, const QColor &tint)
{
    QPixmap pixmap(QSize(size, size) * ratio);
    pixmap.setDevicePixelRatio(ratio);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    renderer.render(&painter, QRectF(0, 0, size, size));
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(QRectF(0, 0, size, size), tint);
    return pixmap;
}

} // namespace

QIcon Icons::symbol(const QString &name, const QColor &tint)
{
    static bool initialised = false;
    if (!initialised) {
        initIconResources();
        initialised = true;
    }
    const QColor color = tint.isValid() ? tint : QApplication::palette().color(QPalette::WindowText);
    static QHash<QString, QIcon> cache;
    const QString key = name % u'|' % color.name(QColor::HexArgb);
    if (const auto it = cache.constFind(key); it != cache.constEnd()) {
        return it.value();
    }
    QSvgRenderer renderer(resourcePath(name));
    if (!renderer.isValid()) {
        qWarning("Icons: no symbol named %s", qUtf8Printable(name));
        return {};
    }
    QIcon icon;
    for (int size : {12, 14, 16, 20, 24, 32, 48}) {
        for (qreal ratio : {1.0, 2.0}) {
            icon.addPixmap(tinted(renderer, size, ratio, color));
        }
    }
    cache.insert(key, icon);
    return icon;
}

QIcon Icons::appIcon()
{
    initIconResources();
    return QIcon(resourcePath(QStringLiteral("moxley")));
}

QStringList Icons::names()
{
    initIconResources();
    QStringList list;
    for (const QString &file : QDir(QStringLiteral(":/icons")).entryList({QStringLiteral("*.svg")})) {
        const QString name = file.chopped(4);
        if (name != u"moxley") {
            list << name;
        }
    }
    return list;
}
