#pragma once

#include "model/ScheduledTask.h"
#include "store/TaskStore.h"

#include <QScrollArea>

#include <optional>

class DoctorSheet;
class QToolButton;
class QVBoxLayout;

// One task in the detail pane: state, command, environment, schedule and wake status, run
// history, captured output, and the script and property list installed for it. Everything is
// read afresh whenever the page is built; nothing is cached.
class TaskDetailView : public QScrollArea
{
    Q_OBJECT

public:
    TaskDetailView(TaskStore &store, const ScheduledTask &task, QWidget *parent = nullptr);

    const ScheduledTask &task() const { return m_task; }
    // The main window hands in the store's current copy after every change.
    void setTask(const ScheduledTask &task);

    TaskStore::LogStream selectedLogTab() const { return m_selectedLogTab; }
    void setSelectedLogTab(TaskStore::LogStream stream);

    // "Shell:" from the installed script's text (nothing when it could not be read).
    static QString detectShell(const std::optional<QString> &scriptText);
    // How long the copy button shows "Copied".
    static constexpr int kCopiedMilliseconds = 1500;
    static constexpr int kShownRuns = 10;
    static constexpr int kLogLines = 100;
    static constexpr int kShownLogLines = 30;
    static constexpr int kFullLogLines = 10000;

public Q_SLOTS:
    // Reads history, logs, script and property list again.
    void refresh();
    void copyCommand();
    void showFullLog();
    // The test-run sheet (TestRunView) with the task's command and environment.
    void openTestRun();
    // The doctor's sheet for the task, its check started off the main thread.
    DoctorSheet *openCheck();

Q_SIGNALS:
    void editRequested();
    void duplicateRequested();
    void deleteRequested();

private:
    void rebuild();
    QWidget *buildHeader(QWidget *page);
    QWidget *buildActions(QWidget *page);
    // The last check's problems, while the app runs; nothing when it found none or never ran.
    QWidget *buildCheckResult(QWidget *page);
    QWidget *buildCommand(QWidget *page);
    QWidget *buildEnvironment(QWidget *page);
    QWidget *buildSchedule(QWidget *page);
    QWidget *buildHistory(QWidget *page);
    QWidget *buildOutput(QWidget *page);
    QWidget *buildFile(QWidget *page, const QString &symbol, const QString &title, const QString &path,
                       const QString &missingText, const QString &name);
    void updateCopyButton();

    TaskStore &m_store;
    ScheduledTask m_task;
    TaskStore::LogStream m_selectedLogTab = TaskStore::LogStream::standardOutput;
    bool m_showCopied = false;
    int m_copyGeneration = 0;
    QToolButton *m_copyButton = nullptr;
};
