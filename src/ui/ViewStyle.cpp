#include "ui/ViewStyle.h"

#include "ui/Icons.h"

#include <QApplication>
#include <QFontDatabase>
#include <QFormLayout>
#include <QFrame>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QPainter>
#include <QPalette>
#include <QVBoxLayout>
#include <QWidget>

#include <algorithm>

namespace {

QColor withAlpha(QColor color, qreal alpha)
{
    color.setAlphaF(alpha);
    return color;
}

QFont resized(QFont font, qreal factor)
{
    const qreal points = font.pointSizeF() > 0 ? font.pointSizeF() : 10.0;
    font.setPointSizeF(points * factor);
    return font;
}

} // namespace

QColor ViewStyle::green()
{
    return QColor(52, 199, 89);
}
QColor ViewStyle::red()
{
    return QColor(255, 59, 48);
}
QColor ViewStyle::orange()
{
    return QColor(255, 149, 0);
}
QColor ViewStyle::purple()
{
    return QColor(175, 82, 222);
}
QColor ViewStyle::blue()
{
    return QColor(0, 122, 255);
}
QColor ViewStyle::grey()
{
    return QColor(142, 142, 147);
}
QColor ViewStyle::accent()
{
    return QApplication::palette().color(QPalette::Highlight);
}

QColor ViewStyle::primaryText()
{
    return QApplication::palette().color(QPalette::WindowText);
}
QColor ViewStyle::secondaryText()
{
    return withAlpha(primaryText(), 0.6);
}
QColor ViewStyle::tertiaryText()
{
    return withAlpha(primaryText(), 0.4);
}
QColor ViewStyle::quaternaryText()
{
    return withAlpha(primaryText(), 0.3);
}
QColor ViewStyle::quaternaryFill()
{
    return withAlpha(primaryText(), 0.1);
}

QFont ViewStyle::bodyFont()
{
    return QApplication::font();
}

QFont ViewStyle::mediumFont()
{
    QFont font = bodyFont();
    font.setWeight(QFont::Medium);
    return font;
}

QFont ViewStyle::captionFont()
{
    return resized(bodyFont(), 0.85);
}
QFont ViewStyle::caption2Font()
{
    return resized(bodyFont(), 0.78);
}

QFont ViewStyle::headlineFont()
{
    QFont font = bodyFont();
    font.setWeight(QFont::DemiBold);
    return font;
}

QFont ViewStyle::titleFont()
{
    QFont font = resized(bodyFont(), 1.6);
    font.setWeight(QFont::DemiBold);
    return font;
}

QFont ViewStyle::monospaceFont()
{
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPointSizeF(bodyFont().pointSizeF() > 0 ? bodyFont().pointSizeF() * 0.92 : 9.0);
    return font;
}

void ViewStyle::setIdentifier(QWidget *widget, const QString &identifier)
{
    widget->setObjectName(identifier);
    widget->setAccessibleName(identifier);
}

void ViewStyle::setTextColor(QWidget *widget, const QColor &color)
{
    QPalette palette = widget->palette();
    palette.setColor(QPalette::WindowText, color);
    palette.setColor(QPalette::Text, color);
    palette.setColor(QPalette::ButtonText, color);
    widget->setPalette(palette);
}

QLabel *ViewStyle::textLabel(const QString &text, const QString &name, Selectable selectable, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    label->setObjectName(name);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    if (selectable == Selectable::yes) {
        label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    }
    return label;
}

QLabel *ViewStyle::captionLabel(const QString &text, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    label->setTextFormat(Qt::PlainText);
    label->setFont(captionFont());
    setTextColor(label, secondaryText());
    return label;
}

QWidget *ViewStyle::sectionHeader(const QString &symbol, const QString &title, QWidget *parent)
{
    auto *header = new QWidget(parent);
    auto *layout = new QHBoxLayout(header);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(6);
    layout->addWidget(iconLabel(symbol, QColor(), 15, header));
    auto *label = new QLabel(title, header);
    label->setTextFormat(Qt::PlainText);
    label->setFont(headlineFont());
    layout->addWidget(label);
    layout->addStretch(1);
    return header;
}

