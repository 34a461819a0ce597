#include "platform/UpdateChecker.h"

#include <QHostAddress>
#include <QNetworkReply>
#include <QNetworkRequest>

namespace {

// Updates come over HTTPS; plain HTTP is accepted only from this machine (tests, local mirrors).
bool isTrusted(const QUrl &url)
{
    if (url.scheme() == u"https") {
        return true;
    }
    if (url.scheme() != u"http") {
        return false;
    }
    const QHostAddress host(url.host());
    return url.host() == u"localhost" || (!host.isNull() && host.isLoopback());
}

} // namespace

UpdateChecker::UpdateChecker(QUrl feedUrl, QString currentVersion, QObject *parent)
    : QObject(parent), m_feedUrl(std::move(feedUrl)), m_currentVersion(std::move(currentVersion))
{
}

void UpdateChecker::checkForUpdates()
{
    if (m_reply) {
        return;
    }
    if (!m_feedUrl.isValid() || !isTrusted(m_feedUrl)) {
        Result result;
        result.currentVersion = m_currentVersion;
        result.error = u"The update feed address is not a secure (https) address: " % m_feedUrl.toString();
        // Answer later, like every other check, so callers can connect after asking.
        QMetaObject::invokeMethod(
            this, [this, result] { Q_EMIT checkFinished(result); }, Qt::QueuedConnection);
        return;
    }
    QNetworkRequest request(m_feedUrl);
    request.setTransferTimeout(m_timeoutMs);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
    request.setHeader(QNetworkRequest::UserAgentHeader, QString(u"Moxley/" % m_currentVersion));
    m_reply = m_network.get(request);
    Q_EMIT canCheckForUpdatesChanged(false);
    QNetworkReply *reply = m_reply;
    connect(reply, &QNetworkReply::finished, this, [this, reply] { finish(reply); });
}

void UpdateChecker::finish(QNetworkReply *reply)
{
    reply->deleteLater();
    m_reply.clear();
    Result result;
    result.currentVersion = m_currentVersion;
    if (reply->error() != QNetworkReply::NoError) {
        result.error = reply->error() == QNetworkReply::OperationCanceledError
                           ? QStringLiteral("The update server did not answer in time.")
                           : reply->errorString();
    } else {
        const Appcast::Feed feed = Appcast::parse(reply->readAll());
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
