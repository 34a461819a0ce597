#pragma once

#include <QColor>
#include <QString>

class QScrollArea;
class QVBoxLayout;
class QWidget;

// The pieces the detail pages of system jobs share: the scrolling page, a badge (symbol and caption)
// and a titled part.
namespace JobDetailParts {

// Makes `area` (named `name`) scroll a new page and returns the page's column; the page is the
// column's parent widget. The caller adds its parts, then a stretch.
QVBoxLayout *scrollPage(QScrollArea *area, const QString &name);
// `name` is the badge's object name; its text label is named `name` + "-text".
QWidget *badge(const QString &symbol, const QString &text, const QColor &tint, const QString &name, QWidget *parent);
// `content` under a heading: the symbol and title, or the title alone in the headline font.
QWidget *section(const QString &symbol, const QString &title, QWidget *content, QWidget *parent);

} // namespace JobDetailParts
