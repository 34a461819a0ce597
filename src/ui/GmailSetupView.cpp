#include "ui/GmailSetupView.h"

#include "launchd/MailSnippet.h"
#include "platform/Keychain.h"
#include "ui/Icons.h"
#include "ui/ViewStyle.h"

#include <QDesktopServices>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSettings>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace {

enum PasswordPage { enterPage, savedPage };

QFormLayout *formLayout()
{
    auto *form = new QFormLayout;
    form->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
    form->setLabelAlignment(Qt::AlignRight | Qt::AlignVCenter);
    form->setHorizontalSpacing(12);
    form->setVerticalSpacing(8);
    return form;
}

QPushButton *linkButton(const QString &text)
{
    auto *button = new QPushButton(text);
    button->setFlat(true);
    button->setAutoDefault(false);
    button->setCursor(Qt::PointingHandCursor);
    button->setStyleSheet(QStringLiteral("QPushButton { color: palette(highlight); border: none; padding: 2px 4px; }"));
    return button;
}

const QStringList &helpSteps()
{
    static const QStringList steps{
        QStringLiteral("Go to your Google Account security settings"),
        QStringLiteral("Ensure 2-Step Verification is enabled"),
        QStringLiteral("Visit the App Passwords page"),
        QStringLiteral("Enter app name (e.g. \"Moxley\")"),
        QStringLiteral("Copy the generated 16-character password"),
        QStringLiteral("Paste it here — it will be stored in your Mac's Keychain"),
    };
    return steps;
}

} // namespace

GmailSetupView::GmailSetupView(std::shared_ptr<Keychain> keychain, std::shared_ptr<QSettings> settings, QWidget *parent)
    : QDialog(parent), m_keychain(std::move(keychain)), m_settings(std::move(settings)),
      m_openUrl([](const QUrl &url) { QDesktopServices::openUrl(url); }), m_address(new QLineEdit),
      m_password(new QLineEdit), m_passwordPages(new QStackedWidget), m_help(new QWidget), m_to(new QLineEdit),
      m_subject(new QLineEdit(MailSnippet::defaultSubject())), m_body(new QPlainTextEdit(MailSnippet::defaultBody())),
      m_error(ViewStyle::formCaption()), m_use(new QPushButton(QStringLiteral("Use Template")))
{
    setWindowTitle(QStringLiteral("Gmail Template"));
    setObjectName(QStringLiteral("gmail-setup"));
    setMinimumWidth(520);

    QFormLayout *account = nullptr;
    QFormLayout *email = nullptr;
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(18, 16, 18, 16);
    layout->setSpacing(12);
    layout->addWidget(ViewStyle::sheetTitle(QStringLiteral("Gmail Template")));
    layout->addWidget(buildAccountBox(&account));
    layout->addWidget(buildEmailBox(&email));
    layout->addWidget(m_error);
    layout->addStretch();
    layout->addLayout(buildButtons());
    ViewStyle::alignLabelColumns({account, email});

    connect(m_address, &QLineEdit::textChanged, this, &GmailSetupView::updateState);
    connect(m_password, &QLineEdit::textChanged, this, &GmailSetupView::updateState);
    connect(m_to, &QLineEdit::textChanged, this, &GmailSetupView::updateState);

    // The last used address, and whether its password is already stored.
    const QString stored = m_settings->value(QString::fromUtf16(kAccountKey)).toString();
    if (!stored.isEmpty()) {
        m_address->setText(stored);
        m_credentialsAddress = MailSnippet::trimBlanks(stored);
        m_hasExistingCredentials = m_keychain->hasCredentials(m_credentialsAddress);
    }
    updateState();
}

GmailSetupView::~GmailSetupView() = default;

QWidget *GmailSetupView::buildAccountBox(QFormLayout **form)
{
    m_address->setObjectName(QStringLiteral("gmail-address"));
    m_address->setPlaceholderText(QStringLiteral("you@gmail.com"));
    buildPasswordPages();
    buildHelp();

    auto *account = formLayout();
    account->addRow(QStringLiteral("Gmail Address"), m_address);
    account->addRow(QStringLiteral("App Password"), m_passwordPages);
    account->addRow(m_help);
    auto *box = new QGroupBox(QStringLiteral("Gmail Account"));
    box->setLayout(account);
    *form = account;
    return box;
}

