// A stand-in desktop notification server for tests: owns org.freedesktop.Notifications on the
// session bus (DBUS_SESSION_BUS_ADDRESS), answers Notify and appends one JSON line per call to the
// file named by its argument, with the caller's process id. Click(id) on /test (interface
// com.moxley.TestNotifications) makes it emit ActionInvoked(id, "default"), as a click would.
// Prints "ready" once the name is its own.
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusContext>
#include <QDBusMessage>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTextStream>
#include <QVariantMap>

#include <cstdio>

using namespace Qt::StringLiterals;

class Server : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    explicit Server(QString recordFile) : m_recordFile(std::move(recordFile)) {}

public Q_SLOTS:
    QStringList GetCapabilities() { return {u"actions"_s, u"body"_s}; }

    QString GetServerInformation(QString &vendor, QString &version, QString &protocolVersion)
    {
        vendor = u"Moxley tests"_s;
        version = u"1"_s;
        protocolVersion = u"1.2"_s;
        return u"stand-in"_s;
    }

    uint Notify(const QString &appName, uint replacesId, const QString &appIcon, const QString &summary,
                const QString &body, const QStringList &actions, const QVariantMap &hints, int expireTimeout)
    {
        const uint id = replacesId != 0 ? replacesId : ++m_lastId;
        QJsonObject record{{u"id"_s, qint64(id)},
                           {u"appName"_s, appName},
                           {u"replacesId"_s, qint64(replacesId)},
                           {u"appIcon"_s, appIcon},
                           {u"summary"_s, summary},
                           {u"body"_s, body},
                           {u"actions"_s, QJsonArray::fromStringList(actions)},
                           {u"desktopEntry"_s, hints.value(u"desktop-entry"_s).toString()},
                           {u"expireTimeout"_s, expireTimeout},
                           {u"pid"_s, qint64(connection().interface()->servicePid(message().service()).value())}};
        QFile file(m_recordFile);
        if (file.open(QIODevice::Append)) {
            file.write(QJsonDocument(record).toJson(QJsonDocument::Compact) + '\n');
        }
        return id;
    }

    void CloseNotification(uint id) { Q_EMIT NotificationClosed(id, 3); }

Q_SIGNALS:
    void ActionInvoked(uint id, const QString &actionKey);
    void NotificationClosed(uint id, uint reason);

private:
    QString m_recordFile;
    uint m_lastId = 0;
};

class Control : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.moxley.TestNotifications")

public:
    explicit Control(Server &server) : m_server(server) {}

public Q_SLOTS:
    void Click(uint id) { Q_EMIT m_server.ActionInvoked(id, u"default"_s); }

private:
    Server &m_server;
};

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    if (app.arguments().size() != 2) {
        std::fputs("usage: moxley-notification-server RECORD-FILE\n", stderr);
        return 2;
    }
    Server server(app.arguments().at(1));
    Control control(server);
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.registerObject(u"/org/freedesktop/Notifications"_s, &server,
                            QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals) ||
        !bus.registerObject(u"/test"_s, &control, QDBusConnection::ExportAllSlots) ||
        !bus.registerService(u"org.freedesktop.Notifications"_s)) {
        std::fputs("cannot register on the session bus\n", stderr);
        return 1;
    }
    QTextStream(stdout) << "ready" << Qt::endl;
    return app.exec();
}

#include "main.moc"
