#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>

#include <functional>

// The network half of the update check: one HTTP GET at a time. Its one implementation lives in
// the module moxley-update-fetch, the only code that links QtNetwork, which the program loads
// when a check is first asked for (UpdateFetchModule); so this interface is header-only and
// holds no Qt object of its own: the module and the program share no compiled code.
class UpdateFetcher
{
public:
    struct Reply {
        QByteArray body;
        QString error; // empty when body is the server's answer
    };
    using Done = std::function<void(const Reply &reply)>;

    virtual ~UpdateFetcher() = default;

    // Starts a GET of `url`; `done` is called once, from the event loop (never from within get),
    // unless cancel() comes first. It may delete the fetcher.
    virtual void get(const QUrl &url, const QString &userAgent, Done done) = 0;
    // Drops the request under way, if any; its `done` is never called.
    virtual void cancel() = 0;
};

// The module's one exported function, found by this name: a new fetcher that the caller owns.
// The number is the interface's version: a module built for another one is refused at load
// (no such symbol) instead of being called through the wrong layout.
#define MOXLEY_UPDATE_FETCHER_ENTRY moxleyCreateUpdateFetcher1
using MoxleyCreateUpdateFetcher = UpdateFetcher *(*)();
