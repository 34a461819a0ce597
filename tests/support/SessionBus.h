#pragma once

#include <QProcess>
#include <QString>
#include <QtTest>

// D-Bus carries the change notice on Linux only: its tests skip on macOS, which has no session bus.
#ifdef Q_OS_MACOS
#define SKIP_WITHOUT_SESSION_BUS()                                                                                     \
    QSKIP("macOS has no D-Bus session bus; its change notice is a distributed notification")
#else
#define SKIP_WITHOUT_SESSION_BUS() static_cast<void>(0)
#endif

// A private D-Bus session bus for one test: a real dbus-daemon, started here and ended with the
// object. While it lives, DBUS_SESSION_BUS_ADDRESS names it in this process (and so in children).
class SessionBus
{
public:
    SessionBus()
    {
        m_saved = qEnvironmentVariableIsSet("DBUS_SESSION_BUS_ADDRESS")
                      ? std::optional<QByteArray>(qgetenv("DBUS_SESSION_BUS_ADDRESS"))
                      : std::nullopt;
        m_daemon.start(QStringLiteral("dbus-daemon"),
                       {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--print-address")});
        if (!m_daemon.waitForStarted(10000)) {
            return;
        }
        while (!m_daemon.canReadLine() && m_daemon.waitForReadyRead(10000)) {
        }
        m_address = QString::fromUtf8(m_daemon.readLine()).trimmed();
        qputenv("DBUS_SESSION_BUS_ADDRESS", m_address.toUtf8());
    }
    ~SessionBus()
    {
        if (m_saved) {
            qputenv("DBUS_SESSION_BUS_ADDRESS", *m_saved);
        } else {
            qunsetenv("DBUS_SESSION_BUS_ADDRESS");
        }
        if (m_daemon.state() != QProcess::NotRunning) {
            m_daemon.terminate();
            if (!m_daemon.waitForFinished(5000)) {
                m_daemon.kill();
                m_daemon.waitForFinished(5000);
            }
        }
    }
    SessionBus(const SessionBus &) = delete;
    SessionBus &operator=(const SessionBus &) = delete;

    bool isValid() const { return !m_address.isEmpty(); }
    QString address() const { return m_address; }

private:
    QProcess m_daemon;
    QString m_address;
    std::optional<QByteArray> m_saved;
};
