#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <optional>

// A launchd job already on the machine, read from its property list.
struct LaunchdJob {
    enum class Source { userAgents, globalAgents, globalDaemons };
    // "User Agents", "Global Agents", "Global Daemons"
    static QString sourceTitle(Source source);

    QString id; // the property list's full path
    QString label;
    QString url; // the property list's path (a file URL in spirit)
    Source source = Source::userAgents;
    std::optional<QStringList> programArguments;
    std::optional<QString> program;
    std::optional<qint64> startInterval;                        // seconds
    std::optional<QMap<QString, qint64>> startCalendarInterval; // only integer entries
    std::optional<QString> standardOutPath;
    std::optional<QString> standardErrorPath;
    bool disabled = false;
    bool runAtLoad = false;
    bool keepAlive = false;
    QVariantMap raw; // the whole top-level dictionary

    // Reads one property list (XML or binary). Nothing when the file cannot be read or parsed, its top
    // level is not a dictionary, a key anywhere in it holds U+0000, or "Label" is missing or not a
    // string. Other values of the wrong type count as absent.
    static std::optional<LaunchdJob> fromFile(const QString &path, Source source);
    static std::optional<LaunchdJob> fromData(const QByteArray &bytes, const QString &path, Source source);

    // "Every 30 sec", "Every 5 min", "Day 1, 9:30", "Calendar interval", "Run at load", "Keep alive", "Manual"
    QString scheduleSummary() const;
    // Program arguments joined with blanks, else the program, else "(unknown)".
    QString commandLine() const;
};
