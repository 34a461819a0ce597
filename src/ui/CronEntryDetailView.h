#pragma once

#include "systemd/CronTable.h"

#include <QScrollArea>

// The read-only detail of one cron line: its command, schedule, user, file and the line as written.
class CronEntryDetailView : public QScrollArea
{
    Q_OBJECT

public:
    explicit CronEntryDetailView(const CronEntry &entry, QWidget *parent = nullptr);

    const CronEntry &entry() const { return m_entry; }

private:
    CronEntry m_entry;
};