void GmailSetupView::buildPasswordPages()
{
    m_password->setObjectName(QStringLiteral("gmail-app-password"));
    m_password->setPlaceholderText(QStringLiteral("xxxx xxxx xxxx xxxx"));
    m_password->setEchoMode(QLineEdit::Password);
    auto *howTo = linkButton(QStringLiteral("How to get one"));
    howTo->setObjectName(QStringLiteral("gmail-how-to"));
    connect(howTo, &QPushButton::clicked, this, [this] {
        m_help->setVisible(!m_help->isVisible());
        adjustSize();
    });

    auto *enter = new QWidget;
    auto *enterLayout = new QHBoxLayout(enter);
    enterLayout->setContentsMargins(0, 0, 0, 0);
    enterLayout->setSpacing(6);
    enterLayout->addWidget(m_password, 1);
    enterLayout->addWidget(howTo);

    auto *saved = new QWidget;
    saved->setObjectName(QStringLiteral("gmail-saved"));
    auto *check = new QLabel;
    check->setPixmap(ViewStyle::statusSymbol(true, 16));
    auto *savedText = new QLabel(QStringLiteral("Saved in Keychain"));
    savedText->setObjectName(QStringLiteral("gmail-saved-text"));
    auto *change = new QPushButton(QStringLiteral("Change"));
    change->setObjectName(QStringLiteral("gmail-change"));
    change->setAutoDefault(false);
    connect(change, &QPushButton::clicked, this, [this] {
        m_changingPassword = true;
        updateState();
        m_password->setFocus();
    });
    auto *savedLayout = new QHBoxLayout(saved);
    savedLayout->setContentsMargins(0, 0, 0, 0);
    savedLayout->addWidget(check);
    savedLayout->addWidget(savedText);
    savedLayout->addStretch();
    savedLayout->addWidget(change);

    m_passwordPages->insertWidget(enterPage, enter);
    m_passwordPages->insertWidget(savedPage, saved);
    m_passwordPages->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

void GmailSetupView::buildHelp()
{
    m_help->setObjectName(QStringLiteral("gmail-help"));
    m_help->setAutoFillBackground(true);
    QPalette palette = m_help->palette();
    palette.setColor(QPalette::Window, palette.color(QPalette::Base));
    m_help->setPalette(palette);
    auto *helpLayout = new QVBoxLayout(m_help);
    helpLayout->setContentsMargins(12, 10, 12, 10);
    helpLayout->setSpacing(4);
    auto *helpTitle = new QLabel(QStringLiteral("How to create a Gmail App Password"));
    QFont bold = helpTitle->font();
    bold.setBold(true);
    helpTitle->setFont(bold);
    helpLayout->addWidget(helpTitle);
    for (qsizetype i = 0; i < helpSteps().size(); ++i) {
        // One line each: wrapped labels in a form row are given the height of their widest
        // layout, and the button under them was squeezed when the window grew no taller.
        auto *step = new QLabel(QString(QString::number(i + 1) % u". " % helpSteps().at(i)));
        step->setObjectName(QStringLiteral("gmail-help-step"));
        ViewStyle::makeSmall(step, 0.92);
        helpLayout->addWidget(step);
    }
    auto *openPage = new QPushButton(QStringLiteral("Open App Passwords Page"));
    openPage->setObjectName(QStringLiteral("gmail-open-app-passwords"));
    openPage->setAutoDefault(false);
    connect(openPage, &QPushButton::clicked, this,
            [this] { m_openUrl(QUrl(QString::fromUtf16(MailSnippet::kAppPasswordsPage))); });
    helpLayout->addSpacing(4);
    helpLayout->addWidget(openPage, 0, Qt::AlignLeft);
    m_help->hide();
}

QWidget *GmailSetupView::buildEmailBox(QFormLayout **form)
{
    m_to->setObjectName(QStringLiteral("gmail-to"));
    m_to->setPlaceholderText(QStringLiteral("recipient@example.com"));
    auto *toMyself = new QPushButton(QStringLiteral("Send to myself"));
    toMyself->setObjectName(QStringLiteral("gmail-send-to-myself"));
    toMyself->setAutoDefault(false);
    connect(toMyself, &QPushButton::clicked, this,
            [this] { m_to->setText(MailSnippet::trimBlanks(m_address->text())); });
    auto *toRow = new QHBoxLayout;
    toRow->setContentsMargins(0, 0, 0, 0);
    toRow->setSpacing(6);
    toRow->addWidget(m_to, 1);
    toRow->addWidget(toMyself);
    m_subject->setObjectName(QStringLiteral("gmail-subject"));
    m_body->setObjectName(QStringLiteral("gmail-body"));
    m_body->setTabChangesFocus(true);
    m_body->setFixedHeight(m_body->fontMetrics().lineSpacing() * 4 + 14);

    auto *email = formLayout();
    email->addRow(QStringLiteral("To"), toRow);
    email->addRow(QStringLiteral("Subject"), m_subject);
    auto *bodyLabel = new QLabel(QStringLiteral("Message"));
    bodyLabel->setAlignment(Qt::AlignRight | Qt::AlignTop);
    bodyLabel->setContentsMargins(0, 5, 0, 0);
    email->addRow(bodyLabel, m_body);
    auto *box = new QGroupBox(QStringLiteral("Email"));
    box->setLayout(email);
    *form = email;
    return box;
}

QLayout *GmailSetupView::buildButtons()
{
    m_error->setObjectName(QStringLiteral("gmail-error"));
    ViewStyle::setTextColor(m_error, ViewStyle::red());
    m_error->hide();
    auto *cancel = new QPushButton(QStringLiteral("Cancel"));
    cancel->setObjectName(QStringLiteral("gmail-cancel"));
    cancel->setAutoDefault(false);
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    m_use->setObjectName(QStringLiteral("gmail-use-template"));
    m_use->setDefault(true);
    connect(m_use, &QPushButton::clicked, this, &GmailSetupView::useTemplate);
    auto *buttons = new QHBoxLayout;
    buttons->setSpacing(8);
    buttons->addStretch();
    buttons->addWidget(cancel);
    buttons->addWidget(m_use);
    return buttons;
}

bool GmailSetupView::showsSavedPassword() const
{
    return m_hasExistingCredentials && !m_changingPassword &&
           MailSnippet::trimBlanks(m_address->text()) == m_credentialsAddress;
}

void GmailSetupView::updateState()
{
    const bool saved = showsSavedPassword();
    m_passwordPages->setCurrentIndex(saved ? savedPage : enterPage);
    const bool passwordKnown =
        saved || !MailSnippet::trimBlanks(m_password->text()).isEmpty() ||
        (m_hasExistingCredentials && MailSnippet::trimBlanks(m_address->text()) == m_credentialsAddress);
    m_use->setEnabled(!MailSnippet::trimBlanks(m_address->text()).isEmpty() &&
                      !MailSnippet::trimBlanks(m_to->text()).isEmpty() && passwordKnown);
}

void GmailSetupView::useTemplate()
{
    if (!m_use->isEnabled()) {
        return;
    }
    const MailSnippet::Message message =
        MailSnippet::Message{m_address->text(), m_to->text(), m_subject->text(), m_body->toPlainText()}.trimmed();
    const QString password = MailSnippet::trimBlanks(m_password->text());

    m_settings->setValue(QString::fromUtf16(kAccountKey), message.from);
    m_settings->sync();
    if (!showsSavedPassword() && !password.isEmpty()) {
        if (const std::optional<QString> failure = m_keychain->save(message.from, password)) {
            m_error->setText(u"The app password could not be saved in the keychain: " % *failure);
            m_error->show();
            // Room for the message: the window grows rather than squeeze what is above it.
            layout()->activate();
            m_error->setMinimumHeight(m_error->heightForWidth(m_error->width()));
            adjustSize();
            return;
        }
    }
    m_password->clear();
    if (m_onComplete) {
        m_onComplete(MailSnippet::build(message), MailSnippet::suggestedTaskName(message.subject));
    }
    accept();
}
