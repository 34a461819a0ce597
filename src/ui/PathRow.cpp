#include "ui/PathRow.h"

#include "ui/ViewStyle.h"

#include <QHBoxLayout>
#include <QLabel>

PathRow::PathRow(const QString &label, const QString &path, QWidget *parent) : QWidget(parent)
{
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(8);
    auto *name = new QLabel(label, this);
    name->setObjectName(QStringLiteral("path-row-label"));
    name->setTextFormat(Qt::PlainText);
    ViewStyle::setTextColor(name, ViewStyle::secondaryText());
    name->setFixedWidth(qMax(name->sizeHint().width(), 52));
    name->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    layout->addWidget(name, 0, Qt::AlignTop);
    QLabel *value = ViewStyle::codeLabel(path, this);
    value->setObjectName(QStringLiteral("path-row-path"));
    layout->addWidget(value, 1);
}
