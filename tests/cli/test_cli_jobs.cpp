#include "Sandbox.h"
#include "StandInTool.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

#include <plist/plist.h>

#include <cstdlib>

using namespace Qt::StringLiterals;

namespace {

QByteArray xmlPlist(const QByteArray &body)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
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
    const QString agents = sandbox.sysroot() + u"/Library/LaunchAgents"_s;
    const QString daemons = sandbox.sysroot() + u"/Library/LaunchDaemons"_s;
    Paths paths{user + u"/org.example.backup.plist"_s, daemons + u"/com.example.daemon.plist"_s,
                daemons + u"/a.interval.plist"_s, agents + u"/Com.moxley.task.backup.plist"_s};
    Sandbox::writeFile(paths.backup,
                       xmlPlist("<key>Label</key><string>org.example.backup</string>\n"
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
    Sandbox::writeFile(user + u"/com.moxley.task.0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9.plist"_s,
                       binaryJob("com.moxley.task.0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9", "RunAtLoad"));
    Sandbox::writeFile(user + u"/x.PLIST"_s, binaryJob("upper.case", "RunAtLoad"));
    Sandbox::writeFile(agents + u"/notes.plist"_s, "just some notes\n");
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
        const auto result = sandbox.runCli({u"jobs"_s});
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
        const auto result = sandbox.runCli({u"jobs"_s, u"--json"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.err, QByteArray());
        QVERIFY(result.out.endsWith("]\n"));
        QJsonParseError error;
        const QJsonDocument document = QJsonDocument::fromJson(result.out, &error);
        QCOMPARE(error.error, QJsonParseError::NoError);
        const auto job = [](const QString &label, const QString &source, const QString &path, const QString &command,
                            const QString &schedule, bool disabled, bool runAtLoad, bool keepAlive) {
            return QJsonObject{{u"label"_s, label},         {u"source"_s, source},      {u"path"_s, path},
                               {u"command"_s, command},     {u"schedule"_s, schedule},  {u"disabled"_s, disabled},
                               {u"runAtLoad"_s, runAtLoad}, {u"keepAlive"_s, keepAlive}};
        };
        const QJsonArray expected{job(u"a.interval"_s, u"Global Daemons"_s, paths.interval, u"(unknown)"_s,
                                      u"Every 30 sec"_s, false, true, false),
                                  job(u"com.example.daemon"_s, u"Global Daemons"_s, paths.daemon, u"/usr/sbin/daemon"_s,
                                      u"Keep alive"_s, true, false, true),
                                  job(u"Com.moxley.task.backup"_s, u"Global Agents"_s, paths.own, u"(unknown)"_s,
                                      u"Run at load"_s, false, true, false),
                                  job(u"org.example.backup"_s, u"User Agents"_s, paths.backup,
                                      u"/usr/bin/rsync -a /src dir"_s, u"3:15"_s, false, false, false)};
        QCOMPARE(document.array(), expected);
    }

    void jobs_noneFound()
    {
        Sandbox sandbox;
        auto result = sandbox.runCli({u"jobs"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, QByteArray());
        result = sandbox.runCli({u"jobs"_s, u"--json"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, QByteArray("[]\n"));
    }

    void jobs_readOnlyEvenWithABrokenTasksFile()
    {
        Sandbox sandbox;
        const StandInTool launchctl(sandbox, u"/bin/launchctl"_s);
        writeJobs(sandbox);
        sandbox.writeTasksFile("not json");
        const auto result = sandbox.runCli({u"jobs"_s});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out.count('\n'), 4);
        QVERIFY(launchctl.calls().isEmpty());
        QCOMPARE(sandbox.readTasksFile(), QByteArray("not json"));
        QVERIFY(QFile::exists(sandbox.launchAgentsDir() +
                              u"/com.moxley.task.0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9.plist"_s));
    }

    void jobs_usageErrors()
    {
        Sandbox sandbox;
        auto result = sandbox.runCli({u"jobs"_s, u"extra"_s});
        QCOMPARE(result.exitCode, 2);
        result = sandbox.runCli({u"jobs"_s, u"--yaml"_s});
        QCOMPARE(result.exitCode, 2);
        QCOMPARE(result.err,
                 QByteArray("moxley: unknown option '--yaml'\nTry 'moxley jobs --help' for more information.\n"));
    }
};

QTEST_GUILESS_MAIN(CliJobsTest)
#include "test_cli_jobs.moc"
