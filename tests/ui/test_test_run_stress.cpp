// Many test runs in a row, as a person would start them from the New Task sheet: login shell and
// not, short and long, stopped and not, sheets closed while their command still runs. The process
// must survive all of them, every run must end with the output and status it should, and no
// command may outlive its sheet.
//
// MOXLEY_STRESS_RUNS sets the number of runs (default 100). In a Debug build on a loaded 2-core
// machine a run takes about 0.55 s: 100 runs about a minute, 1000 runs about 9 minutes.

#include "Sandbox.h"
#include "runner/TaskRunner.h"
#include "ui/TestRunView.h"

#include <QDialog>
#include <QDir>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QtTest>

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

// The sessions (by id) that still have a process in them.
QSet<qint64> livingSessions()
{
    QSet<qint64> sessions;
    const QStringList entries = QDir(u"/proc"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &entry : entries) {
        bool isPid = false;
        entry.toLongLong(&isPid);
        if (!isPid) {
            continue;
        }
        QFile stat(u"/proc/"_s + entry + u"/stat"_s);
        if (!stat.open(QIODevice::ReadOnly)) {
            continue;
        }
        // pid (comm) state ppid pgrp session ...; comm may hold spaces, so count from its ')'.
        const QByteArray line = stat.readAll();
        const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
        if (fields.size() > 3 && fields.at(0) != "Z") {
            sessions.insert(fields.at(3).toLongLong());
        }
    }
    return sessions;
}

// Counts the signals that reach this process, which a test run must never send here.
volatile sig_atomic_t g_strayHangUps = 0;
volatile sig_atomic_t g_strayTerms = 0;
volatile sig_atomic_t g_strayPipes = 0;

struct Plan {
    bool loginShell = false;
    bool longRun = false;
    bool stop = false;
    bool closeWhileRunning = false;
};

Plan planFor(int run)
{
    // Every combination comes round every 16 runs, in an order that does not repeat in step.
    return {(run & 1) != 0, (run & 2) != 0, (run & 4) != 0, (run & 8) != 0};
}

} // namespace

class TestTestRunStress : public QObject
{
    Q_OBJECT

    Sandbox m_sandbox;
    QString m_folder;
    QString m_envFile;
    int m_terminal = -1;
    int m_savedInput = -1;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_sandbox.isValid());
        m_folder = m_sandbox.root() + u"/work dir"_s;
        QVERIFY(QDir().mkpath(m_folder));
        m_envFile = m_folder + u"/.env"_s;
        Sandbox::writeFile(m_envFile, "GREETING=tuesday\n");
        // Standard input a terminal, as for an app started from one.
        m_terminal = ::posix_openpt(O_RDWR | O_NOCTTY);
        QVERIFY(m_terminal >= 0);
        QCOMPARE(::grantpt(m_terminal), 0);
        QCOMPARE(::unlockpt(m_terminal), 0);
        const int follower = ::open(::ptsname(m_terminal), O_RDWR | O_NOCTTY);
        QVERIFY(follower >= 0);
        m_savedInput = ::dup(0);
        QCOMPARE(::dup2(follower, 0), 0);
        ::close(follower);
        QVERIFY(::isatty(0));

        struct sigaction action = {};
        action.sa_handler = [](int signal) {
            if (signal == SIGHUP) {
                g_strayHangUps = g_strayHangUps + 1;
            } else if (signal == SIGTERM) {
                g_strayTerms = g_strayTerms + 1;
            } else if (signal == SIGPIPE) {
                g_strayPipes = g_strayPipes + 1;
            }
        };
        sigemptyset(&action.sa_mask);
        for (int signal : {SIGHUP, SIGTERM, SIGPIPE}) {
            QCOMPARE(sigaction(signal, &action, nullptr), 0);
        }
    }

    void cleanupTestCase()
    {
        if (m_savedInput >= 0) {
            ::dup2(m_savedInput, 0);
            ::close(m_savedInput);
        }
        if (m_terminal >= 0) {
            ::close(m_terminal);
        }
        for (int signal : {SIGHUP, SIGTERM, SIGPIPE}) {
            ::signal(signal, SIG_DFL);
        }
    }

    void manyRuns_allEndCleanly_noneOutlivesItsSheet()
    {
        const int runs =
            qEnvironmentVariableIsSet("MOXLEY_STRESS_RUNS") ? qEnvironmentVariableIntValue("MOXLEY_STRESS_RUNS") : 100;
        QVERIFY(runs > 0);
        QElapsedTimer clock;
        clock.start();
        for (int run = 0; run < runs; ++run) {
            runOnce(run, planFor(run));
            if (QTest::currentTestFailed()) {
                qWarning("run %d failed", run);
                return;
            }
        }
        QCOMPARE(int(g_strayHangUps), 0);
        QCOMPARE(int(g_strayTerms), 0);
        QCOMPARE(int(g_strayPipes), 0);
        qInfo("%d test runs in %lld ms", runs, clock.elapsed());
    }

