#include "cli/kittool.h"

#include <QCoreApplication>
#include <QTextStream>
#include <cstdio>

namespace {

// The tool says what went wrong in one line of its own; the link's warnings about a
// reply it did not store would only repeat it.
void quietMessages(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    if (type == QtCriticalMsg || type == QtFatalMsg)
        std::fprintf(stderr, "%s\n", qPrintable(message));
}

} // namespace

int main(int argc, char *argv[])
{
    qInstallMessageHandler(quietMessages);
    QCoreApplication app(argc, argv);
    QTextStream out(stdout);
    QTextStream err(stderr);
    QStringList arguments = QCoreApplication::arguments();
    arguments.removeFirst();
    return KitTool(out, err).run(arguments);
}
