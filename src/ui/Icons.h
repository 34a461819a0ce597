#pragma once

#include <QIcon>
#include <QString>

// The symbols the interface names ("plus", "trash", "clock.badge.checkmark", ...) as icons
// that ship with the app, so they look the same on every platform.
namespace Icons {
QIcon symbol(const QString &name);
}
