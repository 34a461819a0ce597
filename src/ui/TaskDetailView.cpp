#include "ui/TaskDetailView.h"

#include "doctor/DoctorChecks.h"
#include "launchd/PmsetService.h"
#include "store/RunHistory.h"
#include "ui/DoctorSheet.h"
#include "ui/FullLogView.h"
#include "ui/Icons.h"
#include "ui/TaskGlanceSection.h"
#include "ui/TestRunView.h"
#include "ui/ToggleSwitch.h"
#include "ui/ViewStyle.h"

#include <QButtonGroup>
#include <QClipboard>
#include <QFile>
#include <QFileInfo>
#include <QGridLayout>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QPointer>
#include <QPushButton>
#include <QScrollBar>
#include <QStringDecoder>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

std::optional<QString> readText(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    QStringDecoder decoder(QStringDecoder::Utf8);
    QString text = decoder(file.readAll());
    if (decoder.hasError()) {
        return std::nullopt;
    }
    return text;
}

QString streamName(TaskStore::LogStream stream)
{
    return stream == TaskStore::LogStream::standardOutput ? QStringLiteral("stdout") : QStringLiteral("stderr");
}

QWidget *section(const QString &symbol, const QString &title, QWidget *parent, QVBoxLayout **body,
                 QWidget *trailing = nullptr)
{
    auto *box = new QWidget(parent);
    auto *layout = new QVBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(8);
    QWidget *header = ViewStyle::sectionHeader(symbol, title, box);
    if (trailing) {
        trailing->setParent(header);
        static_cast<QHBoxLayout *>(header->layout())->addWidget(trailing);
    }
    layout->addWidget(header);
    *body = layout;
    return box;
}

QLabel *missingLabel(const QString &text, const QString &name, QWidget *parent)
{
    QLabel *label = ViewStyle::textLabel(text, name, ViewStyle::Selectable::no, parent);
    ViewStyle::setTextColor(label, ViewStyle::secondaryText());
    return label;
}

QPushButton *actionButton(const QString &symbol, const QString &text, const QString &name, QWidget *parent)
{
    auto *button = new QPushButton(Icons::symbol(symbol), text, parent);
    ViewStyle::setIdentifier(button, name);
    return button;
}

} // namespace

TaskDetailView::TaskDetailView(TaskStore &store, const ScheduledTask &task, QWidget *parent)
    : QScrollArea(parent), m_store(store), m_task(task)
{
    setObjectName(QStringLiteral("task-detail"));
    setWidgetResizable(true);
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    connect(&DoctorChecks::instance(), &DoctorChecks::finished, this, [this](const QUuid &id) {
        if (id == m_task.id) {
            rebuild();
        }
    });
    rebuild();
}

void TaskDetailView::setTask(const ScheduledTask &task)
{
    m_task = task;
    rebuild();
}

void TaskDetailView::setSelectedLogTab(TaskStore::LogStream stream)
{
    if (stream != m_selectedLogTab) {
        m_selectedLogTab = stream;
        rebuild();
    }
}

void TaskDetailView::refresh()
{
    rebuild();
}

void TaskDetailView::rebuild()
{
    const int scrolled = verticalScrollBar()->value();
    // The old page may be the sender of the signal that got us here (the switch, a button):
    // it goes once control is back in the event loop.
    if (QWidget *old = takeWidget()) {
        old->hide();
        old->deleteLater();
    }
    m_copyButton = nullptr;

    auto *page = new QWidget;
    page->setObjectName(QStringLiteral("task-detail-page"));
    auto *layout = new QVBoxLayout(page);
    layout->setContentsMargins(24, 20, 24, 24);
    layout->setSpacing(22);
    layout->addWidget(buildHeader(page));
    layout->addWidget(buildActions(page));
    if (QWidget *checked = buildCheckResult(page)) {
        layout->addWidget(checked);
    }
    layout->addWidget(buildCommand(page));
    layout->addWidget(buildEnvironment(page));
    layout->addWidget(buildSchedule(page));
    layout->addWidget(TaskGlanceSection::forTask(m_store, m_task, page));
    layout->addWidget(buildHistory(page));
    layout->addWidget(buildOutput(page));
    const LaunchdService &service = m_store.launchdServiceForViews();
    layout->addWidget(buildFile(page, QStringLiteral("doc.text.fill"), QStringLiteral("Generated Script"),
                                service.scriptPath(m_task), QStringLiteral("Script not installed."),
                                QStringLiteral("detail-script")));
    layout->addWidget(buildFile(page, QStringLiteral("doc.text"), QStringLiteral("Raw Plist"),
                                service.plistPath(m_task), QStringLiteral("Plist not installed."),
                                QStringLiteral("detail-plist")));
    layout->addStretch(1);
    setWidget(page);
    // The page scrolls up and down only: the window may not get narrower than its header and buttons.
    setMinimumWidth(page->minimumSizeHint().width() + verticalScrollBar()->sizeHint().width() + 2 * frameWidth());
    updateCopyButton();
    QTimer::singleShot(0, this, [bar = QPointer<QScrollBar>(verticalScrollBar()), scrolled] {
        if (bar) {
            bar->setValue(scrolled);
        }
    });
}

