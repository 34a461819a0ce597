#pragma once

#include <QColor>
#include <QIcon>
#include <QString>
#include <QStringList>

// The symbols the interface names ("plus", "trash", "clock.badge.checkmark", ...) as icons that ship
// with the app, so they look the same on every platform. The shapes are monochrome and tinted here:
// with no colour, in the palette's text colour.
namespace Icons {

QIcon symbol(const QString &name, const QColor &tint = QColor());
// The app's own (coloured) icon.
QIcon appIcon();
// Every symbol that ships.
QStringList names();

} // namespace Icons
