#include "Sandbox.h"

#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

// The password lookup written out by hand, for the system the tests run on.
QByteArray passwordLookup(const QByteArray &from)
{
#ifdef Q_OS_MACOS
    return "security find-generic-password -s com.moxley.gmail -a " + from + " -w";
#else
    return "secret-tool lookup service com.moxley.gmail account " + from;
#endif
}

// The snippet written out by hand.
QByteArray expectedSnippet(const QByteArray &from, const QByteArray &to, const QByteArray &subject,
                           const QByteArray &body)
{
    return "_smtp_code=$(curl -s -o /dev/null -w '%{http_code}' --ssl-reqd --url \"smtps://smtp.gmail.com:465\" \\\n"
           "  --user \"" +
           from + ":$(" + passwordLookup(from) +
           ")\" \\\n"
           "  --mail-from \"" +
           from +
           "\" \\\n"
           "  --mail-rcpt \"" +
           to +
           "\" \\\n"
           "  -T - <<'MOXLEYMAIL'\n"
           "Subject: " +
           subject +
           "\n"
           "From: " +
           from +
           "\n"
           "To: " +
           to +
           "\n"
           "Content-Type: text/plain; charset=UTF-8\n"
           "\n" +
           body +
           "\n"
           "MOXLEYMAIL\n"
           ")\n"
           "\n"
           "if [ $? -eq 0 ]; then\n"
           "  echo \"[$_smtp_code] Email sent to " +
           to +
           "\"\n"
           "else\n"
           "  echo \"Failed to send email\" >&2\n"
           "  exit 1\n"
           "fi\n";
}

} // namespace

class CliTemplateTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void shortcut_printsRunCommand()
    {
        Sandbox sandbox;
        auto result = sandbox.runCli({u"template"_s, u"shortcut"_s, u"Morning Brief"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, QByteArray("shortcuts run 'Morning Brief'\n"));
        QCOMPARE(result.err, QByteArray());
        result = sandbox.runCli({u"template"_s, u"shortcut"_s, u"Tom's backup"_s});
        QCOMPARE(result.out, QByteArray("shortcuts run 'Tom'\\''s backup'\n"));
    }

    void gmail_defaultSubjectAndBody()
    {
        Sandbox sandbox;
        const auto result =
            sandbox.runCli({u"template"_s, u"gmail"_s, u"--from"_s, u"me@gmail.com"_s, u"--to"_s, u"you@x.org"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.err, QByteArray());
        QCOMPARE(result.out,
                 expectedSnippet("me@gmail.com", "you@x.org", "Daily Reminder", "Don't forget to check the report."));
    }

    void gmail_givenSubjectAndBody_trimmedLikeTheApp()
    {
        Sandbox sandbox;
        const auto result =
            sandbox.runCli({u"template"_s, u"gmail"_s, u"--from"_s, u" me@gmail.com\t"_s, u"--to"_s, u"you@x.org "_s,
                            u"--subject"_s, u" Say \"hi\" "_s, u"--body"_s, u"Line 1\nLine \"2\""_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, expectedSnippet("me@gmail.com", "you@x.org", "Say \\\"hi\\\"", "Line 1\nLine \"2\""));
    }

    void gmail_emptySubjectIsKept()
    {
        Sandbox sandbox;
        const auto result = sandbox.runCli({u"template"_s, u"gmail"_s, u"--from"_s, u"a@gmail.com"_s, u"--to"_s,
                                            u"b@x.org"_s, u"--subject"_s, QString()});
        QCOMPARE(result.exitCode, 0);
        QVERIFY(result.out.contains("\nSubject: \nFrom: a@gmail.com\n"));
    }

    void usageErrors_exit2()
    {
        Sandbox sandbox;
        const QList<QStringList> cases{
            {u"template"_s},
            {u"template"_s, u"gmail"_s, u"--to"_s, u"b@x.org"_s},
            {u"template"_s, u"gmail"_s, u"--from"_s, u"a@gmail.com"_s},
            {u"template"_s, u"gmail"_s, u"--from"_s, u"  "_s, u"--to"_s, u"b@x.org"_s},
            {u"template"_s, u"gmail"_s, u"--from"_s},
            {u"template"_s, u"gmail"_s, u"extra"_s, u"--from"_s, u"a@gmail.com"_s, u"--to"_s, u"b@x.org"_s},
            {u"template"_s, u"shortcut"_s},
            {u"template"_s, u"shortcut"_s, QString()},
            {u"template"_s, u"shortcut"_s, u"X"_s, u"--from"_s, u"a@gmail.com"_s},
            {u"template"_s, u"shortcut"_s, u"X"_s, u"Y"_s},
            {u"template"_s, u"telegram"_s},
        };
        for (const QStringList &arguments : cases) {
            const auto result = sandbox.runCli(arguments);
            QVERIFY2(result.exitCode == 2, qPrintable(arguments.join(u' ')));
            QVERIFY2(result.out.isEmpty(), qPrintable(arguments.join(u' ')));
            QVERIFY2(result.err.startsWith("moxley: "), qPrintable(arguments.join(u' ')));
            QVERIFY2(result.err.contains("--help"), qPrintable(arguments.join(u' ')));
        }
    }

    void readOnly_writesNothing()
    {
        Sandbox sandbox;
        sandbox.runCli({u"template"_s, u"shortcut"_s, u"X"_s});
        sandbox.runCli({u"template"_s, u"gmail"_s, u"--from"_s, u"a@gmail.com"_s, u"--to"_s, u"b@x.org"_s});
        QVERIFY(!QFileInfo::exists(sandbox.dataDir()));
        QVERIFY(!QFileInfo::exists(sandbox.launchAgentsDir()));
    }

    void help_namesBothTemplates()
    {
        Sandbox sandbox;
        const auto result = sandbox.runCli({u"template"_s, u"--help"_s});
        QCOMPARE(result.exitCode, 0);
        QVERIFY(result.out.startsWith("Usage: moxley template shortcut NAME | template gmail --from ADDRESS"));
        QVERIFY(result.out.contains("--subject S"));
        QVERIFY(sandbox.runCli({u"--help"_s}).out.contains("\n  template"));
    }
};

QTEST_GUILESS_MAIN(CliTemplateTest)
#include "test_cli_template.moc"
