#include "ui/TestRunView.h"

#include "runner/TaskRunner.h"
#include "ui/ViewStyle.h"

#include <QCloseEvent>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollBar>
#include <QTextCursor>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>

namespace {
constexpr int kFlushIntervalMs = 30;
// At most this much text goes into the view per turn of the event loop, so that a flood of
// output is laid out in slices and the window keeps answering.
constexpr qsizetype kFlushSliceChars = 32 * 1024;
// More than this waiting means the command prints faster than the view lays lines out.
constexpr qsizetype kBehindChars = 4 * kFlushSliceChars;
constexpr int kStatusIconSize = 16;
} // namespace

TestRunView::TestRunView(QString command, std::optional<QString> workingDirectory, std::optional<QString> envFilePath,
                         bool useLoginShell, QWidget *parent)
    : QDialog(parent), m_command(std::move(command)), m_workingDirectory(std::move(workingDirectory)),
      m_envFilePath(std::move(envFilePath)), m_useLoginShell(useLoginShell), m_runner(new TaskRunner(this)),
      m_flushTimer(new QTimer(this)), m_omitted(new QLabel), m_runningRow(new QWidget), m_busy(new QProgressBar),
      m_output(new QPlainTextEdit), m_exitRow(new QWidget), m_exitIcon(new QLabel), m_exitLabel(new QLabel),
      m_stop(new QPushButton(QStringLiteral("Stop"))), m_close(new QPushButton(QStringLiteral("Close"))),
      m_runAgain(new QPushButton(QStringLiteral("Run Again")))
{
    setWindowTitle(QStringLiteral("Test Run"));
    setObjectName(QStringLiteral("test-run"));
    resize(640, 460);
    setMinimumSize(420, 300);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 14, 16, 14);
    layout->setSpacing(10);
    layout->addLayout(buildHeader());
    layout->addWidget(buildRunningRow());
    QWidget *output = buildOutput();
    layout->addWidget(m_omitted);
    layout->addWidget(output, 1);
    layout->addLayout(buildButtons());

    m_flushTimer->setSingleShot(true);
    connect(m_flushTimer, &QTimer::timeout, this, &TestRunView::flushOutput);

    connect(m_runner, &TaskRunner::outputAppended, this, &TestRunView::appendOutput);
    connect(m_runner, &TaskRunner::outputCleared, this, &TestRunView::clearOutput);
    connect(m_runner, &TaskRunner::isRunningChanged, this, &TestRunView::updateState);
    connect(m_runner, &TaskRunner::exitCodeChanged, this, &TestRunView::updateState);
    connect(m_stop, &QPushButton::clicked, m_runner, &TaskRunner::terminate);
    connect(m_close, &QPushButton::clicked, this, &QDialog::accept);
    connect(m_runAgain, &QPushButton::clicked, this, &TestRunView::start);

    updateState();
}

QLayout *TestRunView::buildHeader()
{
    auto *title = ViewStyle::sheetTitle(QStringLiteral("Test Run"));
    title->setObjectName(QStringLiteral("test-run-title"));
    auto *commandLabel = ViewStyle::formCaption(m_command);
    commandLabel->setObjectName(QStringLiteral("test-run-command"));
    commandLabel->setTextFormat(Qt::PlainText);
    commandLabel->setTextInteractionFlags(Qt::TextSelectableByMouse);
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPointSizeF(commandLabel->font().pointSizeF());
    commandLabel->setFont(font);

    auto *header = new QVBoxLayout;
    header->setSpacing(2);
    header->addWidget(title);
    header->addWidget(commandLabel);
    return header;
}

