#pragma once

// What the task runner's tests share: waiting for a run, the orphans a terminated shell leaves,
// and a pipe in place of standard input.
#include "runner/TaskRunner.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QString>
#include <QStringBuilder>

#include <csignal>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>
#ifdef Q_OS_LINUX
#include <sys/prctl.h>
#endif

namespace RunnerChecks {

using namespace Qt::StringLiterals;

inline constexpr int kWait = 30000;

// Exposes the start seam so that a shell that does not exist can be tried.
class StartableRunner : public TaskRunner
{
public:
    using TaskRunner::start;
};

inline bool waitForEnd(TaskRunner &runner, int timeout = kWait)
{
    QElapsedTimer timer;
    timer.start();
    while (runner.isRunning() && timer.elapsed() < timeout) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    }
    return !runner.isRunning();
}

inline bool waitForOutput(TaskRunner &runner, const QString &text, int timeout = kWait)
{
    QElapsedTimer timer;
    timer.start();
    while (!runner.output().contains(text) && timer.elapsed() < timeout) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    }
    return runner.output().contains(text);
}

// Gone, or a zombie: a killed orphan stays a zombie until this test, its subreaper, reaps it.
inline bool hasEnded(pid_t pid)
{
    return ::waitpid(pid, nullptr, WNOHANG) == pid || ::kill(pid, 0) != 0;
}

// Orphans of this test's children become its own, so that endOrphanedChildren can end them.
inline void becomeSubreaper()
{
#ifdef Q_OS_LINUX
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
#endif
}

// A shell that does not exec its last command leaves the command behind when the shell is
// terminated. As a subreaper this test inherits such orphans and can end them by their ids.
inline void endOrphanedChildren()
{
#ifdef Q_OS_LINUX
    const QString self = QString::number(::getpid());
    const QStringList entries = QDir(u"/proc"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &entry : entries) {
        bool isNumber = false;
        const pid_t pid = pid_t(entry.toInt(&isNumber));
        if (!isNumber) {
            continue;
        }
        QFile status(u"/proc/" % entry % u"/status");
        if (!status.open(QIODevice::ReadOnly)) {
            continue;
        }
        const QString text = QString::fromUtf8(status.readAll());
        if (text.contains(QString(u"\nPPid:\t" % self % u'\n')) && text.startsWith(u"Name:\tsleep\n"_s)) {
            ::kill(pid, SIGKILL);
            ::waitpid(pid, nullptr, 0);
        }
    }
#endif
}

// Puts a pipe in place of this process's standard input for as long as it lives.
class StandardInputPipe
{
public:
    StandardInputPipe()
    {
        int fds[2];
        m_saved = ::dup(0);
        if (m_saved < 0 || ::pipe(fds) != 0) {
            return;
        }
        ::dup2(fds[0], 0);
        ::close(fds[0]);
        m_writeEnd = fds[1];
    }
    ~StandardInputPipe()
    {
        if (m_saved >= 0) {
            ::dup2(m_saved, 0);
            ::close(m_saved);
        }
        if (m_writeEnd >= 0) {
            ::close(m_writeEnd);
        }
    }
    StandardInputPipe(const StandardInputPipe &) = delete;
    StandardInputPipe &operator=(const StandardInputPipe &) = delete;

    bool isValid() const { return m_writeEnd >= 0; }
    void write(const QByteArray &bytes) const
    {
        if (::write(m_writeEnd, bytes.constData(), size_t(bytes.size())) != bytes.size()) {
            qFatal("cannot write to the input pipe");
        }
    }

private:
    int m_saved = -1;
    int m_writeEnd = -1;
};

} // namespace RunnerChecks