private:
    void runOnce(int run, const Plan &plan)
    {
        // The report's command: two lines, the second one sleeping when the run is a long one.
        const QString command =
            plan.longRun
                ? u"echo \"$GREETING run\"\nfor i in 1 2 3 4 5 6 7 8; do echo line $i; sleep 0.1; done; echo done"_s
                : u"echo \"$GREETING run\"\necho done"_s;
        // The sheet's parent stands for the New Task sheet, as in the app.
        auto parent = std::make_unique<QDialog>();
        parent->show();
        auto *sheet = new TestRunView(command, m_folder, m_envFile, plan.loginShell, parent.get());
        sheet->setAttribute(Qt::WA_DeleteOnClose);
        QPointer<TestRunView> guard(sheet);
        sheet->open();
        // The run starts as the sheet appears; its first process leads the session of the run.
        QVERIFY(sheet->runner().process());
        const qint64 session = sheet->runner().process()->processId();
        QVERIFY(session > 0);
        auto *output = sheet->findChild<QPlainTextEdit *>(u"test-run-output"_s);
        auto *exitLabel = sheet->findChild<QLabel *>(u"test-run-exit"_s);
        QVERIFY(output && exitLabel);
        QTRY_VERIFY_WITH_TIMEOUT(output->toPlainText().contains(u"tuesday run"_s), 20000);

        if (plan.closeWhileRunning && plan.longRun) {
            if (plan.stop) {
                // Closed the way a window manager closes it: the run stops, the sheet stays to
                // show how it ended, and Escape then closes it.
                sheet->close();
                QTRY_VERIFY_WITH_TIMEOUT(exitLabel->isVisible(), 20000);
                QVERIFY(sheet->runner().exitCode().value_or(0) != 0);
                QTest::keyClick(sheet, Qt::Key_Escape);
            } else {
                // Gone with the sheet behind it.
                parent.reset();
            }
            QTRY_VERIFY_WITH_TIMEOUT(guard.isNull(), 10000);
        } else {
            if (plan.stop && plan.longRun) {
                QTest::mouseClick(sheet->findChild<QPushButton *>(u"test-run-stop"_s), Qt::LeftButton);
            }
            QTRY_VERIFY_WITH_TIMEOUT(exitLabel->isVisible(), 20000);
            const int exitCode = sheet->runner().exitCode().value_or(-1);
            if (plan.stop && plan.longRun) {
                QVERIFY2(exitCode != 0, qPrintable(u"run %1 stopped, yet exit %2"_s.arg(run).arg(exitCode)));
            } else {
                QVERIFY2(exitCode == 0, qPrintable(u"run %1: exit %2, output:\n%3"_s.arg(run).arg(exitCode).arg(
                                            output->toPlainText())));
                QVERIFY(output->toPlainText().endsWith(u"done\n"_s));
            }
            QTest::keyClick(sheet, Qt::Key_Escape);
            QTRY_VERIFY_WITH_TIMEOUT(guard.isNull(), 10000);
        }
        // Nothing the command started goes on once its sheet is gone.
        QTRY_VERIFY2_WITH_TIMEOUT(!livingSessions().contains(session),
                                  qPrintable(u"run %1 left processes behind"_s.arg(run)), 10000);
    }
};

QTEST_MAIN(TestTestRunStress)
#include "test_test_run_stress.moc"