QWidget *TestRunView::buildRunningRow()
{
    m_busy->setRange(0, 0);
    m_busy->setTextVisible(false);
    m_busy->setFixedSize(64, 6);
    auto *runningText = new QLabel(QStringLiteral("Running..."));
    runningText->setObjectName(QStringLiteral("test-run-running"));
    ViewStyle::makeSmall(runningText);
    auto *runningLayout = new QHBoxLayout(m_runningRow);
    runningLayout->setContentsMargins(0, 0, 0, 0);
    runningLayout->addWidget(m_busy);
    runningLayout->addWidget(runningText);
    runningLayout->addStretch();
    return m_runningRow;
}

QWidget *TestRunView::buildOutput()
{
    m_output->setObjectName(QStringLiteral("test-run-output"));
    m_output->setReadOnly(true);
    m_output->setUndoRedoEnabled(false);
    m_output->setPlaceholderText(QStringLiteral("Waiting for output..."));
    m_output->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_output->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    m_output->document()->setDocumentMargin(8);
    // The oldest lines leave as new ones come (the last block may be an unfinished line).
    m_output->setMaximumBlockCount(kKeptLines + 1);
    // Only the sheet shows the output, and it keeps what it shows.
    m_runner->setKeepsOutput(false);
    m_omitted->setObjectName(QStringLiteral("test-run-omitted"));
    ViewStyle::makeSmall(m_omitted);
    m_omitted->hide();
    return m_output;
}

QLayout *TestRunView::buildButtons()
{
    m_exitIcon->setObjectName(QStringLiteral("test-run-exit-icon"));
    m_exitLabel->setObjectName(QStringLiteral("test-run-exit"));
    auto *exitLayout = new QHBoxLayout(m_exitRow);
    exitLayout->setContentsMargins(0, 0, 0, 0);
    exitLayout->setSpacing(6);
    exitLayout->addWidget(m_exitIcon);
    exitLayout->addWidget(m_exitLabel);
    exitLayout->addStretch();

    m_stop->setObjectName(QStringLiteral("test-run-stop"));
    m_stop->setAutoDefault(false);
    ViewStyle::setTextColor(m_stop, ViewStyle::red());
    m_close->setObjectName(QStringLiteral("test-run-close"));
    m_close->setAutoDefault(false);
    m_runAgain->setObjectName(QStringLiteral("test-run-again"));
    m_runAgain->setDefault(true);

    auto *buttons = new QHBoxLayout;
    buttons->setSpacing(8);
    buttons->addWidget(m_exitRow);
    buttons->addStretch();
    buttons->addWidget(m_stop);
    buttons->addWidget(m_close);
    buttons->addWidget(m_runAgain);
    return buttons;
}

TestRunView::~TestRunView()
{
    // The runner goes with the view; a run still going is asked to end first.
    if (m_runner->isRunning()) {
        m_runner->terminate();
    }
}

void TestRunView::showEvent(QShowEvent *event)
{
    QDialog::showEvent(event);
    if (!m_started) {
        m_started = true;
        start();
    }
}

void TestRunView::start()
{
    if (m_runner->isRunning()) {
        return;
    }
    clearOutput();
    m_runner->run(m_command, m_workingDirectory, m_envFilePath, m_useLoginShell);
    updateState();
}

void TestRunView::closeEvent(QCloseEvent *event)
{
    if (m_runner->isRunning()) {
        m_runner->terminate();
    }
    QDialog::closeEvent(event);
}

void TestRunView::reject()
{
    // Escape belongs to "Close", which only exists once the run has ended.
    if (m_runner->isRunning()) {
        return;
    }
    QDialog::reject();
}

qint64 TestRunView::omittedLines() const
{
    return m_linesSeen - (m_output->document()->blockCount() - 1) - m_pendingLines;
}

void TestRunView::updateOmitted()
{
    const qint64 omitted = omittedLines();
    m_omitted->setVisible(omitted > 0);
    if (omitted > 0) {
        m_omitted->setText(QString::number(omitted) + (omitted == 1 ? QStringLiteral(" earlier line not shown")
                                                                    : QStringLiteral(" earlier lines not shown")));
    }
}

