#pragma once

#include <QString>

// The shell text a task runs to send one e-mail through a Gmail account. The app password is
// not in the text: the snippet fetches it from the system's password store when it runs.
namespace MailSnippet {

// The password store the snippet reads at run time: the login keychain through `security`
// on macOS, the Secret Service through `secret-tool` on Linux.
enum class Platform { macOS, linuxDesktop };
Platform currentPlatform();

// Gmail's SMTP over TLS.
inline constexpr char16_t kSmtpsUrl[] = u"smtps://smtp.gmail.com:465";
// Google's page for creating app passwords.
inline constexpr char16_t kAppPasswordsPage[] = u"https://myaccount.google.com/apppasswords";

QString defaultSubject(); // "Daily Reminder"
QString defaultBody();    // "Don't forget to check the report."

struct Message {
    QString from;
    QString to;
    QString subject;
    QString body;

    // Every field with blanks and tabs removed from both ends, as the entry forms take them.
    Message trimmed() const;
};

// Removes blanks and tabs (only those) from both ends.
QString trimBlanks(const QString &text);

// The command that prints the stored app password of `address`.
QString passwordCommand(const QString &address, Platform platform);

// The snippet's lines joined by line feeds, without a final one. Addresses and body go in as
// given; only the subject's double quotes are escaped.
QString build(const Message &message, Platform platform = currentPlatform());

// "Email: " + the trimmed subject.
QString suggestedTaskName(const QString &subject);

} // namespace MailSnippet
