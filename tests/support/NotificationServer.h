#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QList>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

// The stand-in notification server (tests/support/notifications) as a child process on the session
// bus that DBUS_SESSION_BUS_ADDRESS names when it starts; ended with the object.
class NotificationServer
{
public:
    NotificationServer()
    {
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(QStringLiteral(MOXLEY_NOTIFICATION_SERVER_PATH), {recordFile()});
        if (m_process.waitForStarted(10000)) {
            while (!m_process.canReadLine() && m_process.waitForReadyRead(10000)) {
            }
            m_ready = m_process.readLine().trimmed() == "ready";
        }
    }
    ~NotificationServer()
    {
        m_process.terminate();
        if (!m_process.waitForFinished(5000)) {
            m_process.kill();
            m_process.waitForFinished(5000);
        }
    }
    NotificationServer(const NotificationServer &) = delete;
    NotificationServer &operator=(const NotificationServer &) = delete;

    bool isReady() const { return m_ready; }
    qint64 pid() const { return m_process.processId(); }

    // Every Notify call so far, oldest first.
    QList<QJsonObject> calls() const
    {
        QList<QJsonObject> calls;
        QFile file(recordFile());
        if (file.open(QIODevice::ReadOnly)) {
            for (const QByteArray &line : file.readAll().split('\n')) {
                if (!line.isEmpty()) {
                    calls << QJsonDocument::fromJson(line).object();
                }
            }
        }
        return calls;
    }

    // Waits (the event loop running) until there are `count` calls or the time is up.
    QList<QJsonObject> waitForCalls(qsizetype count, int milliseconds) const
    {
        QElapsedTimer clock;
        clock.start();
        while (calls().size() < count && clock.elapsed() < milliseconds) {
            QTest::qWait(100);
        }
        return calls();
    }

    // As a click on the notification: ActionInvoked(id, "default").
    bool click(quint32 id) const
    {
        QDBusMessage call =
            QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("/test"),
                                           QStringLiteral("com.moxley.TestNotifications"), QStringLiteral("Click"));
        call << uint(id);
        const QString name = QStringLiteral("moxley-test-click");
        QDBusConnection bus = QDBusConnection::connectToBus(qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS"), name);
        const bool ok = bus.call(call, QDBus::Block, 10000).type() == QDBusMessage::ReplyMessage;
        QDBusConnection::disconnectFromBus(name);
        return ok;
    }

private:
    QString recordFile() const { return m_dir.path() + QStringLiteral("/notify-calls.jsonl"); }

    QTemporaryDir m_dir;
    QProcess m_process;
    bool m_ready = false;
};
