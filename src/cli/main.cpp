#include "cli/Cli.h"

#include <QCoreApplication>
#include <QFileDevice>
#include <QTextStream>

#include <cerrno>
#include <cstdio>
#include <cstring>

int main(int argc, char *argv[])
{
    // Before QCoreApplication, which may take arguments of its own out of argv.
    QList<qsizetype> invalid = Cli::invalidUtf8Arguments(argc, argv);
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("moxley"));
    QTextStream out(stdout);
    QTextStream err(stderr);
    Cli cli;
    cli.setInvalidArguments(std::move(invalid));
    const int status = cli.run(QCoreApplication::arguments().mid(1), out, err);
    // What could not be written (a full disk, say) leaves the command undone. A reader that went
    // away (`moxley history | head`) is no failure worth a word.
    out.flush();
    const auto *file = qobject_cast<const QFileDevice *>(out.device());
    QString reason;
    if (file && file->error() != QFileDevice::NoError) {
        reason = file->errorString();
    } else if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
        reason = QString::fromLocal8Bit(std::strerror(errno));
    } else if (out.status() != QTextStream::Ok) {
        reason = QStringLiteral("write failed");
    }
    if (!reason.isEmpty()) {
        if (reason != QString::fromLocal8Bit(std::strerror(EPIPE))) {
            err << "moxley: cannot write the output: " << reason << Qt::endl;
        }
        return status == 0 ? 1 : status;
    }
    return status;
}
