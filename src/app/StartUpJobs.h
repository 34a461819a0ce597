#pragma once

#include <QList>
#include <QObject>
#include <QPointer>
#include <QUuid>

class QMainWindow;
class QProgressBar;
class TaskStore;

// What the store's first load left for after the window's first paint (TaskStore::Options::
// deferStartUpJobs): the stray-job sweep, then reinstalling outdated scripts a slice at a time
// between events, with a progress bar in the window's status bar while there is work.
class StartUpJobs : public QObject
{
    Q_OBJECT

public:
    StartUpJobs(TaskStore &store, QMainWindow &window, QObject *parent = nullptr);

    bool isFinished() const { return m_finished; }

Q_SIGNALS:
    // The window's first paint is over: what does not show in it may begin (before the sweep).
    void windowPainted();
    void finished();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void start();
    void step();
    void finish();

    TaskStore &m_store;
    QPointer<QMainWindow> m_window;
    QPointer<QProgressBar> m_bar;
    QList<QUuid> m_pending;
    qsizetype m_done = 0;
    qsizetype m_slice = 0;
    bool m_waiting = true;
    bool m_finished = false;
};
