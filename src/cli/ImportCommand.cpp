#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "cli/StoreSession.h"

#include <QFile>

#include <cstdio>

namespace {

class ImportCommand : public Command
{
public:
    QString name() const override { return QStringLiteral("import"); }
    QString synopsis() const override { return QStringLiteral("import FILE"); }
    QString summary() const override
    {
        return QStringLiteral("Add the tasks of an export file that are not here yet (by id).");
    }
    QString details() const override
    {
        return QStringLiteral("FILE '-' reads standard input. Every file version the app reads is accepted;\n"
                              "prints how many tasks were imported and skipped.");
    }
    int minArguments() const override { return 1; }
    int maxArguments() const override { return 1; }

    int execute(CommandContext &context, const QCommandLineParser &parser) override
    {
        const QString path = parser.positionalArguments().constFirst();
        QFile file;
        const bool opened = path == u"-" ? file.open(stdin, QIODevice::ReadOnly)
                                         : (file.setFileName(path), file.open(QIODevice::ReadOnly));
        if (!opened) {
            return context.fail(u"cannot read " % path % u": " % file.errorString());
        }
        const QByteArray data = file.readAll();

        StoreSession session(context);
        if (!session.isValid()) {
            return 1;
        }
        const TaskStore::ImportResult result = session.store().importTasks(data);
        if (result.error) {
            context.fail(*result.error);
            session.finish();
            return 1;
        }
        context.out << result.summary() << '\n';
        context.out.flush();
        return session.finish();
    }
};

} // namespace

std::unique_ptr<Command> Commands::makeImport()
{
    return std::make_unique<ImportCommand>();
}
