#pragma once

#include "platform/Appcast.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QObject>
#include <QPointer>
#include <QUrl>

// Asks the update feed whether a newer version exists. One check at a time; a check always ends,
// with an answer or an error, within the time-out.
class UpdateChecker : public QObject
{
    Q_OBJECT

public:
    struct Result {
        enum class Status { newerAvailable, upToDate, failed };
        Status status = Status::failed;
        QString currentVersion;
        std::optional<Appcast::Release> release; // newerAvailable
        QString error;                           // failed
    };

    UpdateChecker(QUrl feedUrl, QString currentVersion, QObject *parent = nullptr);

    bool canCheckForUpdates() const { return !m_reply; }
    void checkForUpdates();
    void setTimeout(int milliseconds) { m_timeoutMs = milliseconds; }
    const QUrl &feedUrl() const { return m_feedUrl; }

Q_SIGNALS:
    void canCheckForUpdatesChanged(bool canCheck);
    void checkFinished(const UpdateChecker::Result &result);

private:
    void finish(QNetworkReply *reply);

    QUrl m_feedUrl;
    QString m_currentVersion;
    int m_timeoutMs = 20000;
    QNetworkAccessManager m_network;
    QPointer<QNetworkReply> m_reply;
};
