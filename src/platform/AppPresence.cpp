#include "platform/AppPresence.h"

#include <QtGlobal>

using namespace Qt::StringLiterals;

const QString AppPresence::kServiceName = u"com.moxley.Moxley"_s;

void AppPresence::ShowTask(const QString &id)
{
    const QUuid uuid = QUuid::fromString(id);
    if (!uuid.isNull()) {
        Q_EMIT showTaskRequested(uuid);
    }
}

#ifdef Q_OS_MACOS

AppPresence::AppPresence(QObject *parent) : QObject(parent)
{
}

AppPresence::~AppPresence() = default;

bool AppPresence::isAppRunning()
{
    return false;
}

bool AppPresence::askToShow(const QUuid &)
{
    return false;
}

#else

#include "platform/BusAddress.h"

#include <QAtomicInteger>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>

namespace {

const QString kPath = u"/com/moxley/Moxley"_s;
QAtomicInteger<int> s_connections;

QString nextConnectionName()
{
    return u"moxley-presence-"_s + QString::number(s_connections.fetchAndAddRelaxed(1));
}

// A private connection for one question, closed when it goes.
class OneShotBus
{
public:
    OneShotBus() : m_name(nextConnectionName())
    {
        const QString address = BusAddress::session();
        if (!address.isEmpty()) {
            m_connected = QDBusConnection::connectToBus(address, m_name).isConnected();
        }
    }
    ~OneShotBus() { QDBusConnection::disconnectFromBus(m_name); }
    OneShotBus(const OneShotBus &) = delete;
    OneShotBus &operator=(const OneShotBus &) = delete;

    bool isConnected() const { return m_connected; }
    QDBusConnection connection() const { return QDBusConnection(m_name); }

private:
    QString m_name;
    bool m_connected = false;
};

} // namespace

AppPresence::AppPresence(QObject *parent) : QObject(parent), m_connectionName(nextConnectionName())
{
    const QString address = BusAddress::session();
    if (address.isEmpty()) {
        return;
    }
    QDBusConnection bus = QDBusConnection::connectToBus(address, m_connectionName);
    if (!bus.isConnected()) {
        return;
    }
    // The object first, so that whoever sees the name can call it at once.
    bus.registerObject(kPath, this, QDBusConnection::ExportScriptableSlots);
    m_claimed = bus.registerService(kServiceName);
    if (!m_claimed) {
        bus.unregisterObject(kPath);
    }
}

AppPresence::~AppPresence()
{
    if (!m_connectionName.isEmpty()) {
        QDBusConnection::disconnectFromBus(m_connectionName);
    }
}

bool AppPresence::isAppRunning()
{
    const OneShotBus bus;
    if (!bus.isConnected()) {
        return false;
    }
    const auto reply = bus.connection().interface()->isServiceRegistered(kServiceName);
    return reply.isValid() && reply.value();
}

bool AppPresence::askToShow(const QUuid &taskId)
{
    const OneShotBus bus;
    if (!bus.isConnected()) {
        return false;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(kServiceName, kPath, kServiceName, u"ShowTask"_s);
    call << taskId.toString(QUuid::WithoutBraces).toUpper();
    return bus.connection().call(call, QDBus::Block, 10000).type() == QDBusMessage::ReplyMessage;
}

#endif
