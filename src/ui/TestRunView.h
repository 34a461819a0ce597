#pragma once

#include <QDialog>
#include <QString>

#include <optional>

class QLabel;
class QLayout;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;
class QTimer;
class QWidget;
class TaskRunner;

// "Test Run": runs a command once, as the task would run it, and shows its output as it arrives.
// Starts when it first appears; "Stop" while running, "Close" (Escape) and "Run Again" (Return)
// afterwards.
class TestRunView : public QDialog
{
    Q_OBJECT

public:
    TestRunView(QString command, std::optional<QString> workingDirectory, std::optional<QString> envFilePath,
                bool useLoginShell, QWidget *parent = nullptr);
    ~TestRunView() override;

    // The sheet keeps the last lines only, so a command that prints gigabytes cannot exhaust
    // memory; a line above the output says how many earlier ones were left out.
    static constexpr int kKeptLines = 50000;

    TaskRunner &runner() const { return *m_runner; }
    // Complete lines the run printed that the sheet no longer holds.
    qint64 omittedLines() const;
    // Starts the run (ignored while one is in progress).
    void start();

protected:
    void showEvent(QShowEvent *event) override;
    void closeEvent(QCloseEvent *event) override;
    void reject() override;

private:
    QLayout *buildHeader();
    QWidget *buildRunningRow();
    QWidget *buildOutput();
    QLayout *buildButtons();
    void appendOutput(const QString &text);
    void flushOutput();
    void clearOutput();
    void dropOldPending(qint64 limit);
    void updateOmitted();
    void updateState();

    const QString m_command;
    const std::optional<QString> m_workingDirectory;
    const std::optional<QString> m_envFilePath;
    const bool m_useLoginShell;
    TaskRunner *m_runner;
    bool m_started = false;

    // Output waits here briefly so a flood of small pieces becomes a few large inserts.
    QString m_pending;
    qint64 m_pendingLines = 0; // line feeds in m_pending
    qint64 m_linesSeen = 0;    // line feeds of the whole run
    QTimer *m_flushTimer;
    QLabel *m_omitted;

    QWidget *m_runningRow;
    QProgressBar *m_busy;
    QPlainTextEdit *m_output;
    QWidget *m_exitRow;
    QLabel *m_exitIcon;
    QLabel *m_exitLabel;
    QPushButton *m_stop;
    QPushButton *m_close;
    QPushButton *m_runAgain;
};
