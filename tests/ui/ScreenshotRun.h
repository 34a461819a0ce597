#pragma once

// What the screenshot programs share: the same style on every machine, and events settled before
// a view is grabbed.
#include <QApplication>
#include <QDir>
#include <QStyleFactory>
#include <QTest>

namespace ScreenshotRun {

// The output folder (the first argument, or the current one), made if missing.
inline QString start(int argc, char *argv[])
{
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    const QString out = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral(".");
    QDir().mkpath(out);
    return out;
}

// Deferred deletes and posted layouts run before the next grab.
inline void settle()
{
    for (int i = 0; i < 5; ++i) {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCoreApplication::processEvents();
        QTest::qWait(30);
    }
}

} // namespace ScreenshotRun
