#include "ui/EmptyStateView.h"

#include "ui/ViewStyle.h"

#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

EmptyStateView::EmptyStateView(const QString &symbol, const QString &title, const QString &description,
                               const QString &actionText, QWidget *parent)
    : QWidget(parent), m_title(title)
{
    setObjectName(QStringLiteral("empty-state"));
    auto *layout = new QVBoxLayout(this);
    layout->setSpacing(8);
    layout->addStretch(1);

    QLabel *icon = ViewStyle::iconLabel(symbol, ViewStyle::secondaryText(), 44, this);
    icon->setObjectName(QStringLiteral("empty-state-icon"));
    icon->setAccessibleName(symbol);
    layout->addWidget(icon, 0, Qt::AlignHCenter);
    layout->addSpacing(6);

    auto *titleLabel = new QLabel(title, this);
    titleLabel->setObjectName(QStringLiteral("empty-state-title"));
    titleLabel->setTextFormat(Qt::PlainText);
    QFont titleFont = ViewStyle::titleFont();
    titleFont.setPointSizeF(titleFont.pointSizeF() * 0.85);
    titleLabel->setFont(titleFont);
    layout->addWidget(titleLabel, 0, Qt::AlignHCenter);

    auto *descriptionLabel = new QLabel(description, this);
    descriptionLabel->setObjectName(QStringLiteral("empty-state-description"));
    descriptionLabel->setTextFormat(Qt::PlainText);
    descriptionLabel->setAlignment(Qt::AlignHCenter);
    descriptionLabel->setWordWrap(true);
    ViewStyle::setTextColor(descriptionLabel, ViewStyle::secondaryText());
    layout->addWidget(descriptionLabel);

    if (!actionText.isEmpty()) {
        layout->addSpacing(8);
        m_action = new QPushButton(actionText, this);
        ViewStyle::setIdentifier(m_action, QStringLiteral("empty-state-action"));
        connect(m_action, &QPushButton::clicked, this, &EmptyStateView::actionTriggered);
        layout->addWidget(m_action, 0, Qt::AlignHCenter);
    }
    layout->addStretch(1);
}
