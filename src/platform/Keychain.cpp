#include "platform/Keychain.h"

#include <QEventLoop>
#include <QProcess>

#ifdef MOXLEY_HAVE_QTKEYCHAIN
#include <qt6keychain/keychain.h>
#endif

namespace {

constexpr int kTimeoutMs = 30000;

QString service()
{
    return QString::fromUtf16(Keychain::kService);
}

#ifdef MOXLEY_HAVE_QTKEYCHAIN
// Generic-password items of the login keychain (service + account), which
// `security find-generic-password -s SERVICE -a ACCOUNT -w` reads back.
class QtKeychainStore : public Keychain
{
public:
    std::optional<QString> save(const QString &address, const QString &password) override
    {
        QKeychain::WritePasswordJob job(service());
        job.setAutoDelete(false);
        // Never fall back to a plain settings file.
        job.setInsecureFallback(false);
        job.setKey(address);
        job.setTextData(password);
        runToEnd(job);
        if (job.error() != QKeychain::NoError) {
            return job.errorString();
        }
        return std::nullopt;
    }

    bool hasCredentials(const QString &address) override
    {
        QKeychain::ReadPasswordJob job(service());
        job.setAutoDelete(false);
        job.setInsecureFallback(false);
        job.setKey(address);
        runToEnd(job);
        return job.error() == QKeychain::NoError;
    }

private:
    static void runToEnd(QKeychain::Job &job)
    {
        QEventLoop loop;
        QObject::connect(&job, &QKeychain::Job::finished, &loop, &QEventLoop::quit);
        job.start();
        loop.exec();
    }
};
#endif

} // namespace

std::unique_ptr<Keychain> Keychain::system()
{
#if defined(Q_OS_MACOS) && defined(MOXLEY_HAVE_QTKEYCHAIN)
    return std::make_unique<QtKeychainStore>();
#else
    return std::make_unique<SecretToolKeychain>();
#endif
}

SecretToolKeychain::SecretToolKeychain(QString program) : m_program(std::move(program)) {}

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
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0
           && !process.readAllStandardOutput().isEmpty();
}
