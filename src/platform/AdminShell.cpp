#include "platform/AdminShell.h"

#include "platform/SystemPaths.h"

#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>

namespace {

struct Outcome {
    bool started = false;
    int exitCode = -1;
    QString standardError;
};

// Blocks until the child ends: the password prompt takes as long as the user takes.
Outcome runToEnd(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardOutputFile(QProcess::nullDevice());
    process.start(program, arguments);
    Outcome outcome;
    if (!process.waitForStarted(-1)) {
        return outcome;
    }
    process.waitForFinished(-1);
    outcome.started = true;
    outcome.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    outcome.standardError = QString::fromUtf8(process.readAllStandardError()).trimmed();
    return outcome;
}

// osascript reports "0:93: execution error: User canceled. (-128)"; the app shows the middle part,
// the AppleScript error's own message.
std::optional<QString> appleScriptFailure(const QString &standardError)
{
    static const QRegularExpression pattern(QStringLiteral(R"(^\d+:\d+: (execution|syntax) error: (.*?) ?\((-?\d+)\)$)"),
                                            QRegularExpression::DotMatchesEverythingOption);
    const QRegularExpressionMatch match = pattern.match(standardError);
    if (!match.hasMatch()) {
        return standardError.isEmpty() ? QStringLiteral("Unknown error") : standardError;
    }
    if (match.captured(1) == u"syntax") {
        return QStringLiteral("Failed to create script");
    }
    const QString message = match.captured(2).trimmed();
    return message.isEmpty() ? QStringLiteral("Unknown error") : message;
}

std::optional<QString> runThroughAppleScript(const QString &shellCommand)
{
    const Outcome outcome =
        runToEnd(SystemPaths::osascript(), {QStringLiteral("-e"), AdminShell::appleScriptSource(shellCommand)});
    if (!outcome.started) {
        return QStringLiteral("Failed to create script");
    }
    if (outcome.exitCode == 0) {
        return std::nullopt;
    }
    return appleScriptFailure(outcome.standardError);
}

std::optional<QString> runThroughPkexec(const QString &shellCommand)
{
    const QString pkexec = QStandardPaths::findExecutable(QStringLiteral("pkexec"));
    if (pkexec.isEmpty()) {
        return QStringLiteral("pkexec is not installed");
    }
    const Outcome outcome = runToEnd(pkexec, {QStringLiteral("sh"), QStringLiteral("-c"), shellCommand});
    if (!outcome.started) {
        return QStringLiteral("pkexec could not be started");
    }
    if (outcome.exitCode == 0) {
        return std::nullopt;
    }
    return outcome.standardError.isEmpty() ? QStringLiteral("Unknown error") : outcome.standardError;
}

} // namespace

QString AdminShell::escapeForAppleScript(const QString &text)
{
    QString escaped = text;
    escaped.replace(u'\\', QStringLiteral("\\\\"));
    escaped.replace(u'"', QStringLiteral("\\\""));
    return escaped;
}

QString AdminShell::appleScriptSource(const QString &shellCommand)
{
    return u"do shell script \"" % escapeForAppleScript(shellCommand) % u"\" with administrator privileges";
}

bool AdminShell::usesAppleScript()
{
#ifdef Q_OS_MACOS
    return true;
#else
    return !SystemPaths::sysroot().isEmpty();
#endif
}

std::optional<QString> AdminShell::runWithAdministratorPrivileges(const QString &shellCommand)
{
    return usesAppleScript() ? runThroughAppleScript(shellCommand) : runThroughPkexec(shellCommand);
}
