#pragma once

#include <QColor>
#include <QFont>
#include <QList>
#include <QPixmap>
#include <QString>

class QFormLayout;
class QLabel;
class QWidget;

// The one place for the fonts, colours and building blocks the views and sheets share, so every
// pane reads alike.
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
QColor secondaryText(); // captions and other quieter text
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
// Text from a task or a tool, never rich text: word-wrapped, named for tests; selectable where a
// person may want to copy it (a path, a command, an error).
enum class Selectable { no, yes };
QLabel *textLabel(const QString &text, const QString &name, Selectable selectable, QWidget *parent = nullptr);
// A caption in demi-bold: the title of a section of a list (the sidebar's, the timeline's).
QLabel *sectionTitle(const QString &text, QWidget *parent = nullptr);
// A caption under a form's field: small, secondary, word-wrapped, as wide as the form.
QLabel *formCaption(const QString &text = {}, QWidget *parent = nullptr);
// The title at the top of a sheet: bold, a little larger than the body text.
QLabel *sheetTitle(const QString &text, QWidget *parent = nullptr);
// The widget's own font, scaled (0.85: caption size).
void makeSmall(QWidget *widget, qreal factor = 0.85);
// Gives the label column of every form the same width, so fields line up from section to section.
void alignLabelColumns(const QList<QFormLayout *> &forms);
// Icon and headline title in a row, the heading of one part of a detail page.
QWidget *sectionHeader(const QString &symbol, const QString &title, QWidget *parent = nullptr);
// Tabs as blanks up to the next stop of `tabWidth` columns.
QString expandTabs(const QString &text, int tabWidth = 4);
// A selectable monospaced text block that wraps anywhere, showing the text exactly as it is
// (a command, a script or a log is copied from here).
QLabel *codeLabel(const QString &text, QWidget *parent = nullptr);
// The same for a system's own file (a property list, unit files): tab stops every 4 columns.
QLabel *fileTextLabel(const QString &text, QWidget *parent = nullptr);
// The label on a faintly tinted, rounded background, as code and logs are shown.
QWidget *codeBlock(QLabel *label, QWidget *parent = nullptr);
// A label showing one symbol, `size` points square.
QLabel *iconLabel(const QString &symbol, const QColor &tint = QColor(), int size = 14, QWidget *parent = nullptr);

void setTextColor(QWidget *widget, const QColor &color);

// The symbol drawn in one colour (empty when the icon set lacks it).
QPixmap tintedSymbol(const QString &name, const QColor &color, int size);
// "checkmark.circle.fill" in green or "xmark.circle.fill" in red; drawn by hand when the icon
// set lacks them, since the colour carries the meaning.
QPixmap statusSymbol(bool success, int size);

} // namespace ViewStyle
