#include "ui/DoctorSheet.h"

#include "doctor/DoctorChecks.h"
#include "ui/ViewStyle.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollArea>
#include <QTimer>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

QString sideText(const std::optional<ProbeScript::Answer> &answer)
{
    if (!answer) {
        return u"(no answer)"_s;
    }
    return u"PATH=" % answer->path % u"\nshell: " % answer->shell % u"\nfolder: " % answer->cwd;
}

} // namespace

DoctorSheet::DoctorSheet(DoctorChecks &checks, const ScheduledTask &task, std::shared_ptr<JobScheduler> scheduler,
                         LaunchdService files, QWidget *parent)
    : QDialog(parent), m_checks(checks), m_task(task), m_scheduler(std::move(scheduler)), m_files(std::move(files)),
      m_runningRow(new QWidget), m_busy(new QProgressBar), m_headline(new QLabel), m_report(new QWidget),
      m_reportLayout(new QVBoxLayout(m_report)), m_again(new QPushButton(u"Check Again"_s)),
      m_close(new QPushButton(u"Close"_s))
{
    setWindowTitle(u"Check"_s);
    setObjectName(u"doctor-sheet"_s);
    resize(620, 520);
    setMinimumSize(420, 300);

    auto *title = ViewStyle::sheetTitle(u"Check: "_s + m_task.name);
    title->setObjectName(u"doctor-title"_s);
    auto *caption = ViewStyle::formCaption(u"Will it run when scheduled as it does in a Test Run?"_s);

    m_busy->setRange(0, 0);
    m_busy->setTextVisible(false);
    m_busy->setFixedSize(64, 6);
    auto *runningText = new QLabel(u"Checking through the scheduler..."_s);
    runningText->setObjectName(u"doctor-running"_s);
    ViewStyle::makeSmall(runningText);
    auto *running = new QHBoxLayout(m_runningRow);
    running->setContentsMargins(0, 0, 0, 0);
    running->addWidget(m_busy);
    running->addWidget(runningText);
    running->addStretch();

    m_headline->setObjectName(u"doctor-headline"_s);
    m_headline->setFont(ViewStyle::headlineFont());
    m_reportLayout->setContentsMargins(0, 0, 0, 0);
    m_reportLayout->setSpacing(10);
    auto *scroll = new QScrollArea;
    scroll->setWidget(m_report);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);

    m_again->setObjectName(u"doctor-check-again"_s);
    m_again->setAutoDefault(false);
    m_close->setObjectName(u"doctor-close"_s);
    m_close->setDefault(true);
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(m_again);
    buttons->addStretch();
    buttons->addWidget(m_close);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 14, 16, 14);
    layout->setSpacing(10);
    layout->addWidget(title);
    layout->addWidget(caption);
    layout->addWidget(m_runningRow);
    layout->addWidget(m_headline);
    layout->addWidget(scroll, 1);
    layout->addLayout(buttons);

    connect(m_close, &QPushButton::clicked, this, &QDialog::accept);
    connect(m_again, &QPushButton::clicked, this, &DoctorSheet::start);
    connect(&m_checks, &DoctorChecks::finished, this, [this](const QUuid &id) {
        if (id != m_task.id) {
            return;
        }
        m_waiting = false;
        if (const auto result = m_checks.lastResult(id)) {
            showResult(*result);
        }
        updateState();
    });
    updateState();
}

void DoctorSheet::showEvent(QShowEvent *event)
{
    QDialog::showEvent(event);
    if (!m_started) {
        m_started = true;
        QTimer::singleShot(0, this, &DoctorSheet::start);
    }
}

void DoctorSheet::start()
{
    m_started = true;
    m_waiting = true;
    m_checks.start(m_task, m_scheduler, m_files);
    updateState();
}

void DoctorSheet::updateState()
{
    const bool checking = isChecking();
    m_runningRow->setVisible(checking);
    m_again->setEnabled(!checking);
    m_headline->setVisible(!checking && !m_headline->text().isEmpty());
}

