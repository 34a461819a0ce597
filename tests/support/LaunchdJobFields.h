#pragma once

#include "launchd/LaunchdJob.h"

#include <QStringList>

// The keys of a job whose typed field holds a value: a property list with wrong types at every
// key must give none, and QCOMPARE with an empty list then names whatever slipped through.
inline QStringList typedFieldsSet(const LaunchdJob &job)
{
    QStringList set;
    const auto note = [&set](bool present, const char *key) {
        if (present) {
            set << QString::fromLatin1(key);
        }
    };
    note(bool(job.programArguments), "ProgramArguments");
    note(bool(job.program), "Program");
    note(bool(job.startInterval), "StartInterval");
    note(bool(job.startCalendarInterval), "StartCalendarInterval");
    note(bool(job.standardOutPath), "StandardOutPath");
    note(bool(job.standardErrorPath), "StandardErrorPath");
    note(bool(job.disabled), "Disabled");
    note(bool(job.runAtLoad), "RunAtLoad");
    note(bool(job.keepAlive), "KeepAlive");
    return set;
}
