#include "PrivateSystemdManager.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QThread>
#include <QTimeZone>

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

const QString kRunSystemd = u"/run/systemd/system"_s;
const QString kLockFile = u"/run/moxley-test-systemd.lock"_s;
const QString kUsersFile = u"/run/moxley-test-systemd.users"_s;
const QString kCreatedMarker = u"/run/moxley-test-systemd.created"_s;
const QList<QByteArray> kVariables{"XDG_RUNTIME_DIR", "XDG_CONFIG_HOME", "MOXLEY_SCHEDULER",
                                   "DBUS_SESSION_BUS_ADDRESS"};

QString managerBinary()
{
    for (const QString &path : {u"/usr/lib/systemd/systemd"_s, u"/lib/systemd/systemd"_s}) {
        if (QFileInfo(path).isExecutable()) {
            return path;
        }
    }
    return {};
}

// Holds an exclusive lock on the lock file for its lifetime.
class FileLock
{
public:
    FileLock() : m_fd(::open(kLockFile.toLocal8Bit().constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600))
    {
        if (m_fd >= 0) {
            ::flock(m_fd, LOCK_EX);
        }
    }
    ~FileLock()
    {
        if (m_fd >= 0) {
            ::close(m_fd);
        }
    }
    FileLock(const FileLock &) = delete;
    FileLock &operator=(const FileLock &) = delete;

private:
    int m_fd;
};

// The processes in the users file that still live, without `except`.
QStringList livingUsers(qint64 except)
{
    QFile file(kUsersFile);
    QStringList living;
    if (file.open(QIODevice::ReadOnly)) {
        for (const QByteArray &line : file.readAll().split('\n')) {
            const qint64 pid = line.trimmed().toLongLong();
            if (pid > 0 && pid != except && ::kill(pid_t(pid), 0) == 0) {
                living << QString::number(pid);
            }
        }
    }
    return living;
}

void writeUsers(const QStringList &users)
{
    QFile file(kUsersFile);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        file.write(users.join(u'\n').toUtf8());
    }
}

} // namespace

bool PrivateSystemdManager::linkSystemctlInto(const QString &sysroot)
{
    const QString real = QStandardPaths::findExecutable(u"systemctl"_s);
    return !real.isEmpty() && QDir().mkpath(sysroot + u"/usr/bin"_s) &&
           QFile::link(real, sysroot + u"/usr/bin/systemctl"_s);
}

QString PrivateSystemdManager::unavailableReason()
{
    if (::geteuid() != 0) {
        return u"needs root: a private user manager needs /run/systemd/system, which only root can create"_s;
    }
    if (managerBinary().isEmpty()) {
        return u"systemd is not installed (no /usr/lib/systemd/systemd)"_s;
    }
    if (QStandardPaths::findExecutable(u"systemctl"_s).isEmpty()) {
        return u"systemctl is not installed"_s;
    }
    return {};
}

