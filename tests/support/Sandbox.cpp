#include "Sandbox.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>

namespace {
const QList<QByteArray> kVariables{"HOME", "XDG_DATA_HOME", "MOXLEY_SYSROOT"};
}

Sandbox::Sandbox() : m_dir(QDir::tempPath() + QStringLiteral("/moxley-test-XXXXXX"))
{
    for (const QByteArray &name : kVariables) {
        m_saved.append({name, qEnvironmentVariableIsSet(name.constData())
                                  ? std::optional<QByteArray>(qgetenv(name.constData()))
                                  : std::nullopt});
    }
    QDir().mkpath(home());
    QDir().mkpath(sysroot());
    qputenv("HOME", home().toUtf8());
    qputenv("XDG_DATA_HOME", (home() + QStringLiteral("/.local/share")).toUtf8());
    qputenv("MOXLEY_SYSROOT", sysroot().toUtf8());
}

Sandbox::~Sandbox()
{
    for (const auto &[name, value] : m_saved) {
        if (value) {
            qputenv(name.constData(), *value);
        } else {
            qunsetenv(name.constData());
        }
    }
}

QString Sandbox::home() const
{
    return root() + QStringLiteral("/home");
}
QString Sandbox::dataDir() const
{
    return home() + QStringLiteral("/.local/share/Moxley");
}
QString Sandbox::tasksFile() const
{
    return dataDir() + QStringLiteral("/tasks.json");
}
QString Sandbox::scriptsDir() const
{
    return dataDir() + QStringLiteral("/Scripts");
}
QString Sandbox::logDir() const
{
    return dataDir() + QStringLiteral("/Logs");
}
QString Sandbox::launchAgentsDir() const
{
    return home() + QStringLiteral("/Library/LaunchAgents");
}
QString Sandbox::sysroot() const
{
    return root() + QStringLiteral("/sysroot");
}

void Sandbox::writeFile(const QString &path, const QByteArray &bytes, int mode)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        qFatal("Sandbox: cannot write %s", qPrintable(path));
    }
    file.write(bytes);
    file.close();
    QFile::Permissions permissions;
    const QFile::Permission owner[] = {QFile::ExeOwner, QFile::WriteOwner, QFile::ReadOwner};
    const QFile::Permission group[] = {QFile::ExeGroup, QFile::WriteGroup, QFile::ReadGroup};
    const QFile::Permission other[] = {QFile::ExeOther, QFile::WriteOther, QFile::ReadOther};
    for (int bit = 0; bit < 3; ++bit) {
        if (mode & (0100 << bit))
            permissions |= owner[bit];
        if (mode & (010 << bit))
            permissions |= group[bit];
        if (mode & (01 << bit))
            permissions |= other[bit];
    }
    // QFile counts "user" permissions apart from "owner"; set both alike.
    if (mode & 0400)
        permissions |= QFile::ReadUser;
    if (mode & 0200)
        permissions |= QFile::WriteUser;
    if (mode & 0100)
        permissions |= QFile::ExeUser;
    file.setPermissions(permissions);
}

QByteArray Sandbox::readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QProcessEnvironment Sandbox::environment() const
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("HOME"), home());
    env.insert(QStringLiteral("XDG_DATA_HOME"), home() + QStringLiteral("/.local/share"));
    env.insert(QStringLiteral("MOXLEY_SYSROOT"), sysroot());
    return env;
}

Sandbox::Result Sandbox::run(const QString &program, const QStringList &arguments, const QByteArray &input,
                             const QString &workingDirectory) const
{
    QProcess process;
    process.setProcessEnvironment(environment());
    if (!workingDirectory.isEmpty()) {
        process.setWorkingDirectory(workingDirectory);
    }
    process.start(program, arguments);
    Result result;
    if (!process.waitForStarted(10000)) {
        result.err = process.errorString().toUtf8();
        return result;
    }
    if (!input.isEmpty()) {
        process.write(input);
    }
    process.closeWriteChannel();
    process.waitForFinished(120000);
    result.out = process.readAllStandardOutput();
    result.err = process.readAllStandardError();
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    return result;
}

Sandbox::Result Sandbox::runCli(const QStringList &arguments, const QByteArray &input) const
{
    return run(QStringLiteral(MOXLEY_CLI_PATH), arguments, input);
}
