// Preloaded (LD_PRELOAD) into a Qt Widgets program: when the first paint of a window of the class
// named in MOXLEY_BENCH_WINDOW_CLASS has been delivered, writes CLOCK_MONOTONIC (nanoseconds) to
// MOXLEY_BENCH_FIRST_PAINT_FILE and ends the process. The program itself is not changed.
#include <QCoreApplication>
#include <QEvent>
#include <QWidget>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <unistd.h>

namespace {

class FirstPaintProbe : public QObject
{
public:
    using QObject::QObject;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (!m_seen && event->type() == QEvent::Paint && watched->isWidgetType()) {
            const QWidget *window = static_cast<QWidget *>(watched)->window();
            const QByteArray wanted = qgetenv("MOXLEY_BENCH_WINDOW_CLASS");
            if (window->isVisible() && window->inherits(wanted.isEmpty() ? "QMainWindow" : wanted.constData())) {
                m_seen = true;
                // The whole window is painted and flushed in the same pass; an event posted now is
                // handled right after it. At high priority it goes before work the program itself
                // queued from that paint (a zero timer would count that work as start-up).
                QCoreApplication::postEvent(this, new QEvent(QEvent::User), Qt::HighEventPriority);
            }
        }
        return false;
    }

    bool event(QEvent *event) override
    {
        if (event->type() != QEvent::User) {
            return QObject::event(event);
        }
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        const QByteArray path = qgetenv("MOXLEY_BENCH_FIRST_PAINT_FILE");
        if (FILE *out = std::fopen(path.constData(), "w")) {
            std::fprintf(out, "%lld\n", (long long)now.tv_sec * 1000000000LL + now.tv_nsec);
            std::fclose(out);
        }
        std::fflush(nullptr);
        _exit(0);
    }

private:
    bool m_seen = false;
};

void installProbe()
{
    if (!qEnvironmentVariableIsSet("MOXLEY_BENCH_FIRST_PAINT_FILE")) {
        return;
    }
    QCoreApplication::instance()->installEventFilter(new FirstPaintProbe(QCoreApplication::instance()));
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(installProbe)
