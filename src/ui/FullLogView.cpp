#include "ui/FullLogView.h"

#include "ui/ViewStyle.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

FullLogView::FullLogView(const QString &title, const QString &content, QWidget *parent)
    : QDialog(parent), m_title(title), m_content(content)
{
    setWindowTitle(title);
    resize(640, 480);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 16, 16, 16);
    layout->setSpacing(12);

    auto *header = new QHBoxLayout;
    auto *titleLabel = new QLabel(title, this);
    titleLabel->setObjectName(QStringLiteral("full-log-title"));
    titleLabel->setTextFormat(Qt::PlainText);
    titleLabel->setFont(ViewStyle::headlineFont());
    header->addWidget(titleLabel);
    header->addStretch(1);
    auto *done = new QPushButton(QStringLiteral("Done"), this);
    ViewStyle::setIdentifier(done, QStringLiteral("full-log-done"));
    done->setDefault(true);
    connect(done, &QPushButton::clicked, this, &QDialog::accept);
    header->addWidget(done);
    layout->addLayout(header);

    auto *text = new QPlainTextEdit(this);
    text->setObjectName(QStringLiteral("full-log-content"));
    text->setReadOnly(true);
    text->setFont(ViewStyle::monospaceFont());
    text->setLineWrapMode(QPlainTextEdit::NoWrap);
    text->setPlainText(content);
    text->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    layout->addWidget(text, 1);
}
