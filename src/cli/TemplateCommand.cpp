#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "launchd/MailSnippet.h"
#include "launchd/ShortcutsList.h"

using namespace Qt::StringLiterals;

namespace {

const QString kFrom = QStringLiteral("from");
const QString kTo = QStringLiteral("to");
const QString kSubject = QStringLiteral("subject");
const QString kBody = QStringLiteral("body");

class TemplateCommand : public Command
{
public:
    QString name() const override { return QStringLiteral("template"); }
    QString synopsis() const override
    {
        return QStringLiteral("template shortcut NAME | template gmail --from ADDRESS --to ADDRESS [--subject S] "
                              "[--body B]");
    }
    QString summary() const override
    {
        return QStringLiteral("Print a ready-made command: run a Shortcuts shortcut, or send an e-mail via Gmail.");
    }
    QString details() const override
    {
        return u"shortcut NAME   the command that runs the shortcut NAME\n"
               u"gmail           the mail snippet the app's Gmail Template writes; the app password is read from\n"
               u"                the keychain item of the sender address when the task runs (store it from the\n"
               u"                app). Subject and body default to \""_s %
               MailSnippet::defaultSubject() % u"\" and \"" % MailSnippet::defaultBody() % u"\".";
    }
    QList<QCommandLineOption> options() const override
    {
        return {QCommandLineOption(kFrom, QStringLiteral("The Gmail address that sends (gmail)."),
                                   QStringLiteral("ADDRESS")),
                QCommandLineOption(kTo, QStringLiteral("The recipient's address (gmail)."), QStringLiteral("ADDRESS")),
                QCommandLineOption(kSubject, QStringLiteral("The subject (gmail)."), QStringLiteral("S")),
                QCommandLineOption(kBody, QStringLiteral("The message text (gmail)."), QStringLiteral("B"))};
    }
    int minArguments() const override { return 1; }
    int maxArguments() const override { return 2; }

    int execute(CommandContext &context, const QCommandLineParser &parser) override
    {
        const QStringList arguments = parser.positionalArguments();
        const QString kind = arguments.constFirst();
        if (kind == u"shortcut") {
            return shortcut(context, parser);
        }
        if (kind == u"gmail") {
            return gmail(context, parser);
        }
        return context.usageError(u"unknown template '" % kind % u"' (use 'shortcut' or 'gmail')");
    }

private:
    static int shortcut(CommandContext &context, const QCommandLineParser &parser)
    {
        const QStringList arguments = parser.positionalArguments();
        for (const QString &option : {kFrom, kTo, kSubject, kBody}) {
            if (parser.isSet(option)) {
                return context.usageError(u"--" % option % u" belongs to 'template gmail'");
            }
        }
        if (arguments.size() < 2) {
            return context.usageError(QStringLiteral("missing argument: template shortcut NAME"));
        }
        if (arguments.at(1).trimmed().isEmpty()) {
            return context.usageError(QStringLiteral("the shortcut NAME is empty"));
        }
        context.out << ShortcutsList::runCommand(arguments.at(1)) << '\n';
        return 0;
    }

    static int gmail(CommandContext &context, const QCommandLineParser &parser)
    {
        const QStringList arguments = parser.positionalArguments();
        if (arguments.size() > 1) {
            return context.usageError(u"unexpected argument '" % arguments.at(1) % u'\'');
        }
        MailSnippet::Message message;
        message.from = parser.value(kFrom);
        message.to = parser.value(kTo);
        message.subject = parser.isSet(kSubject) ? parser.value(kSubject) : MailSnippet::defaultSubject();
        message.body = parser.isSet(kBody) ? parser.value(kBody) : MailSnippet::defaultBody();
        message = message.trimmed();
        if (message.from.isEmpty()) {
            return context.usageError(QStringLiteral("missing --from ADDRESS"));
        }
        if (message.to.isEmpty()) {
            return context.usageError(QStringLiteral("missing --to ADDRESS"));
        }
        context.out << MailSnippet::build(message) << '\n';
        return 0;
    }
};

} // namespace

std::unique_ptr<Command> Commands::makeTemplate()
{
    return std::make_unique<TemplateCommand>();
}
