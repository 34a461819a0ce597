#include "cli/CommandContext.h"
#include "cli/Commands.h"
#include "model/TaskMigration.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace {

class ExportCommand : public Command
{
public:
    QString name() const override { return QStringLiteral("export"); }
    QString synopsis() const override { return QStringLiteral("export [FILE]"); }
    QString summary() const override { return QStringLiteral("Write all tasks in the export format."); }
    QString details() const override
    {
        return QStringLiteral("Without FILE, or with '-', the document goes to standard output.");
    }
    int maxArguments() const override { return 1; }

    int execute(CommandContext &context, const QCommandLineParser &parser) override
    {
        const auto tasks = context.loadTasks();
        if (!tasks) {
            return 1;
        }
        const QByteArray document = TaskMigration::encode(*tasks);
        const QString path = parser.positionalArguments().value(0, QStringLiteral("-"));
        if (path == u"-") {
            context.out << QString::fromUtf8(document) << '\n';
            return 0;
        }
        // A FIFO, a device or /dev/stdout is written into; replacing it with a file of the same
        // name (as a whole-file save does) would leave its reader with nothing.
        const QFileInfo target(path);
        if (target.exists() && !target.isFile()) {
            QFile file(path);
            if (!file.open(QIODevice::WriteOnly) || file.write(document) != document.size() || !file.flush()) {
                return context.fail(u"cannot write " % path % u": " % file.errorString());
            }
            return 0;
        }
        QSaveFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(document) != document.size() || !file.commit()) {
            return context.fail(u"cannot write " % path % u": " % file.errorString());
        }
        return 0;
    }
};

} // namespace

std::unique_ptr<Command> Commands::makeExport()
{
    return std::make_unique<ExportCommand>();
}
