#include "PrivateSystemdManager.h"
#include "Sandbox.h"
#include "TerminalOnlyProgram.h"
#include "systemd/SystemdUnits.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>
#include <QtTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

// A sandbox with its own user manager (as the scheduler's tests have), and a program in a folder
// that only this test's PATH, the interactive side, has.
struct World {
    Sandbox sandbox;
    std::unique_ptr<PrivateSystemdManager> manager;
    TerminalOnlyProgram program{sandbox};

    World()
    {
        PrivateSystemdManager::linkSystemctlInto(sandbox.sysroot());
        manager = std::make_unique<PrivateSystemdManager>(sandbox.home());
    }

    QString add(const QStringList &arguments) const { return TerminalOnlyProgram::addTask(sandbox, arguments); }

    // Every file under the unit folder and the data folder, and every unit the manager knows.
    QStringList traces() const
    {
        QStringList out;
        for (const QString &root : {manager->unitDir(), sandbox.dataDir()}) {
            QDirIterator it(root, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
            while (it.hasNext()) {
                out << it.next();
            }
        }
        for (const QString &unit : manager->loadedUnits()) {
            if (unit.startsWith(u"com.moxley."_s)) {
                out << unit;
            }
        }
        out.sort();
        return out;
    }
};

} // namespace

// `moxley doctor` through a real `systemd --user` that the test starts: the probe runs as a unit of
// that manager, and nothing of it stays.
class SystemdDoctorTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void programOnlyOnTerminalPath_isCommandNotFound_thenTheEnvFileFixesIt()
    {
        World world;
        REQUIRE_SYSTEMD_MANAGER(*world.manager);
        const QString id = world.add({u"--command"_s, u"only-mine | grep -q mine"_s});
        QVERIFY(!id.isEmpty());
        const QStringList before = world.traces();

        auto result = world.sandbox.runCli({u"doctor"_s, id});
        QCOMPARE(result.err, QByteArray());
        QCOMPARE(result.out, world.program.commandNotFoundLine());
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(world.traces(), before);

        const QString envFile = world.sandbox.root() + u"/task.env"_s;
        Sandbox::writeFile(envFile, "PATH=\"" + world.program.folder.toUtf8() + ":$PATH\"\n");
        QCOMPARE(world.sandbox.runCli({u"edit"_s, id, u"--env-file"_s, envFile}).exitCode, 0);
        const QStringList edited = world.traces();
        result = world.sandbox.runCli({u"doctor"_s, id});
        QCOMPARE(result.out, QByteArray("No problems: the task will run when scheduled as it does in a Test Run.\n"));
        QCOMPARE(result.err, QByteArray());
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(world.traces(), edited);
    }

    void scheduledSide_isWhatTheManagerGivesItsUnits()
    {
        World world;
        REQUIRE_SYSTEMD_MANAGER(*world.manager);
        const QString id = world.add({u"--command"_s, u"only-mine"_s});
        const auto result = world.sandbox.runCli({u"doctor"_s, id, u"--json"_s});
        QCOMPARE(result.exitCode, 1);
        const QJsonObject report = QJsonDocument::fromJson(result.out).object();
        const QJsonObject scheduled = report.value(u"scheduled"_s).toObject();
        QString managerPath;
        for (const QString &line : world.manager->systemctl({u"show-environment"_s}).out.split(u'\n')) {
            if (line.startsWith(u"PATH="_s)) {
                managerPath = line.mid(5);
            }
        }
        QVERIFY(!managerPath.isEmpty());
        QCOMPARE(scheduled.value(u"PATH"_s).toString(), managerPath);
        QCOMPARE(scheduled.value(u"cwd"_s).toString(), world.sandbox.home());
        QCOMPARE(scheduled.value(u"shell"_s).toString(), u"bash"_s);
        QCOMPARE(report.value(u"interactive"_s).toObject().value(u"PATH"_s).toString(),
                 QString::fromUtf8(qgetenv("PATH")));
    }

    void removedFolderMissingEnvFileAndScriptWithoutExecuteBit_eachByItsKind()
    {
        World world;
        REQUIRE_SYSTEMD_MANAGER(*world.manager);
        const QString folder = world.sandbox.root() + u"/project"_s;
        Sandbox::writeFile(folder + u"/backup.sh"_s, "#!/bin/sh\n", 0755);
        const QString envFile = world.sandbox.root() + u"/task.env"_s;
        Sandbox::writeFile(envFile, "A=1\n");
        const QString id = world.add({u"--command"_s, u"./backup.sh"_s, u"--dir"_s, folder, u"--env-file"_s, envFile});
        QCOMPARE(world.sandbox.runCli({u"doctor"_s, id}).exitCode, 0);

        QFile::setPermissions(folder + u"/backup.sh"_s, QFile::ReadOwner | QFile::WriteOwner);
        auto result = world.sandbox.runCli({u"doctor"_s, id});
        QCOMPARE(result.out, "script-not-executable: `./backup.sh` is not executable; run chmod +x " + folder.toUtf8() +
                                 "/backup.sh\n");
        QCOMPARE(result.exitCode, 1);

        QVERIFY(QFile::remove(envFile));
        result = world.sandbox.runCli({u"doctor"_s, id});
        QVERIFY(result.out.startsWith(
            QByteArray("missing-env-file: The .env file " + envFile.toUtf8() + " does not exist")));

        QVERIFY(QDir(folder).removeRecursively());
        const QStringList before = world.traces();
        result = world.sandbox.runCli({u"doctor"_s, id});
        QCOMPARE(result.out, "missing-working-directory: The working folder " + folder.toUtf8() +
                                 " does not exist, so the command would run in another folder; create it or choose "
                                 "another\n"
                                 "missing-env-file: The .env file " +
                                 envFile.toUtf8() +
                                 " does not exist, so its variables are not set when scheduled; create it or remove "
                                 "it from the task\n"
                                 "script-missing: `./backup.sh` does not exist (looked for " +
                                 world.sandbox.home().toUtf8() +
                                 "/backup.sh); check the path, or give the full path\n");
        QCOMPARE(world.traces(), before);
    }

    void timerNoLongerEnabled_isJobNotLoaded()
    {
        World world;
        REQUIRE_SYSTEMD_MANAGER(*world.manager);
        const QString id = world.add({u"--command"_s, u"true"_s});
        const QString timer = SystemdUnits::timerName(QUuid::fromString(id));
        QCOMPARE(world.manager->systemctl({u"disable"_s, u"--now"_s, timer}).exitCode, 0);
        const auto result = world.sandbox.runCli({u"doctor"_s, id});
        QCOMPARE(result.out, QByteArray("job-not-loaded: The task's job is not loaded, so it will never run; disable "
                                        "and enable the task again\n"));
        QCOMPARE(result.exitCode, 1);
    }
};

QTEST_GUILESS_MAIN(SystemdDoctorTest)
#include "test_systemd_doctor.moc"
