#include "cli/TextTable.h"

#include <algorithm>

QString TextTable::render() const
{
    QList<qsizetype> widths;
    for (const QStringList &row : m_rows) {
        for (qsizetype i = 0; i < row.size(); ++i) {
            if (widths.size() <= i) {
                widths.append(0);
            }
            widths[i] = std::max(widths[i], row.at(i).size());
        }
    }
    QString out;
    for (const QStringList &row : m_rows) {
        for (qsizetype i = 0; i < row.size(); ++i) {
            const bool last = i + 1 == row.size();
            out += last ? row.at(i) : row.at(i).leftJustified(widths.at(i) + 2);
        }
        out += u'\n';
    }
    return out;
}

QString TextTable::singleLine(const QString &text)
{
    QString line = text;
    for (QChar &c : line) {
        if (c == u'\n' || c == u'\r' || c == u'\t') {
            c = u' ';
        }
    }
    return line;
}
