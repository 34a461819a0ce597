#include "cli/StoreSession.h"

#include "cli/CommandContext.h"
#include "cli/ProgressLine.h"
#include "platform/ChangeNotice.h"
#include "platform/TasksFileLock.h"

#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;

StoreSession::StoreSession(CommandContext &context) : m_context(context)
{
    TaskStore::Options options = TaskStore::defaultOptions();
    options.changeNotice = nullptr; // the tool posts, it does not listen
    options.cleanUpAfterFailedLoad = false;
    options.keepOutsideChanges = true;
    options.scheduler = context.scheduler();
    if (ProgressLine::isTerminal(context.err)) {
        // Reinstalling thousands of jobs takes a while; a person at a terminal is told how far it got.
        options.refreshProgress = [line = std::make_shared<ProgressLine>(context.err)](
                                      qsizetype done, qsizetype total) { line->show(done, total); };
    }
    // Nothing is done while another writer holds the file for longer than the wait: the lock is
    // tried once here, before anything is swept or installed, and let go at once.
    QDir().mkpath(QFileInfo(options.tasksFile).absolutePath());
    if (const TasksFileLock lock = TasksFileLock::take(TasksFileLock::Kind::write, options.tasksFile); lock.busy()) {
        m_context.fail(lock.busyText());
        return;
    }
    auto store = std::make_unique<TaskStore>(std::move(options));
    if (store->fileUnreadable()) {
        m_context.fail(store->lastError().value_or(u"Failed to load tasks"_s));
        return;
    }
    // Start-up drops its own install errors; from here on, every failure is the command's.
    store->clearLastError();
    store->clearLastWarning();
    TaskStore *raw = store.get();
    QObject::connect(raw, &TaskStore::lastErrorChanged, raw, [this, raw] {
        if (raw->lastError()) {
            m_failed = true;
            m_context.fail(*raw->lastError());
        }
    });
    QObject::connect(raw, &TaskStore::lastWarningChanged, raw, [this, raw] {
        if (raw->lastWarning()) {
            m_context.notice(*raw->lastWarning());
        }
    });
    QObject::connect(raw, &TaskStore::saved, raw, [this] { m_saved = true; });
    m_store = std::move(store);
}

StoreSession::~StoreSession() = default;

int StoreSession::finish()
{
    if (m_saved) {
        ChangeNotice::system()->post();
    }
    return m_failed ? 1 : 0;
}
