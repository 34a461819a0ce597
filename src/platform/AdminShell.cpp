#include "platform/AdminShell.h"

#include "platform/ChildProcess.h"
#include "platform/SystemPaths.h"

#include <QRegularExpression>
#include <QStandardPaths>

namespace {

// osascript reports "0:93: execution error: User canceled. (-128)"; the app shows the middle part,
// the AppleScript error's own message.
std::optional<QString> appleScriptFailure(const QString &standardError)
{
    static const QRegularExpression pattern(
        QStringLiteral(R"(^\d+:\d+: (execution|syntax) error: (.*?) ?\((-?\d+)\)$)"),
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
    // Blocks until the user has answered the password prompt.
    const ChildProcess::Result result =
        ChildProcess::run(SystemPaths::osascript(), {QStringLiteral("-e"), AdminShell::appleScriptSource(shellCommand)},
                          {ChildProcess::Output::capture, {}, {}});
    if (!result.started) {
        return QStringLiteral("Failed to create script");
    }
    if (result.succeeded()) {
        return std::nullopt;
    }
    return appleScriptFailure(QString::fromUtf8(result.standardError).trimmed());
}

std::optional<QString> runThroughPkexec(const QString &shellCommand)
{
    const QString pkexec = QStandardPaths::findExecutable(QStringLiteral("pkexec"));
    if (pkexec.isEmpty()) {
        return QStringLiteral("pkexec is not installed");
    }
    const ChildProcess::Result result = ChildProcess::run(
        pkexec, {QStringLiteral("sh"), QStringLiteral("-c"), shellCommand}, {ChildProcess::Output::capture, {}, {}});
    if (!result.started) {
        return QStringLiteral("pkexec could not be started");
    }
    if (result.succeeded()) {
        return std::nullopt;
    }
    const QString text = QString::fromUtf8(result.standardError).trimmed();
    return text.isEmpty() ? QStringLiteral("Unknown error") : text;
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
