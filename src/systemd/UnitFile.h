#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

// The KEY=VALUE lines of a systemd unit file or drop-in, grouped by [Section]. Reads whatever
// it can: a line it cannot make sense of is noted in `problems` and skipped.
struct UnitFile {
    struct Entry {
        QString section;
        QString key;
        QString value;
    };

    QList<Entry> entries;
    QStringList problems; // "line 4: not KEY=VALUE: ..."

    static UnitFile parse(const QByteArray &bytes);

    // Every value of `key` in `section`, in file order, an empty assignment clearing those before it
    // (as systemd treats list settings).
    QStringList values(const QString &section, const QString &key) const;
    // The last value of `key` in `section`.
    QString value(const QString &section, const QString &key) const;
};
