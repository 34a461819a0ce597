#include "platform/ChangeNotice.h"

// Defines Q_OS_MACOS: without it the test below always takes the D-Bus branch.
#include <QtGlobal>

#ifdef Q_OS_MACOS

#include <CoreFoundation/CoreFoundation.h>

namespace {

const CFStringRef kNoticeName = CFSTR("com.moxley.tasksDidChange");

class DistributedObservation final : public ChangeNotice::Observation
{
public:
    explicit DistributedObservation(std::function<void()> callback) : m_callback(std::move(callback))
    {
        // Registered from the main thread, so the main run loop delivers it.
        CFNotificationCenterAddObserver(CFNotificationCenterGetDistributedCenter(), this, &received, kNoticeName,
                                        nullptr, CFNotificationSuspensionBehaviorDeliverImmediately);
    }
    ~DistributedObservation() override
    {
        CFNotificationCenterRemoveObserver(CFNotificationCenterGetDistributedCenter(), this, kNoticeName, nullptr);
    }

private:
    static void received(CFNotificationCenterRef, void *observer, CFNotificationName, const void *, CFDictionaryRef)
    {
        static_cast<DistributedObservation *>(observer)->m_callback();
    }

    std::function<void()> m_callback;
};

class DistributedChangeNotice final : public ChangeNotice
{
public:
    std::unique_ptr<Observation> observe(std::function<void()> callback) override
    {
        return std::make_unique<DistributedObservation>(std::move(callback));
    }
    void post() override
    {
        CFNotificationCenterPostNotification(CFNotificationCenterGetDistributedCenter(), kNoticeName, nullptr, nullptr,
                                             true);
    }
};

} // namespace

std::shared_ptr<ChangeNotice> ChangeNotice::system()
{
    return std::make_shared<DistributedChangeNotice>();
}

#else // D-Bus

#include "platform/BusAddress.h"

#include <QAtomicInteger>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>

namespace {

const QString kPath = QStringLiteral("/com/moxley/Tasks");
const QString kInterface = QStringLiteral("com.moxley.Tasks");
const QString kMember = QStringLiteral("tasksDidChange");

class SignalReceiver : public QObject
{
    Q_OBJECT

public:
    explicit SignalReceiver(std::function<void()> callback) : m_callback(std::move(callback)) {}

public Q_SLOTS:
    void received() { m_callback(); }

private:
    std::function<void()> m_callback;
};

class InertObservation final : public ChangeNotice::Observation
{
};

class BusObservation final : public ChangeNotice::Observation
{
public:
    BusObservation(const QDBusConnection &connection, std::function<void()> callback)
        : m_connection(connection), m_receiver(std::move(callback))
    {
        // QtDBus offers no typed connect for bus signals; the slot is named.
        m_connection.connect(QString(), kPath, kInterface, kMember, &m_receiver, SLOT(received()));
    }
    ~BusObservation() override
    {
        m_connection.disconnect(QString(), kPath, kInterface, kMember, &m_receiver, SLOT(received()));
    }

private:
    QDBusConnection m_connection;
    SignalReceiver m_receiver;
};

class BusChangeNotice final : public ChangeNotice
{
public:
    BusChangeNotice()
        : m_address(BusAddress::session()),
          m_connectionName(u"moxley-change-notice-" % QString::number(s_instances.fetchAndAddRelaxed(1)))
    {
    }
    ~BusChangeNotice() override
    {
        if (m_connected.has_value()) {
            QDBusConnection::disconnectFromBus(m_connectionName);
        }
    }

    std::unique_ptr<Observation> observe(std::function<void()> callback) override
    {
        if (!connected()) {
            return std::make_unique<InertObservation>();
        }
        return std::make_unique<BusObservation>(connection(), std::move(callback));
    }

    void post() override
    {
        if (!connected()) {
            return;
        }
        QDBusConnection bus = connection();
        bus.send(QDBusMessage::createSignal(kPath, kInterface, kMember));
        // The bus handles messages in order: once it has answered this, the signal has left us,
        // even if the process ends right away.
        bus.call(QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
                                                QStringLiteral("/org/freedesktop/DBus"),
                                                QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetId")),
                 QDBus::Block, 5000);
    }

private:
    QDBusConnection connection() const { return QDBusConnection(m_connectionName); }

    bool connected()
    {
        if (!m_connected.has_value()) {
            m_connected =
                !m_address.isEmpty() && QDBusConnection::connectToBus(m_address, m_connectionName).isConnected();
        }
        return *m_connected;
    }

    static inline QAtomicInteger<int> s_instances;
    QString m_address;
    QString m_connectionName;
    std::optional<bool> m_connected;
};

} // namespace

std::shared_ptr<ChangeNotice> ChangeNotice::system()
{
    return std::make_shared<BusChangeNotice>();
}

#include "ChangeNotice.moc"

#endif
