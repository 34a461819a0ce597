#include "Sandbox.h"
#include "StandInTool.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

#include <plist/plist.h>

#include <cstdlib>

namespace {

QByteArray xmlPlist(const QByteArray &body)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
           "<plist version=\"1.0\">\n<dict>\n" +
           body + "</dict>\n</plist>\n";
}

QByteArray binaryJob(const char *label, const char *flag)
{
    plist_t root = plist_new_dict();
    plist_dict_set_item(root, "Label", plist_new_string(label));
    plist_dict_set_item(root, flag, plist_new_bool(1));
    char *bytes = nullptr;
    uint32_t length = 0;
    plist_to_bin(root, &bytes, &length);
    QByteArray result(bytes, qsizetype(length));
    std::free(bytes);
    plist_free(root);
    return result;
}

struct Paths {
    QString backup;
    QString daemon;
    QString interval;
    QString own;
};

Paths writeJobs(const Sandbox &sandbox)
{
    const QString user = sandbox.launchAgentsDir();
    const QString agents = sandbox.sysroot() + u"/Library/LaunchAgents"_qs;
    const QString daemons = sandbox.sysroot() + u"/Library/LaunchDaemons"_qs;
    Paths paths{user + u"/org.example.backup.plist"_qs, daemons + u"/com.example.daemon.plist"_qs,
                daemons + u"/a.interval.plist"_qs, agents + u"/Com.moxley.task.backup.plist"_qs};
    Sandbox::writeFile(paths.backup, xmlPlist("<key>Label</key><string>org.example.backup</string>\n"
                                              "<key>ProgramArguments</key><array><string>/usr/bin/rsync</string>"
                                              "<string>-a</string><string>/src dir</string></array>\n"
                                              "<key>StartCalendarInterval</key><dict><key>Hour</key><integer>3</integer>"
                                              "<key>Minute</key><integer>15</integer></dict>\n"));
    Sandbox::writeFile(paths.daemon, xmlPlist("<key>Label</key><string>com.example.daemon</string>\n"
                                              "<key>Program</key><string>/usr/sbin/daemon</string>\n"
                                              "<key>KeepAlive</key><true/><key>Disabled</key><true/>\n"));
    Sandbox::writeFile(paths.interval, xmlPlist("<key>Label</key><string>a.interval</string>\n"
                                                "<key>StartInterval</key><integer>30</integer>\n"
                                                "<key>RunAtLoad</key><true/>\n"));
    Sandbox::writeFile(paths.own, binaryJob("Com.moxley.task.backup", "RunAtLoad"));
    // Left out: the app's own job, a file with the wrong extension, a file that is not a job.
    Sandbox::writeFile(user + u"/com.moxley.task.0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9.plist"_qs,
                       binaryJob("com.moxley.task.0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9", "RunAtLoad"));
    Sandbox::writeFile(user + u"/x.PLIST"_qs, binaryJob("upper.case", "RunAtLoad"));
    Sandbox::writeFile(agents + u"/notes.plist"_qs, "just some notes\n");
    return paths;
}

} // namespace

class CliJobsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void jobs_textInBrowserOrder()
    {
        Sandbox sandbox;
        writeJobs(sandbox);
        const auto result = sandbox.runCli({u"jobs"_qs});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.err, QByteArray());
        QCOMPARE(result.out, QByteArray("a.interval              Global Daemons  Every 30 sec\n"
                                        "com.example.daemon      Global Daemons  Keep alive\n"
                                        "Com.moxley.task.backup  Global Agents   Run at load\n"
                                        "org.example.backup      User Agents     3:15\n"));
    }

    void jobs_json()
    {
        Sandbox sandbox;
        const Paths paths = writeJobs(sandbox);
        const auto result = sandbox.runCli({u"jobs"_qs, u"--json"_qs});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.err, QByteArray());
        QVERIFY(result.out.endsWith("]\n"));
        QJsonParseError error;
        const QJsonDocument document = QJsonDocument::fromJson(result.out, &error);
        QCOMPARE(error.error, QJsonParseError::NoError);
        const auto job = [](const QString &label, const QString &source, const QString &path, const QString &command,
                            const QString &schedule, bool disabled, bool runAtLoad, bool keepAlive) {
            return QJsonObject{{u"label"_qs, label},         {u"source"_qs, source},
                               {u"path"_qs, path},           {u"command"_qs, command},
                               {u"schedule"_qs, schedule},   {u"disabled"_qs, disabled},
                               {u"runAtLoad"_qs, runAtLoad}, {u"keepAlive"_qs, keepAlive}};
        };
        const QJsonArray expected{
            job(u"a.interval"_qs, u"Global Daemons"_qs, paths.interval, u"(unknown)"_qs, u"Every 30 sec"_qs, false,
                true, false),
            job(u"com.example.daemon"_qs, u"Global Daemons"_qs, paths.daemon, u"/usr/sbin/daemon"_qs, u"Keep alive"_qs,
                true, false, true),
            job(u"Com.moxley.task.backup"_qs, u"Global Agents"_qs, paths.own, u"(unknown)"_qs, u"Run at load"_qs, false,
                true, false),
            job(u"org.example.backup"_qs, u"User Agents"_qs, paths.backup, u"/usr/bin/rsync -a /src dir"_qs, u"3:15"_qs,
                false, false, false)};
        QCOMPARE(document.array(), expected);
    }

    void jobs_noneFound()
    {
        Sandbox sandbox;
        auto result = sandbox.runCli({u"jobs"_qs});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, QByteArray());
        result = sandbox.runCli({u"jobs"_qs, u"--json"_qs});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, QByteArray("[]\n"));
    }

    void jobs_readOnlyEvenWithABrokenTasksFile()
    {
        Sandbox sandbox;
        const StandInTool launchctl(sandbox, u"/bin/launchctl"_qs);
        writeJobs(sandbox);
        sandbox.writeTasksFile("not json");
        const auto result = sandbox.runCli({u"jobs"_qs});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out.count('\n'), 4);
        QVERIFY(launchctl.calls().isEmpty());
        QCOMPARE(sandbox.readTasksFile(), QByteArray("not json"));
        QVERIFY(QFile::exists(sandbox.launchAgentsDir() + u"/com.moxley.task.0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9.plist"_qs));
    }

    void jobs_usageErrors()
    {
        Sandbox sandbox;
        auto result = sandbox.runCli({u"jobs"_qs, u"extra"_qs});
        QCOMPARE(result.exitCode, 2);
        result = sandbox.runCli({u"jobs"_qs, u"--yaml"_qs});
        QCOMPARE(result.exitCode, 2);
        QCOMPARE(result.err, QByteArray("moxley: unknown option 'yaml'\nTry 'moxley jobs --help' for more information.\n"));
    }
};

QTEST_GUILESS_MAIN(CliJobsTest)
#include "test_cli_jobs.moc"
