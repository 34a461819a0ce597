#pragma once

#include <QColor>
#include <QPixmap>
#include <QString>

class QFormLayout;
class QLabel;
class QWidget;

// The few looks the sheets share: small secondary captions, headline titles, tinted symbols.
namespace FormStyle {

// A small, secondary-coloured, word-wrapped caption.
QLabel *caption(const QString &text = {}, QWidget *parent = nullptr);
// Bold, a little larger than the body text.
QLabel *headline(const QString &text, QWidget *parent = nullptr);
void makeSecondary(QWidget *widget);
// Gives the label column of every form the same width, so fields line up from section to section.
void alignLabelColumns(const QList<QFormLayout *> &forms);
void makeSmall(QWidget *widget, qreal factor = 0.85);
QColor secondaryColor(const QWidget *widget);

// The symbol drawn in one colour (empty when the icon set lacks it).
QPixmap tintedSymbol(const QString &name, const QColor &color, int size);

// "checkmark.circle.fill" in green or "xmark.circle.fill" in red; drawn by hand when the icon
// set lacks them, since the colour carries the meaning.
QPixmap statusSymbol(bool success, int size);

inline const QColor kGreen{0x28, 0xa7, 0x45};
inline const QColor kRed{0xe0, 0x35, 0x2b};

} // namespace FormStyle
