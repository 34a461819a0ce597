#include "platform/Keychain.h"

#include <QProcess>

namespace {

constexpr int kTimeoutMs = 30000;

QString service()
{
    return QString::fromUtf16(Keychain::kService);
}

// Runs `program arguments`, feeding it `input`; false when it did not start or end in time.
bool runToEnd(QProcess &process, const QString &program, const QStringList &arguments, const QByteArray &input)
{
    process.start(program, arguments);
    if (!process.waitForStarted(kTimeoutMs)) {
        return false;
    }
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(kTimeoutMs)) {
        process.kill();
        process.waitForFinished();
        return false;
    }
    return true;
}

// A word of `security -i`'s command line: in double quotes, with \ and \" escaped.
QByteArray quotedWord(const QString &text)
{
    QByteArray word = text.toUtf8();
    word.replace('\\', "\\\\");
    word.replace('"', "\\\"");
    return '"' + word + '"';
}

} // namespace

std::unique_ptr<Keychain> Keychain::system()
{
#ifdef Q_OS_MACOS
    return std::make_unique<SecurityToolKeychain>();
#else
    return std::make_unique<SecretToolKeychain>();
#endif
}

SecurityToolKeychain::SecurityToolKeychain(QString program) : m_program(std::move(program))
{
}

std::optional<QString> SecurityToolKeychain::save(const QString &address, const QString &password)
{
    if (password.contains(u'\n') || address.contains(u'\n')) {
        return QStringLiteral("The password cannot contain a line break.");
    }
    // The command goes through standard input (`security -i`), so the password never shows in a
    // process list. -U replaces an older item; -T trusts /usr/bin/security itself, so the mail
    // snippet's `security find-generic-password` in an unattended launchd job reads the item
    // without an access prompt (an item made through the keychain API trusts only its maker).
    const QByteArray command = "add-generic-password -U -s " + quotedWord(service()) + " -a " + quotedWord(address) +
                               " -l " + quotedWord(u"Moxley Gmail (" % address % u')') + " -T " +
                               quotedWord(QString::fromUtf16(kTrustedReader)) + " -w " + quotedWord(password) + '\n';
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    if (!runToEnd(process, m_program, {QStringLiteral("-i")}, command)) {
        return QString(u"The keychain did not answer (" % m_program % u").");
    }
    const QString output = QString::fromUtf8(process.readAll()).trimmed();
    // `security -i` may end well when a command in it failed: the command's complaint says so.
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0 || output.contains(u"security: ") ||
        !hasCredentials(address)) {
        return output.isEmpty() ? QStringLiteral("The password could not be stored.") : output;
    }
    return std::nullopt;
}

bool SecurityToolKeychain::hasCredentials(const QString &address)
{
    // Without -w the item's attributes come back, not its secret: no access prompt.
    QProcess process;
    return runToEnd(process, m_program,
                    {QStringLiteral("find-generic-password"), QStringLiteral("-s"), service(), QStringLiteral("-a"),
                     address},
                    {}) &&
           process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

SecretToolKeychain::SecretToolKeychain(QString program) : m_program(std::move(program))
{
}

std::optional<QString> SecretToolKeychain::save(const QString &address, const QString &password)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(m_program, {QStringLiteral("store"), QString(u"--label=Moxley Gmail (" % address % u')'),
                              QStringLiteral("service"), service(), QStringLiteral("account"), address});
    if (!process.waitForStarted(kTimeoutMs)) {
        return QString(u"Cannot start " % m_program % u": " % process.errorString());
    }
    process.write(password.toUtf8());
    process.closeWriteChannel();
    if (!process.waitForFinished(kTimeoutMs)) {
        process.kill();
        process.waitForFinished();
        return QStringLiteral("The password store did not answer.");
    }
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        const QString message = QString::fromUtf8(process.readAll()).trimmed();
        return message.isEmpty() ? QStringLiteral("The password could not be stored.") : message;
    }
    return std::nullopt;
}

bool SecretToolKeychain::hasCredentials(const QString &address)
{
    QProcess process;
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(m_program,
                  {QStringLiteral("lookup"), QStringLiteral("service"), service(), QStringLiteral("account"), address});
    if (!process.waitForStarted(kTimeoutMs)) {
        return false;
    }
    if (!process.waitForFinished(kTimeoutMs)) {
        process.kill();
        process.waitForFinished();
        return false;
    }
    // The secret itself comes back on standard output; only its presence matters here.
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0 &&
           !process.readAllStandardOutput().isEmpty();
}
