#pragma once

#include "platform/Appcast.h"

#include <QObject>
#include <QStringList>
#include <QTimer>
#include <QUrl>

#include <memory>

class UpdateFetcher;

// Asks the update feed whether a newer version exists. One check at a time; a check always ends,
// with an answer or an error, within the time-out. The request itself goes through the module
// moxley-update-fetch, loaded at the first check (see UpdateFetchModule), so that the program
// does not load QtNetwork until then.
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
    ~UpdateChecker() override;

    bool canCheckForUpdates() const { return !m_deadline.isActive(); }
    void checkForUpdates();
    void setTimeout(int milliseconds) { m_timeoutMs = milliseconds; }
    const QUrl &feedUrl() const { return m_feedUrl; }
    // Updates come over HTTPS; plain HTTP is accepted only from this machine (tests, local mirrors).
    static bool isTrustedAddress(const QUrl &url);
    // Where the module is looked for; by default UpdateFetchModule::defaultFolders of the
    // program's folder. Takes effect at the next check that loads it (until one has succeeded).
    void setModuleFolders(QStringList folders) { m_moduleFolders = std::move(folders); }

Q_SIGNALS:
    void canCheckForUpdatesChanged(bool canCheck);
    void checkFinished(const UpdateChecker::Result &result);

private:
    void failLater(const QString &error);
    void finish(const QByteArray &body, const QString &error);

    QUrl m_feedUrl;
    QString m_currentVersion;
    int m_timeoutMs = 20000;
    QStringList m_moduleFolders;
    std::unique_ptr<UpdateFetcher> m_fetcher;
    // Runs exactly while a check is under way.
    QTimer m_deadline;
};
