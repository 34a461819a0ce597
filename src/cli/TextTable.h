#pragma once

#include <QList>
#include <QString>
#include <QStringList>

// Columns padded to their widest cell, two blanks apart; the last column is not padded.
class TextTable
{
public:
    void addRow(const QStringList &cells) { m_rows.append(cells); }
    QString render() const;

    // Line breaks and tabs shown as blanks, so one record stays on one line.
    static QString singleLine(const QString &text);

private:
    QList<QStringList> m_rows;
};
