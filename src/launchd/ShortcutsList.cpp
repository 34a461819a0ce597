#include "launchd/ShortcutsList.h"

#include "platform/SystemPaths.h"

#include <QProcess>

using namespace Qt::StringLiterals;

QString ShortcutsList::program()
{
    return SystemPaths::shortcuts();
}

QStringList ShortcutsList::arguments()
{
    return {QStringLiteral("list")};
}

QStringList ShortcutsList::parse(const QByteArray &output)
{
    QStringList names;
    const QString text = QString::fromUtf8(output);
    for (const QString &line : text.split(u'\n')) {
        qsizetype begin = 0;
        qsizetype end = line.size();
        while (begin < end && (line.at(begin) == u' ' || line.at(begin) == u'\t')) {
            ++begin;
        }
        while (end > begin && (line.at(end - 1) == u' ' || line.at(end - 1) == u'\t')) {
            --end;
        }
        if (end > begin) {
            names << line.mid(begin, end - begin);
        }
    }
    return names;
}

QStringList ShortcutsList::load(int timeoutMs)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::SeparateChannels);
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(program(), arguments());
    if (!process.waitForStarted()) {
        return {};
    }
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished();
        return {};
    }
    return parse(process.readAllStandardOutput());
}

QStringList ShortcutsList::filter(const QStringList &names, const QString &search)
{
    if (search.isEmpty()) {
        return names;
    }
    QStringList matches;
    for (const QString &name : names) {
        if (name.contains(search, Qt::CaseInsensitive)) {
            matches << name;
        }
    }
    return matches;
}

QString ShortcutsList::runCommand(const QString &name)
{
    QString quoted = name;
    quoted.replace(u'\'', u"'\\''"_s);
    return u"shortcuts run '" % quoted % u'\'';
}
