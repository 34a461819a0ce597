#pragma once

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>

// A `systemd --user` of the test's own, run as a child with the given HOME and a private
// XDG_RUNTIME_DIR, for reading timers back from a real manager. systemd wants /run/systemd/system
// to exist; when this makes it, it removes it again.
class PrivateUserManager
{
public:
    explicit PrivateUserManager(const QString &home) : m_home(home)
    {
        m_runtime = m_dir.path() + QStringLiteral("/run");
        QDir().mkpath(m_runtime);
        QFile::setPermissions(m_runtime, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        if (!QFileInfo::exists(QStringLiteral("/run/systemd/system"))) {
            m_madeRunFolder = QDir().mkpath(QStringLiteral("/run/systemd/system"));
        }
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("HOME"), home);
        env.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_runtime);
        env.insert(QStringLiteral("XDG_CONFIG_HOME"), home + QStringLiteral("/.config"));
        m_process.setProcessEnvironment(env);
        m_process.setStandardOutputFile(m_dir.path() + QStringLiteral("/manager.log"));
        m_process.setStandardErrorFile(m_dir.path() + QStringLiteral("/manager.log"));
        m_process.start(QStringLiteral("/usr/lib/systemd/systemd"), {QStringLiteral("--user")});
        m_process.waitForStarted(10000);
        QElapsedTimer waited;
        waited.start();
        while (m_process.state() == QProcess::Running && waited.elapsed() < 15000) {
            if (systemctl({QStringLiteral("is-system-running")}) != -2 &&
                QFileInfo::exists(m_runtime + QStringLiteral("/systemd/private"))) {
                m_running = true;
                break;
            }
            QThread::msleep(100);
        }
    }
    ~PrivateUserManager()
    {
        m_process.terminate();
        if (!m_process.waitForFinished(5000)) {
            m_process.kill();
            m_process.waitForFinished(5000);
        }
        if (m_madeRunFolder) {
            QDir().rmdir(QStringLiteral("/run/systemd/system"));
        }
    }
    PrivateUserManager(const PrivateUserManager &) = delete;
    PrivateUserManager &operator=(const PrivateUserManager &) = delete;

    bool isRunning() const { return m_running; }
    QString runtimeDir() const { return m_runtime; }
    QString log() const
    {
        QFile file(m_dir.path() + QStringLiteral("/manager.log"));
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }

    // `systemctl --user ARGUMENTS` against this manager; its exit status, -2 when it could not run.
    int systemctl(const QStringList &arguments) const
    {
        QProcess process;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_runtime);
        env.insert(QStringLiteral("HOME"), m_home);
        process.setProcessEnvironment(env);
        process.start(QStringLiteral("systemctl"), QStringList{QStringLiteral("--user")} + arguments);
        if (!process.waitForFinished(15000) || process.exitStatus() != QProcess::NormalExit) {
            return -2;
        }
        return process.exitCode();
    }

private:
    QTemporaryDir m_dir;
    QString m_home;
    QString m_runtime;
    QProcess m_process;
    bool m_madeRunFolder = false;
    bool m_running = false;
};
