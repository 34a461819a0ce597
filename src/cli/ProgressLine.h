#pragma once

#include <QElapsedTimer>
#include <QTextStream>

// One line on standard error that is rewritten in place while long work goes on ("moxley:
// reinstalling jobs: 120 of 10000") and erased when it ends. Only when standard error is a
// terminal: scripted output stays exactly as it is without it.
class ProgressLine
{
public:
    explicit ProgressLine(QTextStream &err) : m_err(err) {}

    // The stream writes to standard error and that is a terminal.
    static bool isTerminal(const QTextStream &stream);

    // Rewritten at most every tenth of a second; done == total erases the line.
    void show(qsizetype done, qsizetype total);

private:
    QTextStream &m_err;
    QElapsedTimer m_sinceShown;
    bool m_visible = false;
};
