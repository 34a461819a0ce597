#pragma once

#include "doctor/Doctor.h"

#include <QDialog>

#include <memory>

class DoctorChecks;
class QLabel;
class QProgressBar;
class QPushButton;
class QVBoxLayout;
class QWidget;

// "Check": the doctor's report on a task in a sheet. The check runs off the main thread (DoctorChecks)
// and starts when the sheet first appears; "Checking..." until the report is in, then each problem
// with its fix, or a clean bill. "Check Again" and "Close" (Escape, Return).
class DoctorSheet : public QDialog
{
    Q_OBJECT

public:
    DoctorSheet(DoctorChecks &checks, const ScheduledTask &task, std::shared_ptr<JobScheduler> scheduler,
                LaunchdService files, QWidget *parent = nullptr);

    // Starts the check (nothing while one of this task runs).
    void start();
    // From the moment the sheet is made until its report is in.
    bool isChecking() const { return m_waiting; }

    // "Command not found when scheduled" for "command-not-found"; the kind itself when unknown.
    static QString kindTitle(const QString &kind);
    // A problem's text split before its fix ("...; add its folder to PATH..." gives the fix
    // "Add its folder to PATH..."); no fix when the text has none.
    static QPair<QString, QString> splitFix(const QString &text);

protected:
    void showEvent(QShowEvent *event) override;

private:
    void showResult(const Doctor::Result &result);
    QWidget *problemBox(const DoctorProblem &problem, int index);
    QWidget *environmentBox(const Doctor::Result &result);
    void updateState();

    DoctorChecks &m_checks;
    const ScheduledTask m_task;
    const std::shared_ptr<JobScheduler> m_scheduler;
    const LaunchdService m_files;
    bool m_started = false;
    bool m_waiting = true;

    QWidget *m_runningRow;
    QProgressBar *m_busy;
    QLabel *m_headline;
    QWidget *m_report;
    QVBoxLayout *m_reportLayout;
    QPushButton *m_again;
    QPushButton *m_close;
};
