#pragma once

#include "launchd/LaunchdJob.h"

#include <QScrollArea>

// The read-only detail of one system job: badges, command, schedule, paths and the raw property list.
class LaunchdJobDetailView : public QScrollArea
{
    Q_OBJECT

public:
    explicit LaunchdJobDetailView(const LaunchdJob &job, QWidget *parent = nullptr);

    const LaunchdJob &job() const { return m_job; }

private:
    LaunchdJob m_job;
};
