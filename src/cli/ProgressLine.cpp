#include "cli/ProgressLine.h"

#include <QFile>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 kRedrawMilliseconds = 100;

} // namespace

bool ProgressLine::isTerminal(const QTextStream &stream)
{
    const auto *file = qobject_cast<const QFile *>(stream.device());
    return file && file->handle() == STDERR_FILENO && ::isatty(STDERR_FILENO) == 1;
}

void ProgressLine::show(qsizetype done, qsizetype total)
{
    if (done >= total) {
        if (m_visible) {
            // Back to the start of the line and erase it: what follows prints as if it was never there.
            m_err << "\r\x1b[K";
            m_err.flush();
            m_visible = false;
        }
        return;
    }
    if (m_visible && m_sinceShown.elapsed() < kRedrawMilliseconds) {
        return;
    }
    m_err << u"\rmoxley: reinstalling jobs: "_s << done << u" of "_s << total << "\x1b[K";
    m_err.flush();
    m_visible = true;
    m_sinceShown.start();
}
