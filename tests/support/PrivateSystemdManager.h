#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QProcess>
#include <QString>
#include <QStringList>

#include <optional>

// A user systemd instance of the test's own (`systemd --user`), for tests that drive real units.
// It runs with HOME = `home`, a private XDG_RUNTIME_DIR and XDG_CONFIG_HOME = home/.config, and
// while it lives this process's environment points there too (XDG_RUNTIME_DIR, XDG_CONFIG_HOME,
// MOXLEY_SCHEDULER=systemd, no session bus), so `systemctl --user` and the moxley tool talk to it.
// A user manager insists on /run/systemd/system (the sign of a systemd-booted machine): it is
// created when missing and removed when the last test process that needed it is done, counted
// under a lock so that parallel tests do not pull it from under each other.
class PrivateSystemdManager
{
public:
    // Why this machine cannot run one (not root, no systemd); empty when it can.
    static QString unavailableReason();

    // The scheduler takes systemd for the machine's where SYSROOT/usr/bin/systemctl exists: the real
    // one is linked there. False when it could not be.
    static bool linkSystemctlInto(const QString &sysroot);

    explicit PrivateSystemdManager(const QString &home);
    ~PrivateSystemdManager();
    PrivateSystemdManager(const PrivateSystemdManager &) = delete;
    PrivateSystemdManager &operator=(const PrivateSystemdManager &) = delete;

    // Empty when the manager reached "running"; else what went wrong (with its log).
    const QString &failure() const { return m_failure; }
    QString runtimeDir() const { return m_runtimeDir; }
    QString unitDir() const { return m_home + QStringLiteral("/.config/systemd/user"); }

    struct Reply {
        int exitCode = -1;
        QString out;
        QString err;
    };
    // systemctl --user ARGUMENTS against this manager, with TZ=UTC so that times read back plainly.
    Reply systemctl(const QStringList &arguments) const;
    // `systemctl --user show -p NAME --value UNIT`, trimmed.
    QString property(const QString &unit, const QString &name) const;
    // A systemctl time ("Tue 2026-11-24 10:00:00 UTC") as a UTC date-time; nothing for "n/a" or "".
    static std::optional<QDateTime> parseTime(const QString &text);
    // The unit names `list-units --all` shows.
    QStringList loadedUnits() const;

private:
    void claimRunSystemd();
    void releaseRunSystemd();

    QString m_home;
    QString m_runtimeDir;
    QString m_failure;
    QProcess m_process;
    QList<QPair<QByteArray, std::optional<QByteArray>>> m_saved;
    bool m_claimed = false;
};

// Skips the test on a machine that cannot run a manager of its own.
#define SKIP_WITHOUT_SYSTEMD_MANAGER()                                                                                 \
    do {                                                                                                               \
        if (const QString reason = PrivateSystemdManager::unavailableReason(); !reason.isEmpty()) {                    \
            QSKIP(qPrintable(QStringLiteral("no private systemd user manager: ") + reason));                           \
        }                                                                                                              \
    } while (false)

// Skips as above, and fails the test where a manager could run but this one did not start.
#define REQUIRE_SYSTEMD_MANAGER(manager)                                                                               \
    do {                                                                                                               \
        SKIP_WITHOUT_SYSTEMD_MANAGER();                                                                                \
        QVERIFY2((manager).failure().isEmpty(), qPrintable((manager).failure()));                                      \
    } while (false)
