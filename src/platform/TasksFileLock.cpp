#include "platform/TasksFileLock.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

int tryLock(int fd, int operation)
{
    int result = 0;
    do {
        result = ::flock(fd, operation | LOCK_NB);
    } while (result != 0 && errno == EINTR);
    return result;
}

QByteArray holderLine()
{
    QString name = u"?"_s;
    if (QCoreApplication::instance()) {
        name = QFileInfo(QCoreApplication::applicationFilePath()).fileName();
    }
    return QByteArray::number(qint64(::getpid())) + ' ' + name.toUtf8() + '\n';
}

QString describeHolder(const QString &path)
{
    QFile file(path);
    QByteArray line;
    if (file.open(QIODevice::ReadOnly)) {
        line = file.readLine(4096).trimmed();
    }
    const qsizetype space = line.indexOf(' ');
    if (space <= 0) {
        return u"the tasks file is locked by another process"_s;
    }
    return u"the tasks file is locked by process " % QString::fromUtf8(line.left(space)) % u" (" %
           QString::fromUtf8(line.mid(space + 1)) % u')';
}

} // namespace

TasksFileLock::~TasksFileLock()
{
    if (m_fd >= 0) {
        ::close(m_fd); // closing the last descriptor lets go of the lock
    }
}

TasksFileLock::TasksFileLock(TasksFileLock &&other) noexcept : m_fd(other.m_fd), m_busyText(std::move(other.m_busyText))
{
    other.m_fd = -1;
}

TasksFileLock &TasksFileLock::operator=(TasksFileLock &&other) noexcept
{
    if (this != &other) {
        if (m_fd >= 0) {
            ::close(m_fd);
        }
        m_fd = other.m_fd;
        m_busyText = std::move(other.m_busyText);
        other.m_fd = -1;
    }
    return *this;
}

QString TasksFileLock::lockFilePath(Kind kind, const QString &tasksFile)
{
    // Hidden, beside the file: they stay there, empty but for the holder's line.
    const QFileInfo file(tasksFile);
    return file.absolutePath() % u"/." % file.fileName() % (kind == Kind::write ? u".lock"_s : u".changing"_s);
}

TasksFileLock TasksFileLock::take(Kind kind, const QString &tasksFile, std::chrono::milliseconds wait)
{
    const QString path = lockFilePath(kind, tasksFile);
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0) {
        return {};
    }
    const int operation = kind == Kind::change ? LOCK_SH : LOCK_EX;
    const auto deadline =
        std::chrono::steady_clock::now() + (kind == Kind::sweep ? std::chrono::milliseconds(0) : wait);
    while (tryLock(fd, operation) != 0) {
        if (errno != EWOULDBLOCK || std::chrono::steady_clock::now() >= deadline) {
            const bool contended = errno == EWOULDBLOCK;
            ::close(fd);
            TasksFileLock none;
            if (contended) {
                none.m_busyText = describeHolder(path);
            }
            return none;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    if (kind != Kind::change) {
        const QByteArray line = holderLine();
        // Only for the message of a writer that waits: a failure here changes nothing. Written over
        // the last holder's line, then cut to length: emptying the file first would free its block
        // and take a new one each time, and on a disk mounted with discard the truncation waits for
        // the device (half a millisecond at each start, seen here).
        if (::pwrite(fd, line.constData(), size_t(line.size()), 0) == line.size()) {
            struct stat status {
            };
            if (::fstat(fd, &status) == 0 && status.st_size > line.size()) {
                (void)!::ftruncate(fd, line.size());
            }
        }
    }
    return TasksFileLock(fd);
}
