#pragma once

#include "systemd/CronSchedule.h"

#include <QByteArray>
#include <QDate>
#include <QList>
#include <QString>

#include <optional>

// One line of a crontab that schedules a command (or that could not be read as one).
struct CronEntry {
    QString id;       // file + ":" + line number
    QString file;     // the file read, or "crontab -l" for the user's own table
    int line = 0;     // 1-based
    QString text;     // the line as written
    QString schedule; // "30 3 * * 0" or "@reboot", as written
    QString user;     // the user field of /etc/crontab and /etc/cron.d; empty in the user's own table
    QString command;
    bool atReboot = false;
    std::optional<CronSchedule> when; // absent for @reboot and for lines that could not be read
    QString problem;                  // why the line could not be read; empty when it could

    static QString sourceTitle() { return QStringLiteral("Cron"); }
    // "e2scrub_all:2", "crontab:5", "crontab -l:1"
    QString label() const;
    // The schedule as written, "(unreadable)" for a line that could not be read.
    QString scheduleSummary() const;
    // Minutes of `date` at which it fires (none for @reboot and unreadable lines).
    QList<int> minutesOn(const QDate &date) const;
};

// The machine's cron tables: /etc/crontab, /etc/cron.d/* (names as cron accepts them: letters, digits,
// "_" and "-") and the user's own, read through `crontab -l` and never changed.
namespace CronTable {

// Every scheduling line of one table; comments, blank lines and variable settings are skipped, lines
// that cannot be read are kept with their problem. `hasUserField` for the system tables.
QList<CronEntry> parse(const QByteArray &text, const QString &file, bool hasUserField);

// /etc/crontab, then /etc/cron.d/* by name (under MOXLEY_SYSROOT when set), then `crontab -l`
// (the sysroot's usr/bin/crontab when MOXLEY_SYSROOT is set). A missing table is none.
QList<CronEntry> scan();
QList<CronEntry> scan(const QString &etcCrontab, const QString &cronDir, const QString &crontabProgram);

} // namespace CronTable