QWidget *TaskDetailView::buildHeader(QWidget *page)
{
    auto *header = new QWidget(page);
    auto *layout = new QHBoxLayout(header);
    layout->setContentsMargins(0, 0, 0, 0);
    auto *texts = new QVBoxLayout;
    texts->setSpacing(2);
    QLabel *name = ViewStyle::textLabel(m_task.name, QStringLiteral("detail-name"), ViewStyle::Selectable::no, header);
    name->setFont(ViewStyle::titleFont());
    name->setTextInteractionFlags(Qt::TextSelectableByMouse);
    texts->addWidget(name);
    QLabel *status = ViewStyle::textLabel(m_task.isEnabled ? QStringLiteral("Active") : QStringLiteral("Disabled"),
                                          QStringLiteral("detail-status"), ViewStyle::Selectable::no, header);
    ViewStyle::setTextColor(status, m_task.isEnabled ? ViewStyle::green() : ViewStyle::secondaryText());
    texts->addWidget(status);
    layout->addLayout(texts, 1);

    auto *toggle = new ToggleSwitch(QStringLiteral("Enabled"), header);
    ViewStyle::setIdentifier(toggle, QStringLiteral("detail-enabled-toggle"));
    toggle->setChecked(m_task.isEnabled);
    const QUuid id = m_task.id;
    connect(toggle, &ToggleSwitch::toggled, this, [this, id](bool enabled) { m_store.setEnabled(enabled, id); });
    layout->addWidget(toggle, 0, Qt::AlignTop);
    return header;
}

QWidget *TaskDetailView::buildActions(QWidget *page)
{
    auto *row = new QWidget(page);
    auto *layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(8);
    QPushButton *testRun =
        actionButton(QStringLiteral("play.fill"), QStringLiteral("Test Run"), QStringLiteral("detail-test-run"), row);
    connect(testRun, &QPushButton::clicked, this, &TaskDetailView::openTestRun);
    QPushButton *check =
        actionButton(QStringLiteral("checkmark.circle"), QStringLiteral("Check"), QStringLiteral("detail-check"), row);
    check->setToolTip(QStringLiteral("Check that the task runs when scheduled as it does in a Test Run."));
    connect(check, &QPushButton::clicked, this, &TaskDetailView::openCheck);
    // The real job, through the scheduler: recorded in the history, unlike a test run.
    QPushButton *runNow =
        actionButton(QStringLiteral("play.fill"), QStringLiteral("Run Now"), QStringLiteral("detail-run-now"), row);
    runNow->setEnabled(m_task.isEnabled);
    runNow->setToolTip(m_task.isEnabled ? QStringLiteral("Start the scheduled job now; the run is recorded.")
                                        : QStringLiteral("Enable the task to run its job."));
    connect(runNow, &QPushButton::clicked, this, [this] {
        m_store.startNow(m_task);
        QTimer::singleShot(1500, this, &TaskDetailView::refresh);
    });
    QPushButton *edit =
        actionButton(QStringLiteral("pencil"), QStringLiteral("Edit"), QStringLiteral("detail-edit"), row);
    connect(edit, &QPushButton::clicked, this, &TaskDetailView::editRequested);
    QPushButton *duplicate = actionButton(QStringLiteral("doc.on.doc"), QStringLiteral("Duplicate"),
                                          QStringLiteral("detail-duplicate"), row);
    connect(duplicate, &QPushButton::clicked, this, &TaskDetailView::duplicateRequested);
    QPushButton *remove =
        actionButton(QStringLiteral("trash"), QStringLiteral("Delete"), QStringLiteral("detail-delete"), row);
    connect(remove, &QPushButton::clicked, this, &TaskDetailView::deleteRequested);
    for (QPushButton *button : {testRun, check, runNow, edit, duplicate, remove}) {
        layout->addWidget(button);
    }
    layout->addStretch(1);
    return row;
}

