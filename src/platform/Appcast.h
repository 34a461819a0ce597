#pragma once

#include <QList>
#include <QString>

#include <optional>

// A Sparkle-format appcast: an RSS channel whose items each describe one release.
namespace Appcast {

struct Release {
    QString title;
    QString version;            // sparkle:version
    QString shortVersionString; // sparkle:shortVersionString, when given
    QString releaseNotesLink;   // sparkle:releaseNotesLink, else the item's link
    QString downloadUrl;        // the enclosure's url
    // What people call this release: the short version string, else the version.
    QString displayVersion() const { return shortVersionString.isEmpty() ? version : shortVersionString; }
};

struct Feed {
    QList<Release> releases;
    QString error; // empty when the feed was read
};

// Reads the channel's items; an item's version may stand in an element or on its enclosure.
Feed parse(const QByteArray &xml);

// Compares versions the way people read them: "1.10" > "1.9", "2.0" == "2", "1.0b2" < "1.0".
int compareVersions(const QString &a, const QString &b);

// The newest release of the feed (by displayVersion), if any.
std::optional<Release> newest(const Feed &feed);

} // namespace Appcast
