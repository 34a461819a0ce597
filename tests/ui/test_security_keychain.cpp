#include "Sandbox.h"
#include "SecurityStandIn.h"
#include "launchd/MailSnippet.h"
#include "platform/Keychain.h"

#include <QtTest>

using namespace Qt::StringLiterals;

// The macOS keychain through `security`, against a stand-in with a store of its own (the real
// tool and its trusted-application list exist only on a Mac; see docs/macos.md).
class SecurityKeychainTest : public QObject
{
    Q_OBJECT

    // Quotes, a backslash, a dollar and a non-ASCII letter: all must reach the store unchanged.
    const QString kPassword = u"ab\"cd \\ef $(gh) ïj"_s;

private Q_SLOTS:
    void save_thenFoundForThatAddressOnly()
    {
        Sandbox sandbox;
        SecurityToolKeychain keychain(writeSecurityStandIn(sandbox));
        QVERIFY(!keychain.hasCredentials(u"me@gmail.com"_s));
        QCOMPARE(keychain.save(u"me@gmail.com"_s, kPassword), std::nullopt);
        QVERIFY(keychain.hasCredentials(u"me@gmail.com"_s));
        QVERIFY(!keychain.hasCredentials(u"other@gmail.com"_s));
    }

    // The item trusts /usr/bin/security, which the snippet runs in an unattended launchd job,
    // and the password never appears as an argument (a process list would show it).
    void item_trustsSecurity_passwordOnStdinOnly()
    {
        Sandbox sandbox;
        SecurityToolKeychain keychain(writeSecurityStandIn(sandbox));
        QCOMPARE(keychain.save(u"me@gmail.com"_s, kPassword), std::nullopt);
        const QDir store(sandbox.root() + u"/keychain"_s);
        const QStringList trusted = store.entryList({u"*.trusted"_s});
        QCOMPARE(trusted.size(), 1);
        QCOMPARE(Sandbox::readFile(store.filePath(trusted.first())), QByteArray("/usr/bin/security\n"));
        const QByteArray calls = Sandbox::readFile(store.filePath(u"calls.log"_s));
        QVERIFY(calls.startsWith("-i\n"));
        QVERIFY(!calls.contains("ab\"cd"));
        QVERIFY(!calls.contains("$(gh)"));
    }

    // What the mail snippet runs at run time reads back exactly what the app stored.
    void snippetLookupCommand_readsThePassword()
    {
        Sandbox sandbox;
        const QString tool = writeSecurityStandIn(sandbox);
        SecurityToolKeychain keychain(tool);
        QCOMPARE(keychain.save(u"me@gmail.com"_s, kPassword), std::nullopt);
        const QString lookup = MailSnippet::passwordCommand(u"me@gmail.com"_s, MailSnippet::Platform::macOS);
        QCOMPARE(lookup, u"security find-generic-password -s com.moxley.gmail -a me@gmail.com -w"_s);
        const auto result = sandbox.run(u"/bin/bash"_s, {u"-c"_s, u"PATH='"_s + QFileInfo(tool).path() +
                                                                      u"':$PATH; echo \"$("_s + lookup + u")\""_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(QString::fromUtf8(result.out), kPassword + u"\n"_s);
    }

    void saveAgain_replacesThePassword()
    {
        Sandbox sandbox;
        const QString tool = writeSecurityStandIn(sandbox);
        SecurityToolKeychain keychain(tool);
        QCOMPARE(keychain.save(u"me@gmail.com"_s, u"first"_s), std::nullopt);
        QCOMPARE(keychain.save(u"me@gmail.com"_s, u"second"_s), std::nullopt);
        const auto result = sandbox.run(
            tool, {u"find-generic-password"_s, u"-s"_s, u"com.moxley.gmail"_s, u"-a"_s, u"me@gmail.com"_s, u"-w"_s});
        QCOMPARE(result.out, QByteArray("second\n"));
    }

    void failures_areReported()
    {
        Sandbox sandbox;
        SecurityToolKeychain missing(sandbox.root() + u"/bin/nothing-here"_s);
        QVERIFY(missing.save(u"a@gmail.com"_s, u"x"_s).has_value());
        QVERIFY(!missing.hasCredentials(u"a@gmail.com"_s));

        // `security -i` ends well although its command failed; the complaint is what counts.
        const QString failing = sandbox.root() + u"/bin/failing"_s;
        Sandbox::writeFile(failing,
                           "#!/bin/sh\ncat >/dev/null\necho 'security: SecKeychainItemCreateFromContent (<default>): "
                           "User interaction is not allowed.'\nexit 0\n",
                           0755);
        SecurityToolKeychain refusing(failing);
        const std::optional<QString> error = refusing.save(u"a@gmail.com"_s, u"x"_s);
        QVERIFY(error.has_value());
        QVERIFY(error->contains(u"User interaction is not allowed."_s));

        QVERIFY(SecurityToolKeychain(writeSecurityStandIn(sandbox)).save(u"a@gmail.com"_s, u"x\ny"_s).has_value());
    }
};

QTEST_MAIN(SecurityKeychainTest)
#include "test_security_keychain.moc"
