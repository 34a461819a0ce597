#include "Sandbox.h"
#include "SecretToolStandIn.h"
#include "StandInTool.h"
#include "launchd/PmsetService.h"
#include "platform/Keychain.h"
#include "store/TaskStore.h"
#include "ui/GmailSetupView.h"

#include <QCryptographicHash>
#include <QDirIterator>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSettings>
#include <QtTest>

using namespace Qt::StringLiterals;

// A Gmail app password goes into the keychain and nowhere else: from the Gmail sheet through the
// task, its job, a run of its script and that run's logs, no file in the sandbox holds it except
// the keychain's own store.
class NoSecretOnDiskTest : public QObject
{
    Q_OBJECT

    static constexpr char kPassword[] = "zqxw vrtm plok hgfd";

    template <typename T> static T *child(const QWidget &parent, const char16_t *name)
    {
        T *found = parent.findChild<T *>(QString::fromUtf16(name));
        if (!found) {
            qFatal("no child named %s", qPrintable(QString::fromUtf16(name)));
        }
        return found;
    }

    // Every form of the password a careless writer could leave behind.
    static QList<QByteArray> passwordForms()
    {
        const QByteArray password(kPassword);
        QByteArray joined = password;
        joined.replace(' ', "");
        return {password, joined, password.toBase64(), QString::fromUtf8(password).toUtf8().toPercentEncoding(),
                QByteArray(reinterpret_cast<const char *>(QString::fromUtf8(password).utf16()), password.size() * 2)};
    }

private Q_SLOTS:
    void gmailTaskSetUpInstalledAndRun_passwordOnlyInTheKeychain()
    {
#ifdef Q_OS_MACOS
        QSKIP("The Secret Service path of Linux; on macOS test_security_keychain covers the keychain");
#endif
        Sandbox sandbox;
        StandInTool launchctl(sandbox, u"/bin/launchctl"_s);
        StandInTool pmset(sandbox, u"/usr/bin/pmset"_s);
        const QString secretTool = writeSecretToolStandIn(sandbox);
        const QString secretStore = sandbox.root() + u"/secrets"_s;
        // A curl that sends nothing: it keeps the mail it was given and a digest of its
        // --user value (so the test knows the password reached it without writing it down).
        const QString bin = sandbox.root() + u"/bin"_s;
        const QString mailFile = sandbox.root() + u"/sent/mail.txt"_s;
        const QString userDigestFile = sandbox.root() + u"/sent/user.sha256"_s;
        Sandbox::writeFile(bin + u"/curl"_s,
                           QString(uR"SH(#!/bin/bash
mkdir -p "$(dirname '%1')"
while [ $# -gt 0 ]; do
  case $1 in
    --user) printf '%s' "$2" | { sha256sum 2>/dev/null || shasum -a 256; } | cut -d' ' -f1 > '%2'; shift ;;
  esac
  shift
done
cat > '%1'
printf 250
)SH"_s.arg(mailFile, userDigestFile))
                               .toUtf8(),
                           0755);

        // The sheet, as the task form opens it: the system's keychain kind, settings in HOME.
        auto settings =
            std::make_shared<QSettings>(sandbox.home() + u"/.config/Moxley/Moxley.conf"_s, QSettings::NativeFormat);
        GmailSetupView view(std::make_shared<SecretToolKeychain>(secretTool), settings);
        QString snippet;
        QString name;
        view.setOnComplete([&](const QString &s, const QString &n) {
            snippet = s;
            name = n;
        });
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        QTest::keyClicks(child<QLineEdit>(view, u"gmail-address"), u"me@gmail.com"_s);
        QTest::keyClicks(child<QLineEdit>(view, u"gmail-app-password"), QString::fromLatin1(kPassword));
        QTest::keyClicks(child<QLineEdit>(view, u"gmail-to"), u"you@example.org"_s);
        auto *use = child<QPushButton>(view, u"gmail-use-template");
        QVERIFY(use->isEnabled());
        QTest::mouseClick(use, Qt::LeftButton);
        QVERIFY(!snippet.isEmpty());
        QCOMPARE(name, u"Email: Daily Reminder"_s);
        settings->sync();

        // The task, added (and so installed) through the store.
        TaskStore::Options options;
        options.tasksFile = sandbox.tasksFile();
        options.pmsetService = std::make_shared<PmsetService>();
        TaskStore store(options);
        ScheduledTask task;
        task.id = QUuid::createUuid();
        task.name = name;
        task.command = snippet;
        task.useLoginShell = false;
        task.schedule = TaskSchedule::daily({{8, 0}});
        store.add(task);
        QCOMPARE(store.lastError(), std::nullopt);
        const LaunchdService &files = store.launchdService();
        QVERIFY(QFileInfo::exists(files.plistPath(task)));
        QCOMPARE(launchctl.calls().last().value(0), u"load"_s);

        // One run, as launchd would start it: the script itself, its output into the task's logs.
        QProcess run;
        QProcessEnvironment env = sandbox.environment();
        env.insert(u"PATH"_s, bin % u':' % env.value(u"PATH"_s));
        run.setProcessEnvironment(env);
        run.setStandardOutputFile(files.stdoutLogPath(task));
        run.setStandardErrorFile(files.stderrLogPath(task));
        run.start(files.scriptPath(task), {});
        QVERIFY(run.waitForFinished(30000));
        QCOMPARE(run.exitCode(), 0);
        QCOMPARE(Sandbox::readFile(files.stdoutLogPath(task)), QByteArray("[250] Email sent to you@example.org\n"));
        QCOMPARE(Sandbox::readFile(files.stderrLogPath(task)), QByteArray());
        QCOMPARE(store.runRecords(task).size(), 1);
        QCOMPARE(store.runRecords(task).first().exitCode, 0);
        // The password did reach curl, through the keychain lookup.
        QCOMPARE(
            Sandbox::readFile(userDigestFile).trimmed(),
            QCryptographicHash::hash(QByteArray("me@gmail.com:" + QByteArray(kPassword)), QCryptographicHash::Sha256)
                .toHex());
        QVERIFY(Sandbox::readFile(mailFile).contains("Subject: Daily Reminder"));
        // And the moxley tool reads the task back through its own files.
        QCOMPARE(sandbox.runCli({u"show"_s, task.shortId(), u"--json"_s}).exitCode, 0);
        QCOMPARE(sandbox.runCli({u"history"_s, task.shortId()}).exitCode, 0);

        // Every file of the sandbox: HOME with its data, settings, LaunchAgents, the sysroot and
        // the stand-ins' records.
        QStringList checked;
        QStringList holding;
        QDirIterator it(sandbox.root(), QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QString path = it.next();
            const QByteArray bytes = Sandbox::readFile(path);
            checked << path;
            for (const QByteArray &form : passwordForms()) {
                if (bytes.contains(form)) {
                    holding << path;
                    break;
                }
            }
        }
        // The search does find the password where it is: in the keychain's store, and only there.
        QCOMPARE(holding.size(), 1);
        QVERIFY2(holding.first().startsWith(secretStore + u'/'), qPrintable(holding.join(u", "_s)));
        // And it looked at each kind of file the password must stay out of.
        for (const QString &expected :
             {sandbox.tasksFile(), files.scriptPath(task), files.plistPath(task), files.stdoutLogPath(task),
              files.stderrLogPath(task), files.runsPath(task), settings->fileName()}) {
            QVERIFY2(checked.contains(expected), qPrintable(expected));
        }
        QVERIFY(Sandbox::readFile(settings->fileName()).contains("me@gmail.com"));
    }
};

QTEST_MAIN(NoSecretOnDiskTest)
#include "test_no_secret_on_disk.moc"
