#pragma once

#include <QColor>
#include <QString>

class QWidget;

// The pieces the detail pages of system jobs share: a badge (symbol and caption) and a titled part.
namespace JobDetailParts {

// `name` is the badge's object name; its text label is named `name` + "-text".
QWidget *badge(const QString &symbol, const QString &text, const QColor &tint, const QString &name, QWidget *parent);
// `content` under a heading: the symbol and title, or the title alone in the headline font.
QWidget *section(const QString &symbol, const QString &title, QWidget *content, QWidget *parent);

} // namespace JobDetailParts
