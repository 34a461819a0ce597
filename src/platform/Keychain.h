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

    // The system's store: the login keychain through QtKeychain on macOS, the Secret Service
    // through secret-tool on Linux (QtKeychain would file the item under attributes that the
    // snippet's `secret-tool lookup service ... account ...` does not find).
    static std::unique_ptr<Keychain> system();
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