QString DoctorSheet::kindTitle(const QString &kind)
{
    static const QHash<QString, QString> titles{
        {u"command-not-found"_s, u"Command not found when scheduled"_s},
        {u"path-only-interactive"_s, u"Another program when scheduled"_s},
        {u"missing-working-directory"_s, u"Working folder missing"_s},
        {u"missing-env-file"_s, u".env file missing"_s},
        {u"script-not-executable"_s, u"Script not executable"_s},
        {u"script-missing"_s, u"Script missing"_s},
        {u"job-not-loaded"_s, u"Job not loaded"_s},
        {u"shell-missing"_s, u"Shell missing"_s},
        {u"probe-failed"_s, u"No answer from the probe"_s},
    };
    return titles.value(kind, kind);
}

QPair<QString, QString> DoctorSheet::splitFix(const QString &text)
{
    const qsizetype at = text.lastIndexOf(u"; "_s);
    if (at < 0) {
        return {text, {}};
    }
    QString fix = text.mid(at + 2);
    if (!fix.isEmpty()) {
        fix[0] = fix[0].toUpper();
    }
    return {text.left(at) + u'.', fix + u'.'};
}

void DoctorSheet::showResult(const Doctor::Result &result)
{
    while (QLayoutItem *item = m_reportLayout->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    const qsizetype count = result.problems.size();
    m_headline->setText(result.ok()
                            ? u"No problems: the task will run when scheduled as it does in a Test Run."_s
                            : (count == 1 ? u"1 problem found"_s : QString::number(count) + u" problems found"_s));
    ViewStyle::setTextColor(m_headline, result.ok() ? ViewStyle::green() : ViewStyle::red());
    if (!result.note.isEmpty()) {
        QLabel *note = ViewStyle::textLabel(result.note, u"doctor-note"_s, ViewStyle::Selectable::yes, m_report);
        ViewStyle::setTextColor(note, ViewStyle::secondaryText());
        ViewStyle::makeSmall(note);
        m_reportLayout->addWidget(note);
    }
    for (int i = 0; i < count; ++i) {
        m_reportLayout->addWidget(problemBox(result.problems.at(i), i));
    }
    m_reportLayout->addWidget(environmentBox(result));
    m_reportLayout->addStretch(1);
}

QWidget *DoctorSheet::problemBox(const DoctorProblem &problem, int index)
{
    auto *box = new QFrame(m_report);
    box->setObjectName(u"doctor-problem-"_s + QString::number(index));
    box->setFrameShape(QFrame::StyledPanel);
    auto *layout = new QVBoxLayout(box);
    layout->setContentsMargins(10, 8, 10, 8);
    layout->setSpacing(4);
    auto *titleRow = new QHBoxLayout;
    titleRow->addWidget(ViewStyle::iconLabel(u"exclamationmark.triangle"_s, ViewStyle::orange(), 14, box));
    QLabel *title =
        ViewStyle::textLabel(kindTitle(problem.kind), u"doctor-problem-title"_s, ViewStyle::Selectable::yes, box);
    title->setFont(ViewStyle::headlineFont());
    titleRow->addWidget(title, 1);
    layout->addLayout(titleRow);
    const auto [what, fix] = splitFix(problem.text);
    layout->addWidget(ViewStyle::textLabel(what, u"doctor-problem-text"_s, ViewStyle::Selectable::yes, box));
    if (!fix.isEmpty()) {
        QLabel *fixLabel =
            ViewStyle::textLabel(u"Fix: "_s + fix, u"doctor-problem-fix"_s, ViewStyle::Selectable::yes, box);
        fixLabel->setFont(ViewStyle::mediumFont());
        layout->addWidget(fixLabel);
    }
    return box;
}

QWidget *DoctorSheet::environmentBox(const Doctor::Result &result)
{
    auto *box = new QWidget(m_report);
    auto *layout = new QVBoxLayout(box);
    layout->setContentsMargins(0, 6, 0, 0);
    layout->setSpacing(4);
    layout->addWidget(ViewStyle::sectionTitle(u"When scheduled"_s, box));
    QLabel *scheduled = ViewStyle::codeLabel(sideText(result.scheduled), box);
    scheduled->setObjectName(u"doctor-scheduled"_s);
    layout->addWidget(ViewStyle::codeBlock(scheduled, box));
    layout->addWidget(ViewStyle::sectionTitle(u"In a Test Run"_s, box));
    QLabel *interactive = ViewStyle::codeLabel(sideText(result.interactive), box);
    interactive->setObjectName(u"doctor-interactive"_s);
    layout->addWidget(ViewStyle::codeBlock(interactive, box));
    return box;
}
