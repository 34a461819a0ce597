#pragma once

#include <QHash>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUrl>

// A real HTTP server on 127.0.0.1 for update feeds: answers each path as told; "/silent" accepts
// the request and never answers. Counts the requests it got.
class FeedServer : public QTcpServer
{
public:
    QHash<QByteArray, QByteArray> feeds;
    int requests = 0;

    FeedServer()
    {
        connect(this, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket *socket = nextPendingConnection()) {
                connect(socket, &QTcpSocket::readyRead, socket, [this, socket] {
                    const QByteArray path = socket->readAll().split(' ').value(1);
                    ++requests;
                    if (path == "/silent") {
                        return;
                    }
                    const bool known = feeds.contains(path);
                    const QByteArray body = feeds.value(path, "not here");
                    socket->write((known ? "HTTP/1.1 200 OK" : "HTTP/1.1 404 Not Found") +
                                  QByteArray("\r\nContent-Type: application/xml\r\nContent-Length: ") +
                                  QByteArray::number(body.size()) + "\r\nConnection: close\r\n\r\n" + body);
                    socket->disconnectFromHost();
                });
            }
        });
    }

    QUrl url(const char *path) const
    {
        return QUrl(QStringLiteral("http://127.0.0.1:") + QString::number(serverPort()) + QString::fromLatin1(path));
    }

    // A Sparkle appcast with one release.
    static QByteArray feed(const char *shortVersion, const char *notesLink = "https://moxley.example/notes/0.2.0")
    {
        QByteArray notes;
        if (notesLink) {
            notes = QByteArray("<sparkle:releaseNotesLink>") + notesLink + "</sparkle:releaseNotesLink>";
        }
        return QByteArray(R"(<?xml version="1.0" encoding="utf-8"?>
<rss version="2.0" xmlns:sparkle="http://www.andymatuschak.org/xml-namespaces/sparkle">
<channel><title>Moxley</title><item><title>Version )") +
               shortVersion + "</title><sparkle:version>900</sparkle:version><sparkle:shortVersionString>" +
               shortVersion + "</sparkle:shortVersionString>" + notes +
               R"(<enclosure url="https://moxley.example/Moxley.zip" length="1" type="application/octet-stream"/>)"
               "</item></channel></rss>\n";
    }
};
