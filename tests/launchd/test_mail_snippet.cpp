#include "Sandbox.h"
#include "launchd/MailSnippet.h"

#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

using MailSnippet::Platform;

// The lines as a reader of the generated task would expect them, written out by hand.
QStringList expectedLines(const QString &from, const QString &to, const QString &subject, const QString &body,
                          const QString &passwordLookup)
{
    return {
        u"_smtp_code=$(curl -s -o /dev/null -w '%{http_code}' --ssl-reqd --url \"smtps://smtp.gmail.com:465\" \\"_s,
        u"  --user \"" % from % u":$(" % passwordLookup % u")\" \\",
        u"  --mail-from \"" % from % u"\" \\",
        u"  --mail-rcpt \"" % to % u"\" \\",
        u"  -T - <<'MOXLEYMAIL'"_s,
        u"Subject: " % subject,
        u"From: " % from,
        u"To: " % to,
        u"Content-Type: text/plain; charset=UTF-8"_s,
        QString(),
        body,
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
}

void compareLines(const QString &snippet, const QStringList &expected)
{
    const QStringList lines = snippet.split(u'\n');
    QCOMPARE(lines.size(), expected.size());
    for (qsizetype i = 0; i < lines.size(); ++i) {
        QVERIFY2(lines.at(i) == expected.at(i),
                 qPrintable(u"line " % QString::number(i + 1) % u": " % lines.at(i) % u" != " % expected.at(i)));
    }
}

// A folder of stand-in commands (curl, security, secret-tool) that go first on PATH, so the
// snippet runs for real in bash without sending anything.
struct FakeMailTools {
    QString bin;
    QString curlStdin;
    QString curlArgs;

    explicit FakeMailTools(const Sandbox &sandbox, int curlStatus = 0, const QByteArray &password = "s3cret pw")
        : bin(sandbox.root() + u"/mailbin"_s), curlStdin(sandbox.root() + u"/curl.stdin"_s),
          curlArgs(sandbox.root() + u"/curl.args"_s)
    {
        Sandbox::writeFile(bin + u"/curl"_s,
                           QByteArray("#!/bin/bash\nprintf '%s\\n' \"$@\" > '") + curlArgs.toUtf8() + "'\ncat > '" +
                               curlStdin.toUtf8() + "'\nprintf 250\nexit " + QByteArray::number(curlStatus) + "\n",
                           0755);
        const QByteArray answer = "#!/bin/bash\nprintf '%s\\n' '" + password + "'\n";
        Sandbox::writeFile(bin + u"/security"_s, answer, 0755);
        Sandbox::writeFile(bin + u"/secret-tool"_s, answer, 0755);
    }

    Sandbox::Result run(const Sandbox &sandbox, const QString &snippet) const
    {
        const QString script = u"PATH='" % bin % u"':\"$PATH\"\n" % snippet % u'\n';
        return sandbox.run(u"/bin/bash"_s, {u"-c"_s, script});
    }
};

} // namespace

class MailSnippetTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void macOS_linesExactly()
    {
        const QString snippet = MailSnippet::build(
            {u"me@gmail.com"_s, u"you@example.com"_s, u"Daily Reminder"_s, u"Hello there."_s}, Platform::macOS);
        compareLines(snippet,
                     expectedLines(u"me@gmail.com"_s, u"you@example.com"_s, u"Daily Reminder"_s, u"Hello there."_s,
                                   u"security find-generic-password -s com.moxley.gmail -a me@gmail.com -w"_s));
        QVERIFY(!snippet.endsWith(u'\n'));
    }

    void linux_linesExactly()
    {
        const QString snippet = MailSnippet::build(
            {u"me@gmail.com"_s, u"you@example.com"_s, u"Daily Reminder"_s, u"Hello there."_s}, Platform::linuxDesktop);
        compareLines(snippet,
                     expectedLines(u"me@gmail.com"_s, u"you@example.com"_s, u"Daily Reminder"_s, u"Hello there."_s,
                                   u"secret-tool lookup service com.moxley.gmail account me@gmail.com"_s));
        QVERIFY(!snippet.endsWith(u'\n'));
    }

    void platforms_differOnlyInPasswordLine()
    {
        const MailSnippet::Message message{u"a@gmail.com"_s, u"b@x.org"_s, u"S"_s, u"B"_s};
        const QStringList mac = MailSnippet::build(message, Platform::macOS).split(u'\n');
        const QStringList onLinux = MailSnippet::build(message, Platform::linuxDesktop).split(u'\n');
        QCOMPARE(mac.size(), onLinux.size());
        for (qsizetype i = 0; i < mac.size(); ++i) {
            QCOMPARE(mac.at(i) == onLinux.at(i), i != 1);
        }
    }

    void subjectQuote_escapedOnce_bodyAndAddressesUnchanged()
    {
        const QString snippet = MailSnippet::build(
            {u"\"me\"@gmail.com"_s, u"\"you\"@x.org"_s, u"Say \"hi\" now"_s, u"Body with \"quotes\" and $HOME"_s},
            Platform::macOS);
        const QStringList lines = snippet.split(u'\n');
        QCOMPARE(lines.at(5), u"Subject: Say \\\"hi\\\" now"_s);
        QCOMPARE(lines.at(6), u"From: \"me\"@gmail.com"_s);
        QCOMPARE(lines.at(7), u"To: \"you\"@x.org"_s);
        QCOMPARE(lines.at(10), u"Body with \"quotes\" and $HOME"_s);
        QCOMPARE(lines.at(2), u"  --mail-from \"\"me\"@gmail.com\" \\"_s);
    }

    void multiLineBody_keptAsTyped()
    {
        const QString snippet = MailSnippet::build(
            {u"a@gmail.com"_s, u"b@x.org"_s, u"S"_s, u"line one\n\n  line three"_s}, Platform::linuxDesktop);
        QVERIFY(snippet.contains(u"charset=UTF-8\n\nline one\n\n  line three\nMOXLEYMAIL\n)"_s));
    }

    void defaultsAndSuggestedName()
    {
        QCOMPARE(MailSnippet::defaultSubject(), u"Daily Reminder"_s);
        QCOMPARE(MailSnippet::defaultBody(), u"Don't forget to check the report."_s);
        QCOMPARE(MailSnippet::suggestedTaskName(u" \tWeekly report\t "_s), u"Email: Weekly report"_s);
        QCOMPARE(MailSnippet::suggestedTaskName(QString()), u"Email: "_s);
    }

    void trimming_onlyBlanksAndTabs()
    {
        QCOMPARE(MailSnippet::trimBlanks(u" \t a b \t "_s), u"a b"_s);
        QCOMPARE(MailSnippet::trimBlanks(u"\nx\n"_s), u"\nx\n"_s);
        QCOMPARE(MailSnippet::trimBlanks(u" \t "_s), QString());
        const MailSnippet::Message trimmed =
            MailSnippet::Message{u" a@gmail.com "_s, u"\tb@x.org"_s, u" S "_s, u" B\t"_s}.trimmed();
        QCOMPARE(trimmed.from, u"a@gmail.com"_s);
        QCOMPARE(trimmed.to, u"b@x.org"_s);
        QCOMPARE(trimmed.subject, u"S"_s);
        QCOMPARE(trimmed.body, u"B"_s);
    }

    // The snippet as bash runs it: curl gets the message on standard input, the password from the
    // store's command, and the run reports the SMTP code.
    void runsInBash_sendsMessageThroughCurl_data()
    {
        QTest::addColumn<int>("platform");
        QTest::newRow("macOS") << int(Platform::macOS);
        QTest::newRow("linux") << int(Platform::linuxDesktop);
    }
    void runsInBash_sendsMessageThroughCurl()
    {
        QFETCH(int, platform);
        Sandbox sandbox;
        const FakeMailTools tools(sandbox);
        const QString snippet =
            MailSnippet::build({u"me@gmail.com"_s, u"you@example.com"_s, u"It's \"done\""_s, u"Costs $5 `now`\nBye"_s},
                               Platform(platform));
        const auto result = tools.run(sandbox, snippet);
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, QByteArray("[250] Email sent to you@example.com\n"));
        // The here-document is quoted, so the backslashes put before the subject's double quotes
        // reach the message as they are.
        QCOMPARE(Sandbox::readFile(tools.curlStdin),
                 QByteArray("Subject: It's \\\"done\\\"\nFrom: me@gmail.com\nTo: you@example.com\n"
                            "Content-Type: text/plain; charset=UTF-8\n\nCosts $5 `now`\nBye\n"));
        const QList<QByteArray> args = Sandbox::readFile(tools.curlArgs).split('\n');
        QVERIFY(args.contains("me@gmail.com:s3cret pw"));
        QVERIFY(args.contains("smtps://smtp.gmail.com:465"));
        QVERIFY(args.contains("--ssl-reqd"));
        QCOMPARE(args.at(args.indexOf("--mail-rcpt") + 1), QByteArray("you@example.com"));
    }

    void curlFailure_printsFailureAndExits1()
    {
        Sandbox sandbox;
        const FakeMailTools tools(sandbox, 67);
        const auto result = tools.run(
            sandbox, MailSnippet::build({u"me@gmail.com"_s, u"you@x.org"_s, u"S"_s, u"B"_s}, Platform::macOS));
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.out, QByteArray());
        QCOMPARE(result.err, QByteArray("Failed to send email\n"));
    }

    // Not guarded against: a body line that is the terminator ends the message there.
    void bodyTerminatorLine_endsMessageEarly()
    {
        Sandbox sandbox;
        const FakeMailTools tools(sandbox);
        const auto result = tools.run(
            sandbox, MailSnippet::build({u"me@gmail.com"_s, u"you@x.org"_s, u"S"_s, u"first\nMOXLEYMAIL\nsecond"_s},
                                        Platform::linuxDesktop));
        QVERIFY(Sandbox::readFile(tools.curlStdin).endsWith("\n\nfirst\n"));
        // "second" then runs as a command inside the substitution and fails, so the run fails.
        QCOMPARE(result.exitCode, 1);
        QVERIFY(result.err.endsWith("Failed to send email\n"));
    }
};

QTEST_GUILESS_MAIN(MailSnippetTest)
#include "test_mail_snippet.moc"
