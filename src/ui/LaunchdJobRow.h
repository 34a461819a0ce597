#pragma once

#include "launchd/LaunchdJob.h"

#include <QWidget>

// One system job in the sidebar: its label, a badge naming where it was found, and when it runs.
class LaunchdJobRow : public QWidget
{
    Q_OBJECT

public:
    explicit LaunchdJobRow(const LaunchdJob &job, QWidget *parent = nullptr);

    const LaunchdJob &job() const { return m_job; }

private:
    LaunchdJob m_job;
};