QWidget *TaskDetailView::buildCheckResult(QWidget *page)
{
    const auto result = DoctorChecks::instance().lastResult(m_task.id);
    if (!result || result->ok()) {
        return nullptr;
    }
    auto *row = new QWidget(page);
    auto *layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(ViewStyle::iconLabel(QStringLiteral("exclamationmark.triangle"), ViewStyle::orange(), 14, row), 0,
                      Qt::AlignTop);
    QStringList titles;
    for (const DoctorProblem &problem : result->problems) {
        if (!titles.contains(DoctorSheet::kindTitle(problem.kind))) {
            titles << DoctorSheet::kindTitle(problem.kind);
        }
    }
    const qsizetype count = result->problems.size();
    QLabel *label = ViewStyle::textLabel(
        u"The last check found " % (count == 1 ? QStringLiteral("1 problem") : QString::number(count) % u" problems") %
            u": " % titles.join(u", ") % u". Check shows how to fix them.",
        QStringLiteral("detail-check-problems"), ViewStyle::Selectable::no, row);
    ViewStyle::setTextColor(label, ViewStyle::orange());
    layout->addWidget(label, 1);
    return row;
}

QWidget *TaskDetailView::buildCommand(QWidget *page)
{
    m_copyButton = new QToolButton;
    ViewStyle::setIdentifier(m_copyButton, QStringLiteral("detail-copy-command"));
    m_copyButton->setAutoRaise(true);
    m_copyButton->setToolTip(QStringLiteral("Copy"));
    connect(m_copyButton, &QToolButton::clicked, this, &TaskDetailView::copyCommand);
    QVBoxLayout *body = nullptr;
    QWidget *box = section(QStringLiteral("terminal"), QStringLiteral("Command"), page, &body, m_copyButton);
    QLabel *command = ViewStyle::codeLabel(m_task.command, box);
    command->setObjectName(QStringLiteral("detail-command"));
    body->addWidget(ViewStyle::codeBlock(command, box));
    return box;
}

void TaskDetailView::copyCommand()
{
    QGuiApplication::clipboard()->setText(m_task.command);
    m_showCopied = true;
    updateCopyButton();
    const int generation = ++m_copyGeneration;
    QTimer::singleShot(kCopiedMilliseconds, this, [this, generation] {
        if (generation == m_copyGeneration) {
            m_showCopied = false;
            updateCopyButton();
        }
    });
}

void TaskDetailView::updateCopyButton()
{
    if (!m_copyButton) {
        return;
    }
    if (m_showCopied) {
        m_copyButton->setIcon(Icons::symbol(QStringLiteral("checkmark"), ViewStyle::green()));
        m_copyButton->setText(QStringLiteral("Copied"));
        m_copyButton->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    } else {
        m_copyButton->setIcon(Icons::symbol(QStringLiteral("doc.on.doc")));
        m_copyButton->setText(QString());
        m_copyButton->setToolButtonStyle(Qt::ToolButtonIconOnly);
    }
}

QString TaskDetailView::detectShell(const std::optional<QString> &scriptText)
{
    if (!scriptText) {
        return QStringLiteral("Unknown (script not found)");
    }
    const QString firstLine = scriptText->section(u'\n', 0, 0);
    if (scriptText->isEmpty() || !firstLine.startsWith(u"#!")) {
        return QStringLiteral("Unknown");
    }
    const QString interpreter = firstLine.mid(2);
    QString name = interpreter.section(u'/', -1);
    if (scriptText->contains(u"source ~/.zprofile") || scriptText->contains(u"source ~/.zshrc") ||
        scriptText->contains(u"source ~/.profile") || scriptText->contains(u"source ~/.bash_profile")) {
        name += u" (with shell profile)";
    }
    return name;
}

QWidget *TaskDetailView::buildEnvironment(QWidget *page)
{
    QVBoxLayout *body = nullptr;
    QWidget *box = section(QStringLiteral("folder.badge.gearshape"), QStringLiteral("Environment"), page, &body);
    auto *grid = new QGridLayout;
    grid->setHorizontalSpacing(10);
    grid->setVerticalSpacing(6);
    grid->setColumnStretch(1, 1);
    auto addRow = [&](const QString &label, const QString &value, const QString &name, bool monospaced) {
        QLabel *key = ViewStyle::textLabel(label, name % u"-label", ViewStyle::Selectable::no, box);
        ViewStyle::setTextColor(key, ViewStyle::secondaryText());
        key->setWordWrap(false);
        QLabel *text = monospaced ? ViewStyle::codeLabel(value, box)
                                  : ViewStyle::textLabel(value, name, ViewStyle::Selectable::no, box);
        text->setObjectName(name);
        text->setTextInteractionFlags(Qt::TextSelectableByMouse);
        const int row = grid->rowCount();
        grid->addWidget(key, row, 0, Qt::AlignLeft | Qt::AlignTop);
        grid->addWidget(text, row, 1);
    };
    if (m_task.workingDirectory) {
        addRow(QStringLiteral("Directory:"), *m_task.workingDirectory, QStringLiteral("detail-directory"), true);
    }
    if (m_task.envFilePath) {
        addRow(QStringLiteral(".env:"), *m_task.envFilePath, QStringLiteral("detail-env-file"), true);
    }
    const std::optional<QString> script = readText(m_store.launchdServiceForViews().scriptPath(m_task));
    addRow(QStringLiteral("Shell:"), detectShell(script), QStringLiteral("detail-shell"), false);
    body->addLayout(grid);
    return box;
}

