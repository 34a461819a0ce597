#include "ui/FormStyle.h"

#include "ui/Icons.h"

#include <QLabel>
#include <QFormLayout>
#include <QIcon>
#include <QPainter>

#include <algorithm>

QLabel *FormStyle::caption(const QString &text, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    label->setWordWrap(true);
    // As wide as the form allows; a wrapped label would otherwise settle on a narrow column.
    label->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    makeSmall(label);
    makeSecondary(label);
    return label;
}

QLabel *FormStyle::headline(const QString &text, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    QFont font = label->font();
    font.setBold(true);
    font.setPointSizeF(font.pointSizeF() * 1.15);
    label->setFont(font);
    return label;
}

void FormStyle::makeSecondary(QWidget *widget)
{
    QPalette palette = widget->palette();
    palette.setColor(QPalette::WindowText, secondaryColor(widget));
    palette.setColor(QPalette::Text, secondaryColor(widget));
    widget->setPalette(palette);
}

void FormStyle::makeSmall(QWidget *widget, qreal factor)
{
    QFont font = widget->font();
    font.setPointSizeF(font.pointSizeF() * factor);
    widget->setFont(font);
}

QColor FormStyle::secondaryColor(const QWidget *widget)
{
    const QPalette &palette = widget->palette();
    QColor text = palette.color(QPalette::WindowText);
    const QColor window = palette.color(QPalette::Window);
    // Halfway between text and background reads as "secondary" in light and dark themes.
    return QColor((text.red() + window.red()) / 2, (text.green() + window.green()) / 2,
                  (text.blue() + window.blue()) / 2);
}

QPixmap FormStyle::tintedSymbol(const QString &name, const QColor &color, int size)
{
    const QIcon icon = Icons::symbol(name, color);
    return icon.isNull() ? QPixmap() : icon.pixmap(size, size);
}

QPixmap FormStyle::statusSymbol(bool success, int size)
{
    const QColor color = success ? kGreen : kRed;
    QPixmap pixmap =
        tintedSymbol(success ? QStringLiteral("checkmark.circle.fill") : QStringLiteral("xmark.circle.fill"), color, size);
    if (!pixmap.isNull()) {
        return pixmap;
    }
    pixmap = QPixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawEllipse(QRectF(0.5, 0.5, size - 1.0, size - 1.0));
    QPen pen(Qt::white, size / 8.0, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    painter.setPen(pen);
    painter.setBrush(Qt::NoBrush);
    const qreal s = size;
    if (success) {
        painter.drawPolyline(QPolygonF{{s * 0.28, s * 0.52}, {s * 0.44, s * 0.68}, {s * 0.72, s * 0.36}});
    } else {
        painter.drawLine(QPointF(s * 0.34, s * 0.34), QPointF(s * 0.66, s * 0.66));
        painter.drawLine(QPointF(s * 0.66, s * 0.34), QPointF(s * 0.34, s * 0.66));
    }
    return pixmap;
}

void FormStyle::alignLabelColumns(const QList<QFormLayout *> &forms)
{
    QList<QWidget *> labels;
    int width = 0;
    for (QFormLayout *form : forms) {
        for (int row = 0; row < form->rowCount(); ++row) {
            QLayoutItem *item = form->itemAt(row, QFormLayout::LabelRole);
            if (item && item->widget()) {
                labels << item->widget();
                width = std::max(width, item->widget()->sizeHint().width());
            }
        }
    }
    for (QWidget *label : labels) {
        label->setMinimumWidth(width);
        if (auto *text = qobject_cast<QLabel *>(label)) {
            text->setAlignment(Qt::AlignRight | (text->alignment() & Qt::AlignVertical_Mask));
        }
    }
}
