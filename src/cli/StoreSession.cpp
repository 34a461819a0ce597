#include "cli/StoreSession.h"

#include "cli/CommandContext.h"
#include "platform/ChangeNotice.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace {

// Blocks until no other tool holds the lock: the folder of the tasks file itself, so that no
// file is left behind and a command that fails changes nothing there. Where the folder cannot
// be opened the session goes on alone: the save itself would fail there anyway.
int takeLock(const QString &tasksFile)
{
    const QString folder = QFileInfo(tasksFile).absolutePath();
    QDir().mkpath(folder);
    const int fd = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) {
        return -1;
    }
    int result = 0;
    do {
        result = ::flock(fd, LOCK_EX);
    } while (result != 0 && errno == EINTR);
    if (result != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

} // namespace

StoreSession::StoreSession(CommandContext &context) : m_context(context)
{
    TaskStore::Options options = TaskStore::defaultOptions();
    options.changeNotice = nullptr; // the tool posts, it does not listen
    options.cleanUpAfterFailedLoad = false;
    options.keepOutsideChanges = true;
    m_lock = takeLock(options.tasksFile);
    auto store = std::make_unique<TaskStore>(std::move(options));
    if (store->fileUnreadable()) {
        m_context.fail(store->lastError().value_or(u"Failed to load tasks"_qs));
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

StoreSession::~StoreSession()
{
    m_store.reset();
    if (m_lock >= 0) {
        ::close(m_lock);
    }
}

int StoreSession::finish()
{
    if (m_saved) {
        ChangeNotice::system()->post();
    }
    return m_failed ? 1 : 0;
}
