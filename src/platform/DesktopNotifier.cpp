#include "platform/DesktopNotifier.h"

#include <QtGlobal>

using namespace Qt::StringLiterals;

const QString DesktopNotifier::kServiceName = u"org.freedesktop.Notifications"_s;

#ifdef Q_OS_MACOS

DesktopNotifier::DesktopNotifier(QObject *parent) : QObject(parent)
{
}

DesktopNotifier::~DesktopNotifier() = default;

std::optional<quint32> DesktopNotifier::post(const Message &)
{
    return std::nullopt;
}

void DesktopNotifier::onActionInvoked(uint, const QString &)
{
}

void DesktopNotifier::onClosed(uint, uint)
{
}

#else

#include "platform/BusAddress.h"

#include <QAtomicInteger>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QVariantMap>

namespace {

const QString kPath = u"/org/freedesktop/Notifications"_s;
QAtomicInteger<int> s_instances;

} // namespace

DesktopNotifier::DesktopNotifier(QObject *parent)
    : QObject(parent), m_connectionName(u"moxley-notifier-"_s + QString::number(s_instances.fetchAndAddRelaxed(1)))
{
    const QString address = BusAddress::session();
    if (address.isEmpty()) {
        return;
    }
    QDBusConnection bus = QDBusConnection::connectToBus(address, m_connectionName);
    m_connected = bus.isConnected();
    if (m_connected) {
        // QtDBus offers no typed connect for bus signals; the slots are named.
        bus.connect(kServiceName, kPath, kServiceName, u"ActionInvoked"_s, this, SLOT(onActionInvoked(uint, QString)));
        bus.connect(kServiceName, kPath, kServiceName, u"NotificationClosed"_s, this, SLOT(onClosed(uint, uint)));
    }
}

DesktopNotifier::~DesktopNotifier()
{
    QDBusConnection::disconnectFromBus(m_connectionName);
}

std::optional<quint32> DesktopNotifier::post(const Message &message)
{
    if (!m_connected) {
        return std::nullopt;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(kServiceName, kPath, kServiceName, u"Notify"_s);
    const QStringList actions = message.clickable ? QStringList{u"default"_s, u"Show"_s} : QStringList();
    // The desktop entry lets the server show the app's name and icon and group its notifications.
    const QVariantMap hints{{u"desktop-entry"_s, u"com.moxley.Moxley"_s}};
    call << u"Moxley"_s << uint(message.replaces) << u"com.moxley.Moxley"_s << message.summary << message.body
         << actions << hints << int(-1);
    const QDBusMessage reply = QDBusConnection(m_connectionName).call(call, QDBus::Block, 10000);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        return std::nullopt;
    }
    return quint32(reply.arguments().constFirst().toUInt());
}

void DesktopNotifier::onActionInvoked(uint id, const QString &action)
{
    if (action == u"default") {
        Q_EMIT clicked(id);
    }
}

void DesktopNotifier::onClosed(uint id, uint)
{
    Q_EMIT closed(id);
}

#endif
