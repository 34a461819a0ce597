#include "Sandbox.h"
#include "runner/TaskRunner.h"
#include "ui/TestRunView.h"
#include "ui/ViewStyle.h"

#include <QElapsedTimer>
#include <QFontDatabase>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QTextBlock>
#include <QTimer>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

template <typename T> T *child(const QWidget &parent, const QString &name)
{
    T *found = parent.findChild<T *>(name);
    if (!found) {
        qFatal("no child named %s", qPrintable(name));
    }
    return found;
}

struct Sheet {
    TestRunView view;
    QPlainTextEdit *output;
    QLabel *exitLabel;
    QLabel *exitIcon;
    QLabel *running;
    QPushButton *stop;
    QPushButton *close;
    QPushButton *runAgain;

    explicit Sheet(const QString &command, std::optional<QString> directory = std::nullopt)
        : view(command, std::move(directory), std::nullopt, false),
          output(child<QPlainTextEdit>(view, u"test-run-output"_s)), exitLabel(child<QLabel>(view, u"test-run-exit"_s)),
          exitIcon(child<QLabel>(view, u"test-run-exit-icon"_s)), running(child<QLabel>(view, u"test-run-running"_s)),
          stop(child<QPushButton>(view, u"test-run-stop"_s)), close(child<QPushButton>(view, u"test-run-close"_s)),
          runAgain(child<QPushButton>(view, u"test-run-again"_s))
    {
        view.show();
        if (!QTest::qWaitForWindowExposed(&view)) {
            qFatal("sheet not shown");
        }
    }

    bool finished() const { return !view.runner().isRunning() && exitLabel->isVisible(); }

    void verifyRunningState() const
    {
        QVERIFY(view.runner().isRunning());
        QVERIFY(running->isVisible());
        QVERIFY(stop->isVisible());
        QVERIFY(!close->isVisible());
        QVERIFY(!runAgain->isVisible());
        QVERIFY(!exitLabel->isVisible());
    }

    void verifyFinishedState() const
    {
        QVERIFY(!running->isVisible());
        QVERIFY(!stop->isVisible());
        QVERIFY(close->isVisible());
        QVERIFY(runAgain->isVisible());
        QVERIFY(exitLabel->isVisible());
    }
};

int countPixels(const QLabel *label, const QColor &color)
{
    const QImage image = label->pixmap().toImage();
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor pixel = image.pixelColor(x, y);
            if (pixel.alpha() == 255 && pixel.rgb() == color.rgb()) {
                ++count;
            }
        }
    }
    return count;
}

} // namespace

class TestRunViewTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void header_titleAndCommand()
    {
        Sheet sheet(u"echo \"hi\" && true"_s);
        QCOMPARE(sheet.view.windowTitle(), u"Test Run"_s);
        QCOMPARE(child<QLabel>(sheet.view, u"test-run-title"_s)->text(), u"Test Run"_s);
        auto *command = child<QLabel>(sheet.view, u"test-run-command"_s);
        QCOMPARE(command->text(), u"echo \"hi\" && true"_s);
        // The font asked for, not the one the machine resolves it to: that depends on the fonts installed.
        const QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
        QCOMPARE(command->font().family(), fixed.family());
        QVERIFY(command->font().family() != QFontDatabase::systemFont(QFontDatabase::GeneralFont).family());
        QCOMPARE(sheet.running->text(), u"Running..."_s);
        QCOMPARE(sheet.stop->text(), u"Stop"_s);
        QCOMPARE(sheet.close->text(), u"Close"_s);
        QCOMPARE(sheet.runAgain->text(), u"Run Again"_s);
        QCOMPARE(sheet.output->placeholderText(), u"Waiting for output..."_s);
        QTRY_VERIFY(sheet.finished());
        QCOMPARE(sheet.output->toPlainText(), u"hi\n"_s);
    }

    void outputAppearsWhileStillRunning_andStopEndsIt()
    {
        Sheet sheet(u"echo first; sleep 30; echo never"_s);
        sheet.verifyRunningState();
        QTRY_COMPARE(sheet.output->toPlainText(), u"first\n"_s);
        sheet.verifyRunningState();

        QElapsedTimer clock;
        clock.start();
        QTest::mouseClick(sheet.stop, Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(sheet.finished(), 5000);
        QVERIFY(clock.elapsed() < 5000);
        sheet.verifyFinishedState();
        QCOMPARE(sheet.output->toPlainText(), u"first\n"_s);
        QCOMPARE(sheet.exitLabel->text(), QString::asprintf("Exit: %d", *sheet.view.runner().exitCode()));
        QVERIFY(*sheet.view.runner().exitCode() != 0);
        QCOMPARE(sheet.exitIcon->accessibleName(), u"xmark.circle.fill"_s);
        QVERIFY(countPixels(sheet.exitIcon, ViewStyle::red()) > 10);
        QCOMPARE(countPixels(sheet.exitIcon, ViewStyle::green()), 0);
    }

    void stop_endsSleep()
    {
        Sheet sheet(u"sleep 60"_s);
        QTRY_VERIFY(sheet.view.runner().process() && sheet.view.runner().process()->state() == QProcess::Running);
        QTest::mouseClick(sheet.stop, Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(sheet.finished(), 5000);
        QCOMPARE(sheet.exitLabel->text(), u"Exit: 143"_s);
        QCOMPARE(sheet.output->toPlainText(), QString());
    }

    void silentCommand_placeholderThenOnlyExitLabel()
    {
        Sheet sheet(u"sleep 0.5"_s);
        sheet.verifyRunningState();
        QCOMPARE(sheet.output->toPlainText(), QString());
        QCOMPARE(sheet.output->placeholderText(), u"Waiting for output..."_s);
        QTRY_VERIFY(sheet.finished());
        sheet.verifyFinishedState();
        QCOMPARE(sheet.output->toPlainText(), QString());
        QCOMPARE(sheet.exitLabel->text(), u"Exit: 0"_s);
        QCOMPARE(sheet.exitIcon->accessibleName(), u"checkmark.circle.fill"_s);
        QVERIFY(countPixels(sheet.exitIcon, ViewStyle::green()) > 10);
        QCOMPARE(countPixels(sheet.exitIcon, ViewStyle::red()), 0);
    }

    void failingCommand_showsItsStatus()
    {
        Sheet sheet(u"echo oops >&2; exit 3"_s);
        QTRY_VERIFY(sheet.finished());
        QCOMPARE(sheet.exitLabel->text(), u"Exit: 3"_s);
        QCOMPARE(sheet.output->toPlainText(), u"oops\n"_s);
        QCOMPARE(sheet.exitIcon->accessibleName(), u"xmark.circle.fill"_s);
    }

    void workingDirectory_isUsed()
    {
        Sandbox sandbox;
        Sheet sheet(u"pwd"_s, sandbox.home());
        QTRY_VERIFY(sheet.finished());
        QCOMPARE(sheet.output->toPlainText(), QString(sandbox.home() + u'\n'));
    }

    void returnRunsAgain_clearingFirst()
    {
        Sandbox sandbox;
        const QString counter = sandbox.root() + u"/count"_s;
        Sheet sheet(u"echo run >> '" % counter % u"'; sleep 0.4; wc -l < '" % counter % u"' | tr -d ' '");
        QTRY_VERIFY(sheet.finished());
        QCOMPARE(sheet.output->toPlainText(), u"1\n"_s);

        QTest::keyClick(&sheet.view, Qt::Key_Return);
        // Cleared and running again before the new output arrives.
        QCOMPARE(sheet.output->toPlainText(), QString());
        sheet.verifyRunningState();
        QTRY_VERIFY(sheet.finished());
        QCOMPARE(sheet.output->toPlainText(), u"2\n"_s);

        QTest::mouseClick(sheet.runAgain, Qt::LeftButton);
        QTRY_VERIFY(sheet.finished());
        QCOMPARE(sheet.output->toPlainText(), u"3\n"_s);
        QVERIFY(sheet.view.isVisible());
    }

    void escape_ignoredWhileRunning_closesAfter()
    {
        Sheet sheet(u"sleep 0.6"_s);
        QTest::keyClick(&sheet.view, Qt::Key_Escape);
        QVERIFY(sheet.view.isVisible());
        QTRY_VERIFY(sheet.finished());
        QTest::keyClick(&sheet.view, Qt::Key_Escape);
        QVERIFY(!sheet.view.isVisible());
        QCOMPARE(sheet.view.result(), int(QDialog::Rejected));
    }

    void closeButton_dismisses()
    {
        Sheet sheet(u"true"_s);
        QTRY_VERIFY(sheet.finished());
        QTest::mouseClick(sheet.close, Qt::LeftButton);
        QVERIFY(!sheet.view.isVisible());
    }

    // Up to the kept lines, nothing is left out and no line says so; one more and it does.
    void keptLines_showWhole_thenTheOldestLeave()
    {
        Sheet whole(u"seq 1 50000"_s);
        QTRY_VERIFY_WITH_TIMEOUT(whole.finished(), 60000);
        QCOMPARE(whole.output->document()->firstBlock().text(), u"1"_s);
        QCOMPARE(whole.view.omittedLines(), 0);
        QVERIFY(!child<QLabel>(whole.view, u"test-run-omitted"_s)->isVisible());

        Sheet more(u"seq 1 50001; printf tail"_s);
        QTRY_VERIFY_WITH_TIMEOUT(more.finished(), 60000);
        QCOMPARE(more.output->document()->firstBlock().text(), u"2"_s);
        QCOMPARE(more.output->document()->lastBlock().text(), u"tail"_s);
        QCOMPARE(more.view.omittedLines(), 1);
        QCOMPARE(child<QLabel>(more.view, u"test-run-omitted"_s)->text(), u"1 earlier line not shown"_s);
    }

    // Megabytes of output stream in without stalling the window, and the view follows the end.
    void manyMegabytes_windowStaysResponsive()
    {
        qint64 longestGap = 0;
        QElapsedTimer sinceTick;
        QTimer ticker;
        ticker.setInterval(10);
        connect(&ticker, &QTimer::timeout, this, [&] { longestGap = std::max(longestGap, sinceTick.restart()); });
        Sheet sheet(u"seq 1 1000000"_s);
        sinceTick.start();
        ticker.start();
        QTRY_VERIFY_WITH_TIMEOUT(sheet.finished(), 120000);
        ticker.stop();
        QCOMPARE(sheet.exitLabel->text(), u"Exit: 0"_s);
        // The last 50,000 lines and a line that says how many were left out; nothing else is held.
        QCOMPARE(sheet.output->document()->blockCount(), TestRunView::kKeptLines + 1);
        QCOMPARE(sheet.output->document()->lastBlock().previous().text(), u"1000000"_s);
        QCOMPARE(sheet.output->document()->firstBlock().text(), u"950001"_s);
        QCOMPARE(sheet.view.omittedLines(), 950000);
        const auto *omitted = child<QLabel>(sheet.view, u"test-run-omitted"_s);
        QVERIFY(omitted->isVisible());
        QCOMPARE(omitted->text(), u"950000 earlier lines not shown"_s);
        QVERIFY(sheet.view.runner().output().isEmpty());
        QScrollBar *bar = sheet.output->verticalScrollBar();
        QCOMPARE(bar->value(), bar->maximum());
        qInfo("longest pause of the event loop: %lld ms", longestGap);
        QVERIFY2(longestGap < 1500, qPrintable(QString::number(longestGap)));
    }
};

QTEST_MAIN(TestRunViewTest)
#include "test_test_run_view.moc"