QWidget *TaskDetailView::buildSchedule(QWidget *page)
{
    QVBoxLayout *body = nullptr;
    QWidget *box = section(QStringLiteral("calendar.badge.clock"), QStringLiteral("Schedule"), page, &body);
    body->addWidget(ViewStyle::textLabel(m_task.schedule.description(), QStringLiteral("detail-schedule"),
                                         ViewStyle::Selectable::no, box));
    if (m_task.wakeBeforeRun) {
        const bool active = m_store.scheduler().isWakeActive(m_task);
        auto *row = new QHBoxLayout;
        row->setSpacing(6);
        const QColor tint = active ? QColor() : ViewStyle::orange();
        row->addWidget(ViewStyle::iconLabel(
            active ? QStringLiteral("power") : QStringLiteral("exclamationmark.triangle"), tint, 14, box));
        const bool mac = m_store.scheduler().kind() == JobScheduler::Kind::launchd;
        QLabel *text = ViewStyle::textLabel(
            active ? (mac ? QStringLiteral("Wakes Mac 5 min before") : QStringLiteral("Wakes the computer for the run"))
                   : QStringLiteral("Wake requested but not active in system"),
            QStringLiteral("detail-wake-status"), ViewStyle::Selectable::no, box);
        text->setFont(ViewStyle::captionFont());
        ViewStyle::setTextColor(text, active ? ViewStyle::secondaryText() : ViewStyle::orange());
        row->addWidget(text, 1);
        body->addLayout(row);
    }
    return box;
}

QWidget *TaskDetailView::buildHistory(QWidget *page)
{
    auto *refreshButton = new QToolButton;
    ViewStyle::setIdentifier(refreshButton, QStringLiteral("detail-refresh-history"));
    refreshButton->setIcon(Icons::symbol(QStringLiteral("arrow.clockwise")));
    refreshButton->setAutoRaise(true);
    refreshButton->setToolTip(QStringLiteral("Refresh"));
    connect(refreshButton, &QToolButton::clicked, this, &TaskDetailView::refresh);
    QVBoxLayout *body = nullptr;
    QWidget *box = section(QStringLiteral("list.bullet.rectangle"), QStringLiteral("Execution History"), page, &body,
                           refreshButton);

    // Only the shown runs are parsed, from the end of the file.
    const RunHistory::RecentRuns recent =
        RunHistory::lastRuns(m_store.launchdService().runsPath(m_task), int(kShownRuns));
    const QList<TaskRunRecord> &runs = recent.runs;
    if (runs.isEmpty()) {
        body->addWidget(missingLabel(QStringLiteral("No runs recorded yet."), QStringLiteral("detail-no-runs"), box));
        return box;
    }
    const QLocale locale;
    for (qsizetype i = 0; i < runs.size(); ++i) {
        const TaskRunRecord &run = runs.at(i);
        auto *row = new QWidget(box);
        row->setObjectName(QStringLiteral("detail-run-row"));
        auto *layout = new QHBoxLayout(row);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->setSpacing(8);
        const bool ok = run.exitCode == 0;
        QLabel *icon =
            ViewStyle::iconLabel(ok ? QStringLiteral("checkmark.circle.fill") : QStringLiteral("xmark.circle.fill"),
                                 ok ? ViewStyle::green() : ViewStyle::red(), 14, row);
        icon->setObjectName(QStringLiteral("detail-run-icon"));
        icon->setAccessibleName(ok ? QStringLiteral("checkmark.circle.fill") : QStringLiteral("xmark.circle.fill"));
        layout->addWidget(icon);
        const QDateTime started = runDateTime(run.startedAt).toLocalTime();
        QLabel *date = ViewStyle::textLabel(locale.toString(started.date(), QLocale::ShortFormat) % u' ' %
                                                locale.toString(started.time(), QLocale::ShortFormat),
                                            QStringLiteral("detail-run-date"), ViewStyle::Selectable::no, row);
        date->setWordWrap(false);
        layout->addWidget(date);
        layout->addStretch(1);
        QLabel *exit = ViewStyle::captionLabel(u"Exit: " % QString::number(run.exitCode), row);
        exit->setObjectName(QStringLiteral("detail-run-exit"));
        layout->addWidget(exit);
        body->addWidget(row);
    }
    if (recent.total > kShownRuns) {
        body->addWidget(missingLabel(QString::number(recent.total - kShownRuns) % u" more runs not shown",
                                     QStringLiteral("detail-more-runs"), box));
    }
    return box;
}

