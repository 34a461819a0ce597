#include "Sandbox.h"
#include "StandInTool.h"
#include "TerminalOnlyProgram.h"
#include "launchd/LaunchdService.h"
#include "model/TaskMigration.h"

#include <QDir>
#include <QDirIterator>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QScopeGuard>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

const QByteArray kLaunchdNote =
    "moxley: notice: The scheduler could not be asked (launchctl is a stand-in here), so the scheduled side is its "
    "documented default environment: PATH=/usr/bin:/bin:/usr/sbin:/sbin, working folder /\n";

// A sandbox under launchd's stand-ins, with a program in a folder that only this test's PATH (the
// interactive side, inherited by the moxley tool) has.
struct World {
    Sandbox sandbox;
    StandInTool launchctl{sandbox, u"/bin/launchctl"_s};
    TerminalOnlyProgram program{sandbox};

    QString add(const QStringList &arguments) const { return TerminalOnlyProgram::addTask(sandbox, arguments); }

    // Everything in the data folder: the probe must leave nothing of its own there.
    QStringList dataFiles() const
    {
        QStringList out;
        QDirIterator it(sandbox.dataDir(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            out << it.next();
        }
        out.sort();
        return out;
    }
};

} // namespace

// `moxley doctor` where launchd is only a stand-in: the scheduled side is launchd's documented
// default environment, run here for real, and a notice says so.
class CliDoctorTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void programOnlyOnTerminalPath_isCommandNotFoundWithTheNote()
    {
        World world;
        const QString id = world.add({u"--command"_s, u"only-mine --all | grep -q mine"_s});
        QVERIFY(!id.isEmpty());
        const QStringList before = world.dataFiles();
        world.launchctl.clearCalls();

        const auto result = world.sandbox.runCli({u"doctor"_s, id});
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.out, world.program.commandNotFoundLine());
        QCOMPARE(result.err, kLaunchdNote);
        // Nothing was loaded or asked of the stand-in, and nothing of the probe stays.
        QCOMPARE(world.launchctl.calls(), QList<QStringList>{});
        QCOMPARE(world.dataFiles(), before);
    }

    void envFileAddsTheFolder_noProblems()
    {
        World world;
        const QString envFile = world.sandbox.root() + u"/task.env"_s;
        Sandbox::writeFile(envFile, "PATH=\"" + world.program.folder.toUtf8() + ":$PATH\"\n");
        const QString id = world.add({u"--command"_s, u"only-mine"_s, u"--env-file"_s, envFile});
        const auto result = world.sandbox.runCli({u"doctor"_s, id});
        QCOMPARE(result.out, QByteArray("No problems: the task will run when scheduled as it does in a Test Run.\n"));
        QCOMPARE(result.err, kLaunchdNote);
        QCOMPARE(result.exitCode, 0);
    }

    void json_givesBothSidesAsProbed()
    {
        World world;
        const QString folder = world.sandbox.root() + u"/work"_s;
        QVERIFY(QDir().mkpath(folder));
        const QString id = world.add({u"--command"_s, u"only-mine"_s, u"--dir"_s, folder});
        const auto result = world.sandbox.runCli({u"doctor"_s, id, u"--json"_s});
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.err, kLaunchdNote);
        const QJsonObject report = QJsonDocument::fromJson(result.out).object();
        QCOMPARE(report.keys(), (QStringList{u"interactive"_s, u"ok"_s, u"problems"_s, u"scheduled"_s}));
        QCOMPARE(report.value(u"ok"_s), QJsonValue(false));
        const QJsonArray problems = report.value(u"problems"_s).toArray();
        QCOMPARE(problems.size(), 1);
        QCOMPARE(problems.at(0).toObject().value(u"kind"_s).toString(), u"command-not-found"_s);
        QCOMPARE(problems.at(0).toObject().keys(), (QStringList{u"kind"_s, u"text"_s}));
        const QJsonObject scheduled = report.value(u"scheduled"_s).toObject();
        QCOMPARE(scheduled.value(u"PATH"_s).toString(), u"/usr/bin:/bin:/usr/sbin:/sbin"_s);
        QCOMPARE(scheduled.value(u"cwd"_s).toString(), folder);
        QCOMPARE(scheduled.value(u"shell"_s).toString(), u"bash"_s);
        const QJsonObject interactive = report.value(u"interactive"_s).toObject();
        QCOMPARE(interactive.value(u"PATH"_s).toString(), QString::fromUtf8(qgetenv("PATH")));
        QCOMPARE(interactive.value(u"cwd"_s).toString(), folder);
        QCOMPARE(interactive.value(u"shell"_s).toString(), u"bash"_s);
        // The document as the other --json commands print theirs: keys sorted, two-space indents.
        QVERIFY(result.out.startsWith("{\n  \"interactive\" : {\n    \"PATH\" : "));
        QVERIFY(result.out.endsWith("\n}\n"));
    }

    void folderEnvFileAndScripts_eachByItsKind()
    {
        World world;
        const QString folder = world.sandbox.root() + u"/gone"_s;
        QVERIFY(QDir().mkpath(folder));
        Sandbox::writeFile(folder + u"/run.sh"_s, "#!/bin/sh\n", 0644);
        const QString missingEnv = world.sandbox.root() + u"/missing.env"_s;
        const QString id = world.add(
            {u"--command"_s, u"./run.sh && /opt/nowhere/tool"_s, u"--dir"_s, folder, u"--env-file"_s, missingEnv});
        // The script lost its execute bit; then the folder goes too.
        auto result = world.sandbox.runCli({u"doctor"_s, id});
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.out, "missing-env-file: The .env file " + missingEnv.toUtf8() +
                                 " does not exist, so its variables are not set when scheduled; create it or remove "
                                 "it from the task\n"
                                 "script-not-executable: `./run.sh` is not executable; run chmod +x " +
                                 folder.toUtf8() +
                                 "/run.sh\n"
                                 "script-missing: `/opt/nowhere/tool` does not exist (looked for /opt/nowhere/tool); "
                                 "check the path, or give the full path\n");

        QVERIFY(QDir(folder).removeRecursively());
        result = world.sandbox.runCli({u"doctor"_s, id, u"--json"_s});
        QStringList kinds;
        for (const QJsonValue &problem : QJsonDocument::fromJson(result.out).object().value(u"problems"_s).toArray()) {
            kinds << problem.toObject().value(u"kind"_s).toString();
        }
        QCOMPARE(kinds, (QStringList{u"missing-working-directory"_s, u"missing-env-file"_s, u"script-missing"_s,
                                     u"script-missing"_s}));
        QCOMPARE(result.exitCode, 1);
    }

    void noSystemdUserInstance_systemdsDefaultWithTheNote()
    {
        World world;
        QTemporaryDir runtime;
        const QByteArray savedRuntime = qgetenv("XDG_RUNTIME_DIR");
        qputenv("XDG_RUNTIME_DIR", runtime.path().toUtf8());
        qputenv("MOXLEY_SCHEDULER", "systemd");
        qunsetenv("DBUS_SESSION_BUS_ADDRESS");
        const auto restore = qScopeGuard([&] {
            qputenv("XDG_RUNTIME_DIR", savedRuntime);
            qunsetenv("MOXLEY_SCHEDULER");
        });
        QDir().mkpath(world.sandbox.sysroot() + u"/usr/bin"_s);
        for (const QString &tool : {u"systemctl"_s, u"systemd-path"_s}) {
            const QString found = QStandardPaths::findExecutable(tool);
            if (found.isEmpty()) {
                QSKIP(qPrintable(tool + u" is not installed"_s));
            }
            QFile::link(found, world.sandbox.sysroot() + u"/usr/bin/"_s + tool);
        }
        QProcess systemdPath;
        systemdPath.start(u"systemd-path"_s, {u"search-binaries-default"_s});
        QVERIFY(systemdPath.waitForFinished(10000));
        const QByteArray defaultPath = systemdPath.readAllStandardOutput().trimmed();
        QVERIFY(defaultPath.startsWith('/'));

        // Saved, though no manager takes the units.
        world.sandbox.runCli(
            {u"add"_s, u"--name"_s, u"Offline"_s, u"--command"_s, u"only-mine"_s, u"--no-login-shell"_s, u"--daily"_s});
        const auto result = world.sandbox.runCli({u"doctor"_s, u"Offline"_s});
        const QByteArray note = "moxley: notice: The scheduler could not be asked (no systemd user instance is "
                                "running), so the scheduled side is its documented default environment: PATH=" +
                                defaultPath + ", working folder " + world.sandbox.home().toUtf8() + "\n";
        QCOMPARE(result.err, note);
        QVERIFY(result.out.startsWith(QByteArray("command-not-found: `only-mine` is found in your terminal")));
        QCOMPARE(result.exitCode, 1);
    }

    void unknownTask_failsAsEveryTaskCommand()
    {
        World world;
        const auto result = world.sandbox.runCli({u"doctor"_s, u"nothing-like-it"_s});
        QCOMPARE(result.exitCode, 1);
        QVERIFY(result.out.isEmpty());
    }
};

QTEST_GUILESS_MAIN(CliDoctorTest)
#include "test_cli_doctor.moc"