PrivateSystemdManager::PrivateSystemdManager(const QString &home) : m_home(home), m_runtimeDir(home + u"/../run"_s)
{
    m_runtimeDir = QDir::cleanPath(m_runtimeDir);
    for (const QByteArray &name : kVariables) {
        m_saved.append({name, qEnvironmentVariableIsSet(name.constData())
                                  ? std::optional<QByteArray>(qgetenv(name.constData()))
                                  : std::nullopt});
    }
    QDir().mkpath(m_runtimeDir);
    QFile::setPermissions(m_runtimeDir, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QDir().mkpath(unitDir());
    qputenv("XDG_RUNTIME_DIR", m_runtimeDir.toUtf8());
    qputenv("XDG_CONFIG_HOME", (m_home + u"/.config"_s).toUtf8());
    qputenv("MOXLEY_SCHEDULER", "systemd");
    qunsetenv("DBUS_SESSION_BUS_ADDRESS");
    if (const QString reason = unavailableReason(); !reason.isEmpty()) {
        m_failure = reason;
        return;
    }
    claimRunSystemd();

    QProcessEnvironment environment;
    environment.insert(u"PATH"_s, u"/usr/local/bin:/usr/bin:/bin"_s);
    environment.insert(u"HOME"_s, m_home);
    environment.insert(u"XDG_RUNTIME_DIR"_s, m_runtimeDir);
    environment.insert(u"XDG_CONFIG_HOME"_s, m_home + u"/.config"_s);
    environment.insert(u"LANG"_s, u"C.UTF-8"_s);
    m_process.setProcessEnvironment(environment);
    m_process.setProcessChannelMode(QProcess::MergedChannels);
    m_process.start(managerBinary(), {u"--user"_s});
    if (!m_process.waitForStarted(10000)) {
        m_failure = u"systemd --user did not start: "_s + m_process.errorString();
        return;
    }
    QElapsedTimer clock;
    clock.start();
    QString state;
    while (clock.elapsed() < 30000) {
        state = systemctl({u"is-system-running"_s}).out.trimmed();
        if (state == u"running" || state == u"degraded") {
            return;
        }
        if (m_process.state() == QProcess::NotRunning) {
            break;
        }
        QThread::msleep(100);
    }
    m_failure = u"systemd --user did not reach running (state: "_s + state + u"); its log:\n"_s +
                QString::fromUtf8(m_process.readAll());
}

PrivateSystemdManager::~PrivateSystemdManager()
{
    if (m_process.state() != QProcess::NotRunning) {
        m_process.terminate(); // SIGTERM: a user manager exits cleanly
        if (!m_process.waitForFinished(15000)) {
            m_process.kill();
            m_process.waitForFinished(5000);
        }
    }
    if (m_claimed) {
        releaseRunSystemd();
    }
    for (const auto &[name, value] : m_saved) {
        if (value) {
            qputenv(name.constData(), *value);
        } else {
            qunsetenv(name.constData());
        }
    }
}

void PrivateSystemdManager::claimRunSystemd()
{
    FileLock lock;
    if (!QFileInfo::exists(kRunSystemd)) {
        QDir().mkpath(kRunSystemd);
        QFile marker(kCreatedMarker);
        if (marker.open(QIODevice::WriteOnly)) {
            marker.write("made by a Moxley test\n");
        }
    }
    QStringList users = livingUsers(0);
    users << QString::number(::getpid());
    writeUsers(users);
    m_claimed = true;
}

void PrivateSystemdManager::releaseRunSystemd()
{
    FileLock lock;
    const QStringList users = livingUsers(::getpid());
    writeUsers(users);
    // Only a folder a test made goes, and only when no test process still needs it.
    if (users.isEmpty() && QFileInfo::exists(kCreatedMarker)) {
        QDir().rmdir(kRunSystemd);
        QFile::remove(kCreatedMarker);
        QFile::remove(kUsersFile);
    }
}

PrivateSystemdManager::Reply PrivateSystemdManager::systemctl(const QStringList &arguments) const
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"XDG_RUNTIME_DIR"_s, m_runtimeDir);
    environment.insert(u"TZ"_s, u"UTC"_s);
    environment.insert(u"SYSTEMD_PAGER"_s, QString());
    environment.remove(u"DBUS_SESSION_BUS_ADDRESS"_s);
    process.setProcessEnvironment(environment);
    process.start(u"systemctl"_s, QStringList{u"--user"_s, u"--no-pager"_s} + arguments);
    Reply reply;
    if (!process.waitForStarted(10000) || !process.waitForFinished(60000)) {
        reply.err = process.errorString();
        return reply;
    }
    reply.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    reply.out = QString::fromUtf8(process.readAllStandardOutput());
    reply.err = QString::fromUtf8(process.readAllStandardError());
    return reply;
}

QString PrivateSystemdManager::property(const QString &unit, const QString &name) const
{
    return systemctl({u"show"_s, u"-p"_s, name, u"--value"_s, unit}).out.trimmed();
}

std::optional<QDateTime> PrivateSystemdManager::parseTime(const QString &text)
{
    const QStringList words = text.simplified().split(u' ');
    if (words.size() < 4 || words.at(3) != u"UTC") {
        return std::nullopt;
    }
    QDateTime when = QDateTime::fromString(words.at(1) + u' ' + words.at(2), u"yyyy-MM-dd HH:mm:ss"_s);
    if (!when.isValid()) {
        return std::nullopt;
    }
    when.setTimeZone(QTimeZone::utc());
    return when;
}

QStringList PrivateSystemdManager::loadedUnits() const
{
    QStringList names;
    const QString out = systemctl({u"list-units"_s, u"--all"_s, u"--no-legend"_s, u"--plain"_s}).out;
    for (const QString &line : out.split(u'\n', Qt::SkipEmptyParts)) {
        names << line.simplified().section(u' ', 0, 0);
    }
    return names;
}
