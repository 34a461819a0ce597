#include "launchd/MailSnippet.h"

#include "platform/Keychain.h"

#include <QStringList>

using namespace Qt::StringLiterals;

MailSnippet::Platform MailSnippet::currentPlatform()
{
#ifdef Q_OS_MACOS
    return Platform::macOS;
#else
    return Platform::linuxDesktop;
#endif
}

QString MailSnippet::defaultSubject()
{
    return QStringLiteral("Daily Reminder");
}

QString MailSnippet::defaultBody()
{
    return QStringLiteral("Don't forget to check the report.");
}

QString MailSnippet::trimBlanks(const QString &text)
{
    const auto isBlank = [](QChar c) { return c == u' ' || c == u'\t'; };
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && isBlank(text.at(begin))) {
        ++begin;
    }
    while (end > begin && isBlank(text.at(end - 1))) {
        --end;
    }
    return text.mid(begin, end - begin);
}

MailSnippet::Message MailSnippet::Message::trimmed() const
{
    return {trimBlanks(from), trimBlanks(to), trimBlanks(subject), trimBlanks(body)};
}

QString MailSnippet::passwordCommand(const QString &address, Platform platform)
{
    const QString service = QString::fromUtf16(Keychain::kService);
    switch (platform) {
    case Platform::macOS:
        return u"security find-generic-password -s " % service % u" -a " % address % u" -w";
    case Platform::linuxDesktop:
        return u"secret-tool lookup service " % service % u" account " % address;
    }
    Q_UNREACHABLE();
    return QString();
}

QString MailSnippet::build(const Message &message, Platform platform)
{
    const QString &from = message.from;
    const QString &to = message.to;
    QString subject = message.subject;
    subject.replace(u'"', u"\\\""_s);

    const QStringList lines{
        u"_smtp_code=$(curl -s -o /dev/null -w '%{http_code}' --ssl-reqd --url \""_s % QString::fromUtf16(kSmtpsUrl) %
            u"\" \\",
        u"  --user \"" % from % u":$(" % passwordCommand(from, platform) % u")\" \\",
        u"  --mail-from \"" % from % u"\" \\",
        u"  --mail-rcpt \"" % to % u"\" \\",
        u"  -T - <<'MOXLEYMAIL'"_s,
        u"Subject: " % subject,
        u"From: " % from,
        u"To: " % to,
        u"Content-Type: text/plain; charset=UTF-8"_s,
        QString(),
        message.body,
        u"MOXLEYMAIL"_s,
        u")"_s,
        QString(),
        u"if [ $? -eq 0 ]; then"_s,
        u"  echo \"[$_smtp_code] Email sent to " % to % u"\"",
        u"else"_s,
        u"  echo \"Failed to send email\" >&2"_s,
        u"  exit 1"_s,
        u"fi"_s,
    };
    return lines.join(u'\n');
}

QString MailSnippet::suggestedTaskName(const QString &subject)
{
    return u"Email: " % trimBlanks(subject);
}
