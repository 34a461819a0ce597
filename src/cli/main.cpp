#include "cli/Cli.h"

#include <QCoreApplication>
#include <QTextStream>

#include <cstdio>

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
    return cli.run(QCoreApplication::arguments().mid(1), out, err);
}
