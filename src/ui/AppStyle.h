#pragma once

#include <QProxyStyle>

// The platform's style, with the app's own symbols where the style would read images from files.
// A tool bar, a menu bar and a field with a clear button ask for an icon when they are made; the style's
// answer reads PNG files, and reading the first image loads every image format plug-in to ask
// whether it knows the file: a cost at every start for a button that is rarely seen.
class AppStyle : public QProxyStyle
{
    Q_OBJECT

public:
    AppStyle();

    QIcon standardIcon(StandardPixmap standardIcon, const QStyleOption *option = nullptr,
                       const QWidget *widget = nullptr) const override;
};
