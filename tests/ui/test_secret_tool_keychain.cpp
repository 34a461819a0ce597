#include "Sandbox.h"
#include "SecretToolStandIn.h"
#include "platform/Keychain.h"

#include <QtTest>

using namespace Qt::StringLiterals;

class SecretToolKeychainTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void save_thenFoundForThatAddressOnly()
    {
        Sandbox sandbox;
        SecretToolKeychain keychain(writeSecretToolStandIn(sandbox));
        QVERIFY(!keychain.hasCredentials(u"me@gmail.com"_s));
        QCOMPARE(keychain.save(u"me@gmail.com"_s, u"abcd efgh ijkl mnop"_s), std::nullopt);
        QVERIFY(keychain.hasCredentials(u"me@gmail.com"_s));
        QVERIFY(!keychain.hasCredentials(u"other@gmail.com"_s));
    }

    // The same attributes the Linux mail snippet looks up, and the password never as an argument.
    void attributes_matchTheSnippet_passwordOnStdinOnly()
    {
        Sandbox sandbox;
        SecretToolKeychain keychain(writeSecretToolStandIn(sandbox));
        QCOMPARE(keychain.save(u"me@gmail.com"_s, u"abcd efgh ijkl mnop"_s), std::nullopt);
        const QString lookup = u"'" % sandbox.root() %
                               u"/bin/secret-tool' lookup service com.moxley.gmail account "
                               u"me@gmail.com";
        const auto result = sandbox.run(u"/bin/sh"_s, {u"-c"_s, lookup});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, QByteArray("abcd efgh ijkl mnop"));
        const QByteArray calls = Sandbox::readFile(sandbox.root() + u"/secrets/calls.log"_s);
        QVERIFY(calls.startsWith("store --label=Moxley Gmail (me@gmail.com) service com.moxley.gmail account "
                                 "me@gmail.com\n"));
        QVERIFY(!calls.contains("abcd"));
    }

    void failures_areReported()
    {
        Sandbox sandbox;
        SecretToolKeychain missing(sandbox.root() + u"/bin/nothing-here"_s);
        QVERIFY(missing.save(u"a@gmail.com"_s, u"x"_s).has_value());
        QVERIFY(!missing.hasCredentials(u"a@gmail.com"_s));

        const QString failing = sandbox.root() + u"/bin/failing"_s;
        Sandbox::writeFile(
            failing, "#!/bin/sh\ncat >/dev/null\necho 'Cannot create an item in a locked collection' >&2\nexit 1\n",
            0755);
        const auto error = SecretToolKeychain(failing).save(u"a@gmail.com"_s, u"x"_s);
        QCOMPARE(error, std::optional<QString>(u"Cannot create an item in a locked collection"_s));
    }
};

QTEST_MAIN(SecretToolKeychainTest)
#include "test_secret_tool_keychain.moc"