// Cuts what waits to its last kept lines once it holds more than `limit` line feeds. Those lines
// alone fill the view, so what it shows now goes too.
void TestRunView::dropOldPending(qint64 limit)
{
    if (m_pendingLines <= limit) {
        return;
    }
    qsizetype cut = m_pending.size();
    for (qint64 feeds = 0; cut > 0;) {
        if (m_pending.at(cut - 1) == u'\n' && ++feeds > kKeptLines) {
            break;
        }
        --cut;
    }
    m_pending.remove(0, cut);
    m_pendingLines = kKeptLines;
    m_output->clear();
    updateOmitted();
}

void TestRunView::appendOutput(const QString &text)
{
    const qint64 feeds = text.count(u'\n');
    m_linesSeen += feeds;
    m_pendingLines += feeds;
    m_pending += text;
    // Output arriving faster than it is shown would pile up: past twice the kept lines it is cut.
    dropOldPending(2 * qint64(kKeptLines));
    if (!m_flushTimer->isActive()) {
        m_flushTimer->start(kFlushIntervalMs);
    }
}

void TestRunView::flushOutput()
{
    m_flushTimer->stop();
    if (m_pending.isEmpty()) {
        return;
    }
    // Lines that would be pushed out of the view before anyone could see them are never laid out.
    dropOldPending(kKeptLines);
    qsizetype count = std::min(m_pending.size(), kFlushSliceChars);
    // End the slice after a line break when there is one, and never inside a surrogate pair.
    if (count < m_pending.size()) {
        const qsizetype lineEnd = m_pending.lastIndexOf(u'\n', count - 1);
        if (lineEnd > 0) {
            count = lineEnd + 1;
        } else if (m_pending.at(count - 1).isHighSurrogate()) {
            --count;
        }
    }
    QTextCursor cursor(m_output->document());
    cursor.movePosition(QTextCursor::End);
    const QStringView slice = QStringView(m_pending).left(count);
    m_pendingLines -= slice.count(u'\n');
    cursor.insertText(slice.toString());
    m_pending.remove(0, count);
    updateOmitted();
    // Follow the newest line.
    QScrollBar *bar = m_output->verticalScrollBar();
    bar->setValue(bar->maximum());
    if (!m_pending.isEmpty()) {
        // Output the view keeps up with goes in slice after slice. Once a running command gets
        // ahead, one slice per interval: the rest of the time goes to reading, and what waits
        // meanwhile is cut above instead of laid out. When it has ended, the rest goes in at once.
        const bool behind = m_pending.size() > kBehindChars;
        m_flushTimer->start(m_runner->isRunning() && behind ? kFlushIntervalMs : 0);
    } else {
        m_flushTimer->setInterval(kFlushIntervalMs);
        updateState();
    }
}

void TestRunView::clearOutput()
{
    m_flushTimer->stop();
    m_pending.clear();
    m_pendingLines = 0;
    m_linesSeen = 0;
    m_output->clear();
    updateOmitted();
}

void TestRunView::updateState()
{
    const bool running = m_runner->isRunning();
    const std::optional<int> exitCode = m_runner->exitCode();
    m_runningRow->setVisible(running);
    m_stop->setVisible(running);
    m_close->setVisible(!running);
    m_runAgain->setVisible(!running);
    // The status follows the output: it shows once everything the run printed is on screen.
    const bool settled = exitCode.has_value() && !running && m_pending.isEmpty();
    m_exitRow->setVisible(settled);
    if (exitCode) {
        const bool success = *exitCode == 0;
        m_exitIcon->setPixmap(ViewStyle::statusSymbol(success, kStatusIconSize));
        m_exitIcon->setAccessibleName(success ? QStringLiteral("checkmark.circle.fill")
                                              : QStringLiteral("xmark.circle.fill"));
        m_exitLabel->setText(QString::asprintf("Exit: %d", *exitCode));
    }
    if (!running) {
        m_runAgain->setFocus();
    }
}
