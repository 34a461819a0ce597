#include "systemd/UnitFile.h"

using namespace Qt::StringLiterals;

UnitFile UnitFile::parse(const QByteArray &bytes)
{
    UnitFile file;
    const QStringList lines = QString::fromUtf8(bytes).split(u'\n');
    QString section;
    QString pending; // a line continued with a trailing backslash
    int pendingStart = 0;
    for (int i = 0; i < lines.size(); ++i) {
        QString line = lines.at(i).trimmed();
        if (pending.isEmpty() && (line.isEmpty() || line.startsWith(u'#') || line.startsWith(u';'))) {
            continue;
        }
        if (!pending.isEmpty() && (line.startsWith(u'#') || line.startsWith(u';'))) {
            continue; // comments inside a continued line are skipped by systemd too
        }
        if (pending.isEmpty()) {
            pendingStart = i + 1;
        }
        if (line.endsWith(u'\\')) {
            line.chop(1);
            pending += line + u' ';
            if (i + 1 < lines.size()) {
                continue;
            }
        }
        line = QString(pending + line).trimmed();
        pending.clear();
        if (line.startsWith(u'[')) {
            if (!line.endsWith(u']') || line.size() < 3) {
                file.problems.append(u"line %1: not a section header: %2"_s.arg(pendingStart).arg(line));
                section.clear();
            } else {
                section = line.mid(1, line.size() - 2);
            }
            continue;
        }
        const qsizetype equals = line.indexOf(u'=');
        if (equals <= 0) {
            file.problems.append(u"line %1: not KEY=VALUE: %2"_s.arg(pendingStart).arg(line));
            continue;
        }
        if (section.isEmpty()) {
            file.problems.append(u"line %1: outside any section: %2"_s.arg(pendingStart).arg(line));
            continue;
        }
        file.entries.append(Entry{section, line.left(equals).trimmed(), line.mid(equals + 1).trimmed()});
    }
    return file;
}

QStringList UnitFile::values(const QString &section, const QString &key) const
{
    QStringList found;
    for (const Entry &entry : entries) {
        if (entry.section == section && entry.key == key) {
            if (entry.value.isEmpty()) {
                found.clear();
            } else {
                found.append(entry.value);
            }
        }
    }
    return found;
}

QString UnitFile::value(const QString &section, const QString &key) const
{
    QString found;
    for (const Entry &entry : entries) {
        if (entry.section == section && entry.key == key) {
            found = entry.value;
        }
    }
    return found;
}
