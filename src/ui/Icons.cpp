#include "ui/Icons.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QHash>
#include <QIconEngine>
#include <QPainter>
#include <QPalette>
#include <QPixmap>
#include <QStyle>
#include <QStyleOption>
#include <QSvgRenderer>

#include <algorithm>
#include <memory>

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

QPixmap tinted(QSvgRenderer &renderer, const QSize &size, const QColor &tint)
{
    QPixmap pixmap(size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    // Square symbols, centred in whatever rectangle is asked for.
    const int side = std::min(size.width(), size.height());
    const QRectF square((size.width() - side) / 2.0, (size.height() - side) / 2.0, side, side);
    renderer.render(&painter, square);
    if (tint.isValid()) {
        painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
        painter.fillRect(square, tint);
    }
    return pixmap;
}

// A symbol's drawing, read when it is first drawn: most icons made at start-up (hidden tool bar
// buttons, the overflow arrows, a field's clear button) are not drawn then. Shared by an icon's copies.
class Drawing
{
public:
    explicit Drawing(QString path) : m_path(std::move(path)) {}

    QSvgRenderer &renderer()
    {
        if (!m_renderer) {
            m_renderer = std::make_unique<QSvgRenderer>(m_path);
        }
        return *m_renderer;
    }

private:
    QString m_path;
    std::unique_ptr<QSvgRenderer> m_renderer;
};

// Draws a symbol at the size it is asked for, when it is asked for: drawing every symbol at
// every size up front was a tenth of the app's start-up. Without a tint, in the drawing's own
// colours (the app icon): Qt's own SVG icon plug-in would do that too, but loading it (and the image
// plug-ins it probes) costs every start.
class TintedSymbolEngine final : public QIconEngine
{
public:
    TintedSymbolEngine(std::shared_ptr<Drawing> drawing, const QColor &tint)
        : m_drawing(std::move(drawing)), m_tint(tint)
    {
    }

    QIconEngine *clone() const override { return new TintedSymbolEngine(*this); }

    QSize actualSize(const QSize &size, QIcon::Mode, QIcon::State) override { return size; }

    QPixmap pixmap(const QSize &size, QIcon::Mode mode, QIcon::State) override
    {
        if (size.isEmpty()) {
            return {};
        }
        const quint64 key =
            quint64(size.width()) << 32 | quint64(size.height()) << 2 | quint64(mode == QIcon::Disabled);
        if (const auto it = m_pixmaps.constFind(key); it != m_pixmaps.constEnd()) {
            return it.value();
        }
        QPixmap pixmap = tinted(m_drawing->renderer(), size, m_tint);
        if (mode == QIcon::Disabled && qobject_cast<QApplication *>(QCoreApplication::instance())) {
            QStyleOption option;
            option.palette = QApplication::palette();
            pixmap = QApplication::style()->generatedIconPixmap(QIcon::Disabled, pixmap, &option);
        }
        m_pixmaps.insert(key, pixmap);
        return pixmap;
    }

    void paint(QPainter *painter, const QRect &rect, QIcon::Mode mode, QIcon::State state) override
    {
        const qreal ratio = painter->device() ? painter->device()->devicePixelRatioF() : 1.0;
        QPixmap drawn = pixmap((QSizeF(rect.size()) * ratio).toSize(), mode, state);
        drawn.setDevicePixelRatio(ratio);
        painter->drawPixmap(rect, drawn);
    }

private:
    std::shared_ptr<Drawing> m_drawing;
    QColor m_tint;
    QHash<quint64, QPixmap> m_pixmaps;
};

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
    const QString path = resourcePath(name);
    if (!QFile::exists(path)) {
        qWarning("Icons: no symbol named %s", qUtf8Printable(name));
        return {};
    }
    const QIcon icon(new TintedSymbolEngine(std::make_shared<Drawing>(path), color));
    cache.insert(key, icon);
    return icon;
}

QIcon Icons::appIcon()
{
    initIconResources();
    return QIcon(new TintedSymbolEngine(std::make_shared<Drawing>(resourcePath(QStringLiteral("moxley"))), QColor()));
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
