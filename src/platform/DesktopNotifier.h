#pragma once

#include <QObject>
#include <QString>

#include <optional>

// Desktop notifications through the freedesktop Notifications service on the session bus
// (BusAddress::session()). macOS has no such service: there the notifier is never connected, and
// the app posts through its tray icon instead.
class DesktopNotifier : public QObject
{
    Q_OBJECT

public:
    static const QString kServiceName; // org.freedesktop.Notifications

    explicit DesktopNotifier(QObject *parent = nullptr);
    ~DesktopNotifier() override;

    // Whether there is a session bus to post on (a notification server may still be missing).
    bool isConnected() const { return m_connected; }

    struct Message {
        QString summary;
        QString body;
        // Offers the "default" action, which servers invoke when the notification is clicked.
        bool clickable = false;
        // An earlier notification of ours that this one replaces; 0 for a new one.
        quint32 replaces = 0;
    };
    // Posts and waits for the server's answer: the notification's id, or nothing when no server
    // answers.
    std::optional<quint32> post(const Message &message);

Q_SIGNALS:
    void clicked(quint32 id);
    // Expired, dismissed or closed: no click can come any more.
    void closed(quint32 id);

private Q_SLOTS:
    void onActionInvoked(uint id, const QString &action);
    void onClosed(uint id, uint reason);

private:
    QString m_connectionName;
    bool m_connected = false;
};
