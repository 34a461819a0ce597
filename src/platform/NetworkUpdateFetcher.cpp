// The moxley-update-fetch module: the update check's HTTP GET through QtNetwork. Loaded by the
// program only when a check is asked for, so that QtNetwork (and Kerberos, libproxy and the rest
// it brings) is not loaded at every start.
#include "platform/UpdateFetcher.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPointer>

namespace {

class NetworkUpdateFetcher final : public UpdateFetcher
{
public:
    ~NetworkUpdateFetcher() override { cancel(); }

    void get(const QUrl &url, const QString &userAgent, Done done) override
    {
        cancel();
        QNetworkRequest request(url);
        // HTTPS may not be redirected to plain HTTP.
        request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
        request.setHeader(QNetworkRequest::UserAgentHeader, userAgent);
        m_done = std::move(done);
        QNetworkReply *reply = m_network.get(request);
        m_reply = reply;
        // The manager is the context: a fetcher deleted mid-request takes the connection with it.
        QObject::connect(reply, &QNetworkReply::finished, &m_network, [this, reply] { finish(reply); });
    }

    void cancel() override
    {
        QNetworkReply *reply = m_reply;
        if (!reply) {
            return;
        }
        m_reply.clear();
        m_done = nullptr;
        // abort() emits finished at once: disconnect first, so that nothing answers.
        QObject::disconnect(reply, nullptr, &m_network, nullptr);
        reply->abort();
        reply->deleteLater();
    }

private:
    void finish(QNetworkReply *reply)
    {
        reply->deleteLater();
        m_reply.clear();
        Reply answer;
        if (reply->error() == QNetworkReply::NoError) {
            answer.body = reply->readAll();
        } else {
            answer.error = reply->errorString();
        }
        // Moved out first: the callback may delete this fetcher, and its members with it.
        Done done = std::move(m_done);
        m_done = nullptr;
        if (done) {
            done(answer);
        }
    }

    QNetworkAccessManager m_network;
    QPointer<QNetworkReply> m_reply;
    Done m_done;
};

} // namespace

extern "C" Q_DECL_EXPORT UpdateFetcher *MOXLEY_UPDATE_FETCHER_ENTRY()
{
    return new NetworkUpdateFetcher;
}
