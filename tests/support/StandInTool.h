#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

class Sandbox;

// A stand-in for a macOS system tool (launchctl, pmset, osascript, shortcuts), installed at its
// system path under the sandbox's MOXLEY_SYSROOT. It is a real executable: every call appends
// its arguments to a log (one record per call, also to a log shared by all stand-ins, so tests
// can check the order across tools), prints the text set for its first argument and exits with
// the status set for it.
class StandInTool
{
public:
    // `systemPath` as the program names it, e.g. "/bin/launchctl".
    StandInTool(const Sandbox &sandbox, const QString &systemPath);

    QString path() const { return m_path; }
    QString name() const { return m_name; }

    // For calls whose first argument is `firstArgument`; with no first argument, for every call
    // that has no more specific setting.
    void setExitStatus(int status, const QString &firstArgument = {}) const;
    // For every call that has `argument` among its arguments, before any setting above.
    void setExitStatusForArgument(int status, const QString &argument) const;
    void setOutput(const QByteArray &text, const QString &firstArgument = {}) const;
    // Seconds to wait before answering (a tool that hangs).
    void setDelay(double seconds) const;
    // Takes away the execute permission, so the tool cannot be started.
    void makeUnstartable() const;

    // The arguments of every call so far, oldest first.
    QList<QStringList> calls() const;
    void clearCalls() const;

    // Every call of every stand-in in this sandbox, oldest first, as the tool's name followed by
    // its arguments: {"launchctl", "load", "/path"}.
    static QList<QStringList> allCalls(const Sandbox &sandbox);

private:
    QString stateFile(const QString &kind, const QString &firstArgument) const;

    QString m_path;
    QString m_name;
    QString m_stateDir;
    QString m_sharedLog;
};
