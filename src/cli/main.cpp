#include "cli/Cli.h"

#include <QCoreApplication>
#include <QTextStream>

#include <cstdio>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("moxley"));
    QTextStream out(stdout);
    QTextStream err(stderr);
    Cli cli;
    return cli.run(QCoreApplication::arguments().mid(1), out, err);
}
