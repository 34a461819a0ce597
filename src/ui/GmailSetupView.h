#pragma once

#include <QDialog>
#include <QUrl>

#include <functional>
#include <memory>

class Keychain;
class QFormLayout;
class QLabel;
class QLayout;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QSettings;
class QStackedWidget;
class QWidget;

// "Gmail Template": asks for a Gmail address, its app password (kept only in the keychain), a
// recipient, a subject and a message, and hands the mail snippet and a task name ("Email: " +
// subject) to `onComplete`.
class GmailSetupView : public QDialog
{
    Q_OBJECT

public:
    // The settings key of the last used address.
    static constexpr char16_t kAccountKey[] = u"gmail_account";

    GmailSetupView(std::shared_ptr<Keychain> keychain, std::shared_ptr<QSettings> settings, QWidget *parent = nullptr);
    ~GmailSetupView() override;

    void setOnComplete(std::function<void(const QString &snippet, const QString &suggestedName)> onComplete)
    {
        m_onComplete = std::move(onComplete);
    }
    // How "Open App Passwords Page" opens the page; the default asks the desktop.
    void setUrlOpener(std::function<void(const QUrl &)> opener) { m_openUrl = std::move(opener); }

    // A password for the address filled in on opening is in the keychain.
    bool hasExistingCredentials() const { return m_hasExistingCredentials; }

    // Presses "Use Template": stores what is new, builds the snippet, closes. Stays open and
    // shows the failure when the keychain refuses the password.
    void useTemplate();

private:
    QWidget *buildAccountBox(QFormLayout **form);
    void buildPasswordPages();
    void buildHelp();
    QWidget *buildEmailBox(QFormLayout **form);
    QLayout *buildButtons();
    void updateState();
    bool showsSavedPassword() const;

    std::shared_ptr<Keychain> m_keychain;
    std::shared_ptr<QSettings> m_settings;
    std::function<void(const QString &, const QString &)> m_onComplete;
    std::function<void(const QUrl &)> m_openUrl;

    bool m_hasExistingCredentials = false;
    QString m_credentialsAddress;
    bool m_changingPassword = false;

    QLineEdit *m_address;
    QLineEdit *m_password;
    QStackedWidget *m_passwordPages;
    QWidget *m_help;
    QLineEdit *m_to;
    QLineEdit *m_subject;
    QPlainTextEdit *m_body;
    QLabel *m_error;
    QPushButton *m_use;
};
