#include "platform/UpdateChecker.h"

#include "platform/UpdateFetchModule.h"

#include <QCoreApplication>

namespace {

// An IPv4 loopback address (127.0.0.0/8), in the dotted form QUrl gives every IPv4 host.
bool isIpv4Loopback(QStringView host)
{
    const QList<QStringView> parts = host.split(u'.');
    if (parts.size() != 4) {
        return false;
    }
    for (const QStringView part : parts) {
        bool isNumber = false;
        if (part.toUInt(&isNumber) > 255 || !isNumber) {
            return false;
        }
    }
    return parts.first() == u"127";
}

} // namespace

// QUrl has already brought the host to its canonical form (IPv4 as four decimal numbers, IPv6
// compressed, in lower case), so a loopback address has one spelling here; QtNetwork's
// QHostAddress, which would parse it, is not linked (see UpdateFetchModule).
bool UpdateChecker::isTrustedAddress(const QUrl &url)
{
    if (url.scheme() == u"https") {
        return true;
    }
    if (url.scheme() != u"http") {
        return false;
    }
    const QString host = url.host();
    constexpr QStringView mappedIpv4 = u"::ffff:";
    return host == u"localhost" || host == u"::1" || isIpv4Loopback(host) ||
           (host.startsWith(mappedIpv4) && isIpv4Loopback(QStringView(host).mid(mappedIpv4.size())));
}

UpdateChecker::UpdateChecker(QUrl feedUrl, QString currentVersion, QObject *parent)
    : QObject(parent), m_feedUrl(std::move(feedUrl)), m_currentVersion(std::move(currentVersion))
{
    m_deadline.setSingleShot(true);
    connect(&m_deadline, &QTimer::timeout, this, [this] {
        m_fetcher->cancel();
        finish({}, QStringLiteral("The update server did not answer in time."));
    });
}

UpdateChecker::~UpdateChecker() = default;

void UpdateChecker::checkForUpdates()
{
    if (m_deadline.isActive()) {
        return;
    }
    if (!m_feedUrl.isValid() || !isTrustedAddress(m_feedUrl)) {
        failLater(u"The update feed address is not a secure (https) address: " % m_feedUrl.toString());
        return;
    }
    if (!m_fetcher) {
        const QStringList folders = m_moduleFolders.isEmpty()
                                        ? UpdateFetchModule::defaultFolders(QCoreApplication::applicationDirPath())
                                        : m_moduleFolders;
        UpdateFetchModule::Loaded loaded = UpdateFetchModule::load(folders);
        if (!loaded.fetcher) {
            failLater(u"The update module could not be loaded: " % loaded.error);
            return;
        }
        m_fetcher = std::move(loaded.fetcher);
    }
    m_deadline.start(m_timeoutMs);
    Q_EMIT canCheckForUpdatesChanged(false);
    m_fetcher->get(m_feedUrl, u"Moxley/" % m_currentVersion,
                   [this](const UpdateFetcher::Reply &reply) { finish(reply.body, reply.error); });
}

void UpdateChecker::failLater(const QString &error)
{
    Result result;
    result.currentVersion = m_currentVersion;
    result.error = error;
    // Answer later, like every other check, so callers can connect after asking.
    QMetaObject::invokeMethod(
        this, [this, result] { Q_EMIT checkFinished(result); }, Qt::QueuedConnection);
}

void UpdateChecker::finish(const QByteArray &body, const QString &error)
{
    m_deadline.stop();
    Result result;
    result.currentVersion = m_currentVersion;
    if (!error.isEmpty()) {
        result.error = error;
    } else {
        const Appcast::Feed feed = Appcast::parse(body);
        const auto newest = Appcast::newest(feed);
        if (!feed.error.isEmpty()) {
            result.error = feed.error;
        } else if (!newest) {
            result.error = QStringLiteral("The update feed lists no versions.");
        } else if (Appcast::compareVersions(newest->displayVersion(), m_currentVersion) > 0) {
            result.status = Result::Status::newerAvailable;
            result.release = newest;
        } else {
            result.status = Result::Status::upToDate;
        }
    }
    Q_EMIT canCheckForUpdatesChanged(true);
    Q_EMIT checkFinished(result);
}