QString ViewStyle::expandTabs(const QString &text, int tabWidth)
{
    if (!text.contains(u'\t')) {
        return text;
    }
    QString expanded;
    expanded.reserve(text.size() + text.size() / 4);
    qsizetype column = 0;
    for (const QChar c : text) {
        if (c == u'\t') {
            const qsizetype spaces = tabWidth - column % tabWidth;
            expanded.append(QString(spaces, u' '));
            column += spaces;
            continue;
        }
        expanded.append(c);
        column = c == u'\n' ? 0 : column + 1;
    }
    return expanded;
}

QLabel *ViewStyle::fileTextLabel(const QString &text, QWidget *parent)
{
    // A label cannot set its tab stops, and at eight columns nested keys start far right.
    return codeLabel(expandTabs(text), parent);
}

QLabel *ViewStyle::codeLabel(const QString &text, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    label->setTextFormat(Qt::PlainText);
    label->setFont(monospaceFont());
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    label->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    // Long unbroken lines must not widen the page; they wrap or clip instead.
    QSizePolicy policy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    policy.setHeightForWidth(true); // a fresh policy drops the flag word wrap had set
    label->setSizePolicy(policy);
    label->setMinimumWidth(0);
    return label;
}

QWidget *ViewStyle::codeBlock(QLabel *label, QWidget *parent)
{
    auto *frame = new QFrame(parent);
    frame->setObjectName(QStringLiteral("code-block"));
    frame->setStyleSheet(u"QFrame#code-block { background: " % quaternaryFill().name(QColor::HexArgb) %
                         u"; border-radius: 6px; }");
    auto *layout = new QVBoxLayout(frame);
    layout->setContentsMargins(10, 8, 10, 8);
    label->setParent(frame);
    layout->addWidget(label);
    return frame;
}

QLabel *ViewStyle::iconLabel(const QString &symbol, const QColor &tint, int size, QWidget *parent)
{
    auto *label = new QLabel(parent);
    label->setPixmap(Icons::symbol(symbol, tint).pixmap(QSize(size, size)));
    label->setFixedSize(size, size);
    return label;
}

QLabel *ViewStyle::sectionTitle(const QString &text, QWidget *parent)
{
    QLabel *label = captionLabel(text, parent);
    QFont font = label->font();
    font.setWeight(QFont::DemiBold);
    label->setFont(font);
    return label;
}

QLabel *ViewStyle::formCaption(const QString &text, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    label->setWordWrap(true);
    // As wide as the form allows; a wrapped label would otherwise settle on a narrow column.
    label->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    makeSmall(label);
    setTextColor(label, secondaryText());
    return label;
}

QLabel *ViewStyle::sheetTitle(const QString &text, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    QFont font = label->font();
    font.setBold(true);
    font.setPointSizeF(font.pointSizeF() * 1.15);
    label->setFont(font);
    return label;
}

void ViewStyle::makeSmall(QWidget *widget, qreal factor)
{
    QFont font = widget->font();
    font.setPointSizeF(font.pointSizeF() * factor);
    widget->setFont(font);
}

QPixmap ViewStyle::tintedSymbol(const QString &name, const QColor &color, int size)
{
    const QIcon icon = Icons::symbol(name, color);
    return icon.isNull() ? QPixmap() : icon.pixmap(size, size);
}

QPixmap ViewStyle::statusSymbol(bool success, int size)
{
    const QColor color = success ? green() : red();
    QPixmap pixmap = tintedSymbol(
        success ? QStringLiteral("checkmark.circle.fill") : QStringLiteral("xmark.circle.fill"), color, size);
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

void ViewStyle::alignLabelColumns(const QList<QFormLayout *> &forms)
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
