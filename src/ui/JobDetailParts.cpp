#include "ui/JobDetailParts.h"

#include "ui/ViewStyle.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QScrollArea>
#include <QVBoxLayout>

QWidget *JobDetailParts::badge(const QString &symbol, const QString &text, const QColor &tint, const QString &name,
                               QWidget *parent)
{
    auto *badge = new QWidget(parent);
    badge->setObjectName(name);
    auto *layout = new QHBoxLayout(badge);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(4);
    layout->addWidget(ViewStyle::iconLabel(symbol, tint, 13, badge));
    QLabel *label = ViewStyle::captionLabel(text, badge);
    if (tint.isValid()) {
        ViewStyle::setTextColor(label, tint);
    }
    label->setObjectName(name % u"-text");
    layout->addWidget(label);
    return badge;
}

QWidget *JobDetailParts::section(const QString &symbol, const QString &title, QWidget *content, QWidget *parent)
{
    auto *box = new QWidget(parent);
    auto *layout = new QVBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(6);
    if (symbol.isEmpty()) {
        auto *label = new QLabel(title, box);
        label->setFont(ViewStyle::headlineFont());
        layout->addWidget(label);
    } else {
        layout->addWidget(ViewStyle::sectionHeader(symbol, title, box));
    }
    content->setParent(box);
    layout->addWidget(content);
    return box;
}

QVBoxLayout *JobDetailParts::scrollPage(QScrollArea *area, const QString &name)
{
    area->setObjectName(name);
    area->setWidgetResizable(true);
    area->setFrameShape(QFrame::NoFrame);
    auto *page = new QWidget;
    auto *layout = new QVBoxLayout(page);
    layout->setContentsMargins(20, 20, 20, 20);
    layout->setSpacing(18);
    area->setWidget(page);
    return layout;
}
