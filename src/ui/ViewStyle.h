#pragma once

#include <QColor>
#include <QFont>
#include <QString>

class QLabel;
class QWidget;

// The few fonts, colours and building blocks the views share, so every pane reads alike.
namespace ViewStyle {

// The system-like colours the views name.
QColor green();
QColor red();
QColor orange();
QColor purple();
QColor blue();
QColor grey();
QColor accent();

// Text colours relative to the palette's text colour.
QColor primaryText();
QColor secondaryText();  // captions and other quieter text
QColor tertiaryText();
QColor quaternaryText(); // the faintest marks
QColor quaternaryFill(); // backgrounds of badges

QFont bodyFont();
QFont mediumFont();   // body, medium weight
QFont captionFont();  // smaller than body
QFont caption2Font(); // smaller still
QFont headlineFont(); // body, bold
QFont titleFont();    // large
QFont monospaceFont();

// Object name and accessible name together: automation finds widgets by either.
void setIdentifier(QWidget *widget, const QString &identifier);

QLabel *captionLabel(const QString &text, QWidget *parent = nullptr);
// Icon and headline title in a row, the heading of one part of a detail page.
QWidget *sectionHeader(const QString &symbol, const QString &title, QWidget *parent = nullptr);
// A selectable monospaced text block that wraps anywhere.
QLabel *codeLabel(const QString &text, QWidget *parent = nullptr);
// The label on a faintly tinted, rounded background, as code and logs are shown.
QWidget *codeBlock(QLabel *label, QWidget *parent = nullptr);
// A label showing one symbol, `size` points square.
QLabel *iconLabel(const QString &symbol, const QColor &tint = QColor(), int size = 14, QWidget *parent = nullptr);

void setTextColor(QWidget *widget, const QColor &color);

} // namespace ViewStyle
