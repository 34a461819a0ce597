#include "ui/ToggleSwitch.h"

#include "ui/ViewStyle.h"

#include <QPainter>

ToggleSwitch::ToggleSwitch(const QString &text, QWidget *parent) : QAbstractButton(parent)
{
    setText(text);
    setCheckable(true);
    setCursor(Qt::PointingHandCursor);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

QSize ToggleSwitch::sizeHint() const
{
    const QFontMetrics metrics(font());
    const int textWidth = text().isEmpty() ? 0 : metrics.horizontalAdvance(text()) + kSpacing;
    return QSize(textWidth + kTrackWidth + 2, qMax(kTrackHeight + 2, metrics.height()));
}

void ToggleSwitch::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF track(width() - kTrackWidth - 1, (height() - kTrackHeight) / 2.0, kTrackWidth, kTrackHeight);
    if (!text().isEmpty()) {
        painter.setPen(isEnabled() ? ViewStyle::primaryText() : ViewStyle::tertiaryText());
        painter.drawText(QRectF(0, 0, track.left() - kSpacing, height()), Qt::AlignRight | Qt::AlignVCenter, text());
    }
    QColor trackColor = isChecked() ? ViewStyle::green() : ViewStyle::quaternaryText();
    if (!isEnabled()) {
        trackColor.setAlphaF(trackColor.alphaF() * 0.5);
    }
    painter.setPen(Qt::NoPen);
    painter.setBrush(trackColor);
    painter.drawRoundedRect(track, kTrackHeight / 2.0, kTrackHeight / 2.0);
    const double knob = kTrackHeight - 4;
    const double x = isChecked() ? track.right() - 2 - knob : track.left() + 2;
    painter.setBrush(Qt::white);
    painter.drawEllipse(QRectF(x, track.top() + 2, knob, knob));
    if (hasFocus()) {
        QPen focus(ViewStyle::accent(), 1.5);
        painter.setPen(focus);
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(track.adjusted(-1, -1, 1, 1), kTrackHeight / 2.0 + 1, kTrackHeight / 2.0 + 1);
    }
}
