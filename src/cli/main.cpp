#include "cli/kittool.h"

#include <QCoreApplication>
#include <QTextStream>
#include <cstdio>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QTextStream out(stdout);
    QTextStream err(stderr);
    QStringList arguments = QCoreApplication::arguments();
    arguments.removeFirst();
    return KitTool(out, err).run(arguments);
}
