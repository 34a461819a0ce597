#pragma once

#include <QByteArray>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

// A private world for one test: a temporary HOME, data folder, launch-agents folder and
// sysroot (MOXLEY_SYSROOT), set in this process's environment and handed to child processes.
// The previous environment comes back when the sandbox goes.
class Sandbox
{
public:
    Sandbox();
    ~Sandbox();
    Sandbox(const Sandbox &) = delete;
    Sandbox &operator=(const Sandbox &) = delete;

    bool isValid() const { return m_dir.isValid(); }
    QString root() const { return m_dir.path(); }
    QString home() const;
    QString dataDir() const; // where the app keeps tasks.json, Scripts and Logs
    QString tasksFile() const;
    QString scriptsDir() const;
    QString logDir() const;
    QString launchAgentsDir() const; // ~/Library/LaunchAgents
    QString sysroot() const;

    // Writes a file (and its folders); `mode` as octal permissions, e.g. 0755.
    static void writeFile(const QString &path, const QByteArray &bytes, int mode = 0644);
    static QByteArray readFile(const QString &path);
    void writeTasksFile(const QByteArray &bytes) const { writeFile(tasksFile(), bytes, 0600); }
    QByteArray readTasksFile() const { return readFile(tasksFile()); }

    // The environment child processes get: this sandbox's HOME, XDG_DATA_HOME and MOXLEY_SYSROOT.
    QProcessEnvironment environment() const;

    struct Result {
        int exitCode = -1;
        QByteArray out;
        QByteArray err;
    };
    // Runs the real moxley executable in this sandbox.
    Result runCli(const QStringList &arguments, const QByteArray &input = {}) const;
    // Runs any program in this sandbox.
    Result run(const QString &program, const QStringList &arguments, const QByteArray &input = {},
               const QString &workingDirectory = {}) const;

private:
    QTemporaryDir m_dir;
    QList<QPair<QByteArray, std::optional<QByteArray>>> m_saved;
};
