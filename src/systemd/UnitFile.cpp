#include "systemd/UnitFile.h"

using namespace Qt::StringLiterals;

UnitFile UnitFile::parse(const QByteArray &bytes)
{
    UnitFile file;
    QString section;
    // One logical line: a section header or KEY=VALUE.
    const auto take = [&](const QString &line, int number) {
        if (line.startsWith(u'[')) {
            if (!line.endsWith(u']') || line.size() < 3) {
                file.problems.append(u"line %1: not a section header: %2"_s.arg(number).arg(line));
                section.clear();
            } else {
                section = line.mid(1, line.size() - 2);
            }
            return;
        }
        const qsizetype equals = line.indexOf(u'=');
        if (equals <= 0) {
            file.problems.append(u"line %1: not KEY=VALUE: %2"_s.arg(number).arg(line));
        } else if (section.isEmpty()) {
            file.problems.append(u"line %1: outside any section: %2"_s.arg(number).arg(line));
        } else {
            file.entries.append(Entry{section, line.left(equals).trimmed(), line.mid(equals + 1).trimmed()});
        }
    };
    const QStringList lines = QString::fromUtf8(bytes).split(u'\n');
    QString pending; // a line continued with a trailing backslash
    int pendingStart = 0;
    for (int i = 0; i < lines.size(); ++i) {
        QString line = lines.at(i).trimmed();
        const bool comment = line.startsWith(u'#') || line.startsWith(u';');
        // Comments inside a continued line are skipped by systemd too.
        if (comment || (pending.isEmpty() && line.isEmpty())) {
            continue;
        }
        if (pending.isEmpty()) {
            pendingStart = i + 1;
        }
        if (line.endsWith(u'\\')) {
            line.chop(1);
            pending += line + u' ';
            continue;
        }
        take(QString(pending + line).trimmed(), pendingStart);
        pending.clear();
    }
    // A file that ends inside a continued line: what was continued is the line.
    if (const QString rest = pending.trimmed(); !rest.isEmpty()) {
        take(rest, pendingStart);
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