QWidget *TaskDetailView::buildOutput(QWidget *page)
{
    QVBoxLayout *body = nullptr;
    QWidget *box = section(QStringLiteral("doc.text"), QStringLiteral("Output"), page, &body);

    auto *tabs = new QHBoxLayout;
    tabs->setSpacing(0);
    auto *group = new QButtonGroup(box);
    for (const TaskStore::LogStream stream :
         {TaskStore::LogStream::standardOutput, TaskStore::LogStream::standardError}) {
        auto *button = new QPushButton(streamName(stream), box);
        ViewStyle::setIdentifier(button, u"detail-log-" % streamName(stream));
        button->setCheckable(true);
        button->setChecked(stream == m_selectedLogTab);
        button->setMinimumWidth(72);
        group->addButton(button);
        connect(button, &QPushButton::clicked, this, [this, stream] { setSelectedLogTab(stream); });
        tabs->addWidget(button);
    }
    tabs->addStretch(1);
    body->addLayout(tabs);

    const QString log = m_store.readLog(m_task, m_selectedLogTab, kLogLines);
    if (log.isEmpty()) {
        body->addWidget(
            missingLabel(u"No " % streamName(m_selectedLogTab) % u" output.", QStringLiteral("detail-log-text"), box));
        return box;
    }
    const QStringList lines = log.split(u'\n');
    QLabel *text =
        ViewStyle::codeLabel(lines.mid(std::max<qsizetype>(0, lines.size() - kShownLogLines)).join(u'\n'), box);
    text->setObjectName(QStringLiteral("detail-log-text"));
    body->addWidget(ViewStyle::codeBlock(text, box));
    if (lines.size() > kShownLogLines) {
        auto *full = new QPushButton(u"Show full log (" % QString::number(lines.size()) % u" lines)", box);
        ViewStyle::setIdentifier(full, QStringLiteral("detail-show-full-log"));
        full->setFlat(true);
        ViewStyle::setTextColor(full, ViewStyle::accent());
        full->setCursor(Qt::PointingHandCursor);
        connect(full, &QPushButton::clicked, this, &TaskDetailView::showFullLog);
        auto *row = new QHBoxLayout;
        row->addWidget(full);
        row->addStretch(1);
        body->addLayout(row);
    }
    return box;
}

void TaskDetailView::showFullLog()
{
    auto *view =
        new FullLogView(streamName(m_selectedLogTab), m_store.readLog(m_task, m_selectedLogTab, kFullLogLines), this);
    view->setAttribute(Qt::WA_DeleteOnClose);
    view->open();
}

DoctorSheet *TaskDetailView::openCheck()
{
    auto *sheet =
        new DoctorSheet(DoctorChecks::instance(), m_task, m_store.sharedScheduler(), m_store.launchdService(), this);
    sheet->setAttribute(Qt::WA_DeleteOnClose);
    sheet->open();
    return sheet;
}

void TaskDetailView::openTestRun()
{
    auto *sheet =
        new TestRunView(m_task.command, m_task.workingDirectory, m_task.envFilePath, m_task.useLoginShell, this);
    sheet->setAttribute(Qt::WA_DeleteOnClose);
    sheet->open();
}

QWidget *TaskDetailView::buildFile(QWidget *page, const QString &symbol, const QString &title, const QString &path,
                                   const QString &missingText, const QString &name)
{
    QVBoxLayout *body = nullptr;
    QWidget *box = section(symbol, title, page, &body);
    const std::optional<QString> text = readText(path);
    if (!text) {
        body->addWidget(missingLabel(missingText, name, box));
        return box;
    }
    QLabel *label = ViewStyle::codeLabel(*text, box);
    label->setObjectName(name);
    body->addWidget(ViewStyle::codeBlock(label, box));
    return box;
}
