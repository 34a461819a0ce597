#include "systemd/CronTable.h"

#include "platform/ChildProcess.h"
#include "platform/SystemFile.h"
#include "platform/SystemPaths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace {

// "NAME=value" and "NAME = value" set a variable for the lines below; they schedule nothing.
bool isVariable(const QString &line)
{
    static const QRegularExpression variable(u"^[A-Za-z_][A-Za-z0-9_]*\\s*="_s);
    return variable.match(line).hasMatch();
}

// Splits off `count` blank-separated words; the rest of the line is the last element.
QStringList splitWords(const QString &line, int count)
{
    QStringList words;
    qsizetype i = 0;
    while (words.size() < count) {
        while (i < line.size() && line.at(i).isSpace()) {
            ++i;
        }
        const qsizetype start = i;
        while (i < line.size() && !line.at(i).isSpace()) {
            ++i;
        }
        if (start == i) {
            return words;
        }
        words.append(line.mid(start, i - start));
    }
    words.append(line.mid(i).trimmed());
    return words;
}

CronEntry readLine(const QString &line, bool hasUserField)
{
    CronEntry entry;
    const bool special = line.startsWith(u'@');
    const int timeWords = special ? 1 : 5;
    const int words = timeWords + (hasUserField ? 1 : 0);
    const QStringList parts = splitWords(line, words);
    if (parts.size() <= words || parts.last().isEmpty()) {
        entry.problem = u"not a cron line: too few fields"_s;
        entry.command = line;
        return entry;
    }
    entry.schedule = parts.mid(0, timeWords).join(u' ');
    entry.user = hasUserField ? parts.at(timeWords) : QString();
    entry.command = parts.last();
    if (special && entry.schedule.toLower() == u"@reboot") {
        entry.atReboot = true;
        return entry;
    }
    const std::optional<QStringList> fields = special ? CronSchedule::fieldsOf(entry.schedule) : parts.mid(0, 5);
    if (!fields) {
        entry.problem = u"unknown schedule "_s + entry.schedule;
        return entry;
    }
    entry.when = CronSchedule::parse(*fields, &entry.problem);
    return entry;
}

QList<CronEntry> readFile(const QString &path, bool hasUserField)
{
    const std::optional<QByteArray> bytes = SystemFile::read(path);
    return bytes ? CronTable::parse(*bytes, path, hasUserField) : QList<CronEntry>();
}

} // namespace

QString CronEntry::label() const
{
    const QString name = file == u"crontab -l" ? file : QFileInfo(file).fileName();
    return name + u':' + QString::number(line);
}

QString CronEntry::scheduleSummary() const
{
    return schedule.isEmpty() ? u"(unreadable)"_s : schedule;
}

QList<int> CronEntry::minutesOn(const QDate &date) const
{
    return when ? when->minutesOn(date) : QList<int>();
}

QList<CronEntry> CronTable::parse(const QByteArray &text, const QString &file, bool hasUserField)
{
    QList<CronEntry> entries;
    const QStringList lines = QString::fromUtf8(text).split(u'\n');
    for (int i = 0; i < lines.size(); ++i) {
        const QString line = lines.at(i).trimmed();
        if (line.isEmpty() || line.startsWith(u'#') || isVariable(line)) {
            continue;
        }
        CronEntry entry = readLine(line, hasUserField);
        entry.file = file;
        entry.line = i + 1;
        entry.id = file + u':' + QString::number(i + 1);
        entry.text = lines.at(i);
        entries.append(std::move(entry));
    }
    return entries;
}

QList<CronEntry> CronTable::scan()
{
    const QString root = SystemPaths::sysroot();
    return scan(SystemPaths::resolve(u"/etc/crontab"_s), SystemPaths::resolve(u"/etc/cron.d"_s),
                root.isEmpty() ? u"crontab"_s : SystemPaths::resolve(u"/usr/bin/crontab"_s));
}

QList<CronEntry> CronTable::scan(const QString &etcCrontab, const QString &cronDir, const QString &crontabProgram)
{
    QList<CronEntry> entries = readFile(etcCrontab, true);
    static const QRegularExpression cronName(u"^[A-Za-z0-9_-]+$"_s);
    const QDir dir(cronDir);
    const QStringList names = dir.entryList(QDir::Files | QDir::System | QDir::Hidden, QDir::Name);
    for (const QString &name : names) {
        if (cronName.match(name).hasMatch()) {
            entries.append(readFile(dir.filePath(name), true));
        }
    }
    // No crontab, or no crontab program at all, is an empty table.
    const ChildProcess::Result own =
        ChildProcess::run(crontabProgram, {u"-l"_s}, {ChildProcess::Output::capture, std::nullopt, std::nullopt});
    if (own.succeeded()) {
        entries.append(parse(own.standardOutput, u"crontab -l"_s, false));
    }
    return entries;
}
