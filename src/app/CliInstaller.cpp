#include "app/CliInstaller.h"

#include "platform/AdminShell.h"
#include "platform/ShellQuote.h"
#include "platform/SystemPaths.h"
#include "ui/MessageBox.h"

#include <QCoreApplication>
#include <QFileInfo>

QString CliInstaller::bundledToolPath()
{
    return QCoreApplication::applicationDirPath() % u"/moxley";
}

QString CliInstaller::linkPath()
{
    return SystemPaths::cliLinkDir() % u"/moxley";
}

QString CliInstaller::linkCommand(const QString &sourcePath, const QString &link)
{
    return u"ln -sf " % shellQuote(sourcePath) % u' ' % shellQuote(link);
}

void CliInstaller::install(QWidget *parent, const QString &sourcePath)
{
    const QList<MessageBox::Button> ok{{QStringLiteral("OK"), MessageBox::Role::accept}};
    if (!QFileInfo::exists(sourcePath)) {
        MessageBox::show(parent, MessageBox::Style::warning, QStringLiteral("CLI Binary Not Found"),
                         QStringLiteral("The CLI tool was not found in the app bundle."), ok);
        return;
    }
    // The AppleScript escaping (backslashes first, then double quotes) happens in AdminShell.
    const std::optional<QString> failure =
        AdminShell::runWithAdministratorPrivileges(linkCommand(sourcePath, linkPath()));
    if (failure && *failure == u"Failed to create script") {
        // A script that cannot even be built is given up on without a word.
        return;
    }
    if (failure) {
        MessageBox::show(parent, MessageBox::Style::warning, QStringLiteral("Installation Failed"),
                         failure->isEmpty() ? QStringLiteral("Unknown error") : *failure, ok);
        return;
    }
    MessageBox::show(parent, MessageBox::Style::information, QStringLiteral("CLI Installed"),
                     QStringLiteral("You can now use 'moxley' in your terminal.\n\nTry: moxley --help"), ok);
}
