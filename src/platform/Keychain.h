#pragma once

#include <QString>

#include <memory>
#include <optional>

// Where the Gmail app passwords live: one generic-password item per address under the service
// "com.moxley.gmail", readable by the command the mail snippet runs at run time. Nothing else
// ever sees the password.
class Keychain
{
public:
    static constexpr char16_t kService[] = u"com.moxley.gmail";

    virtual ~Keychain() = default;

    // Stores `password` for `address`, replacing an older one. Gives the failure as text.
    virtual std::optional<QString> save(const QString &address, const QString &password) = 0;
    // Whether a password for `address` is stored.
    virtual bool hasCredentials(const QString &address) = 0;

    // The system's store, through the same command the snippet reads it back with: the login
    // keychain through /usr/bin/security on macOS, the Secret Service through secret-tool on Linux.
    static std::unique_ptr<Keychain> system();
};

// The macOS login keychain through `security`: a generic-password item (service, account) that
// lists /usr/bin/security among its trusted applications, so the snippet's
// `security find-generic-password -s ... -a ... -w` reads it in a launchd job without a prompt.
class SecurityToolKeychain : public Keychain
{
public:
    static constexpr char16_t kTrustedReader[] = u"/usr/bin/security";

    explicit SecurityToolKeychain(QString program = QStringLiteral("/usr/bin/security"));

    std::optional<QString> save(const QString &address, const QString &password) override;
    bool hasCredentials(const QString &address) override;

private:
    QString m_program;
};

// The Secret Service through `secret-tool`, with the attributes `service` and `account` that
// the Linux mail snippet looks up. The password goes through standard input, never an argument.
class SecretToolKeychain : public Keychain
{
public:
    explicit SecretToolKeychain(QString program = QStringLiteral("secret-tool"));

    std::optional<QString> save(const QString &address, const QString &password) override;
    bool hasCredentials(const QString &address) override;

private:
    QString m_program;
};
