#include "app/StartUpJobs.h"

#include "store/TaskStore.h"

#include <QApplication>
#include <QLabel>
#include <QMainWindow>
#include <QProgressBar>
#include <QStatusBar>
#include <QTimer>

#include <algorithm>

using namespace Qt::StringLiterals;

StartUpJobs::StartUpJobs(TaskStore &store, QMainWindow &window, QObject *parent)
    : QObject(parent), m_store(store), m_window(&window)
{
    // Any widget of the window: the first of them painted is the window's first paint.
    qApp->installEventFilter(this);
}

bool StartUpJobs::eventFilter(QObject *watched, QEvent *event)
{
    if (m_waiting && event->type() == QEvent::Paint && watched->isWidgetType() && m_window &&
        static_cast<QWidget *>(watched)->window() == m_window.data()) {
        m_waiting = false;
        qApp->removeEventFilter(this);
        // Once the whole window has been painted and flushed, not in the middle of it.
        QTimer::singleShot(0, this, &StartUpJobs::start);
    }
    return QObject::eventFilter(watched, event);
}

void StartUpJobs::start()
{
    Q_EMIT windowPainted();
    m_store.sweepStrays();
    m_pending = m_store.outdatedScripts();
    if (m_pending.isEmpty() || !m_window) {
        finish();
        return;
    }
    // About twenty slices: the window stays responsive between them, and each slice is one
    // reload of the scheduler.
    m_slice = std::clamp<qsizetype>(m_pending.size() / 20, 25, 250);
    auto *bar = new QStatusBar(m_window);
    bar->setObjectName(u"start-up-status"_s);
    bar->addWidget(new QLabel(u"Reinstalling jobs…"_s, bar));
    m_bar = new QProgressBar(bar);
    m_bar->setObjectName(u"start-up-progress"_s);
    m_bar->setRange(0, int(m_pending.size()));
    m_bar->setValue(0);
    bar->addPermanentWidget(m_bar);
    m_window->setStatusBar(bar);
    QTimer::singleShot(0, this, &StartUpJobs::step);
}

void StartUpJobs::step()
{
    const QList<QUuid> slice = m_pending.mid(m_done, m_slice);
    if (!m_store.reinstall(slice)) {
        // Another writer is in the middle of a change: this slice again a little later.
        QTimer::singleShot(200, this, &StartUpJobs::step);
        return;
    }
    m_done += slice.size();
    if (m_bar) {
        m_bar->setValue(int(m_done));
    }
    if (m_done < m_pending.size()) {
        QTimer::singleShot(0, this, &StartUpJobs::step);
        return;
    }
    if (m_window) {
        m_window->setStatusBar(nullptr);
    }
    // The views show whether each job is installed.
    Q_EMIT m_store.tasksChanged();
    finish();
}

void StartUpJobs::finish()
{
    m_finished = true;
    Q_EMIT finished();
}
