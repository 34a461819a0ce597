#pragma once

#include "launchd/LaunchdJob.h"

#include <QList>
#include <QString>
#include <QVariantMap>

#include <optional>

// Lists the launchd jobs already on the machine, apart from this application's own. Only reads.
class LaunchdBrowser
{
public:
    struct Folder {
        QString path;
        LaunchdJob::Source source;
    };

    // ~/Library/LaunchAgents, /Library/LaunchAgents, /Library/LaunchDaemons (the last two under
    // MOXLEY_SYSROOT when set), fixed when the browser is made.
    LaunchdBrowser();
    explicit LaunchdBrowser(QList<Folder> folders) : m_folders(std::move(folders)) {}

    const QList<Folder> &folders() const { return m_folders; }

    // Every "*.plist" that parses, without labels beginning "com.moxley.", sorted by label
    // (locale-aware, case-insensitive, equal labels in scan order). Missing folders and bad
    // files contribute nothing.
    QList<LaunchdJob> scan() const;

    // The raw dictionary as XML property-list text; nothing when a value has no property-list form
    // or a key or string holds a character that XML cannot carry (U+0000, other controls, U+FFFF).
    static std::optional<QString> rawXml(const QVariantMap &raw);

private:
    QList<Folder> m_folders;
};
