// The Check sheet over a task with problems, checked for real through a private `systemd --user`
// (launchd's stand-ins where none can run here), saved as a PNG for a person to look at:
//   xvfb-run -a doctor_screenshot OUTPUT_FOLDER
// Not a test: it checks nothing by itself.
#include "PrivateSystemdManager.h"
#include "UiWorld.h"

#include "systemd/SystemdScheduler.h"
#include "ui/DoctorSheet.h"
#include "ui/TaskDetailView.h"

#include <QApplication>
#include <QStandardPaths>
#include <QStyleFactory>

using namespace Qt::StringLiterals;

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QApplication::setStyle(QStyleFactory::create(u"Fusion"_s));
    const QString out = argc > 1 ? QString::fromLocal8Bit(argv[1]) : u"."_s;
    QDir().mkpath(out);

    UiWorld world;
    const QString home = world.sandbox.home();
    PrivateSystemdManager::linkSystemctlInto(world.sandbox.sysroot());
    PrivateSystemdManager manager(home);
    if (!manager.failure().isEmpty()) {
        qWarning("no private systemd --user (%s): launchd's stand-ins instead", qPrintable(manager.failure()));
    }
    // A tool installed under the home folder, on the terminal's PATH only (a plain PATH besides, so
    // the picture shows nothing of this machine's own).
    const QString toolBin = home + u"/.local/share/pnpm"_s;
    Sandbox::writeFile(toolBin + u"/pnpm"_s, "#!/bin/sh\n", 0755);
    qputenv("PATH", QByteArray(toolBin.toUtf8() + ":/usr/local/bin:/usr/bin:/bin"));
    Sandbox::writeFile(home + u"/reports/publish.sh"_s, "#!/bin/sh\n", 0644);

    TaskStore::Options options;
    options.tasksFile = world.sandbox.tasksFile();
    options.pmsetService = std::make_shared<PmsetService>();
    if (manager.failure().isEmpty()) {
        options.scheduler = std::make_shared<SystemdScheduler>(LaunchdService(), manager.unitDir());
    }
    TaskStore store(std::move(options));
    ScheduledTask task = UiWorld::task(u"Nightly report"_s, u"pnpm run build-report && ./publish.sh"_s,
                                       TaskSchedule::daily({{6, 0}}), true);
    task.useLoginShell = false;
    task.workingDirectory = home + u"/reports"_s;
    task.envFilePath = home + u"/reports/.env"_s;
    store.add(task);

    TaskDetailView detail(store, task);
    detail.resize(760, 700);
    detail.show();
    DoctorSheet *sheet = detail.openCheck();
    sheet->resize(640, 640);
    for (int waited = 0; sheet->isChecking() && waited < 60000; waited += 50) {
        QTest::qWait(50);
    }
    QTest::qWait(300);
    const QString path = out + u"/doctor-sheet.png"_s;
    if (!sheet->grab().save(path)) {
        qFatal("cannot write %s", qPrintable(path));
    }
    qInfo("%s", qPrintable(path));
    sheet->close();
    store.deleteTask(task);
    return 0;
}
