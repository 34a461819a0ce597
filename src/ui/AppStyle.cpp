#include "ui/AppStyle.h"

#include "ui/Icons.h"

#include <QGuiApplication>
#include <QPalette>

AppStyle::AppStyle() = default;

QIcon AppStyle::standardIcon(StandardPixmap standardIcon, const QStyleOption *option, const QWidget *widget) const
{
    // The symbols point right and down; a right-to-left layout keeps the style's own.
    if (QGuiApplication::isRightToLeft()) {
        return QProxyStyle::standardIcon(standardIcon, option, widget);
    }
    switch (standardIcon) {
    case SP_ToolBarHorizontalExtensionButton:
        return Icons::symbol(QStringLiteral("chevron.right.2"));
    case SP_ToolBarVerticalExtensionButton:
        return Icons::symbol(QStringLiteral("chevron.down.2"));
    case SP_LineEditClearButton:
        return Icons::symbol(QStringLiteral("xmark.circle.fill"),
                             QGuiApplication::palette().color(QPalette::PlaceholderText));
    default:
        return QProxyStyle::standardIcon(standardIcon, option, widget);
    }
}
