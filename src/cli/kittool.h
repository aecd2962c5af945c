#pragma once

#include <QStringList>

class QTextStream;

// The command-line tool ktr4207-kit: its subcommands over the program's own link,
// controllers, register maps, transfers and session files. It works on a session
// of its own in a temporary folder and never on the window's.
class KitTool
{
public:
    // Exit statuses, as --help lists them.
    enum Status
    {
        Success = 0,
        UsageError = 2,
        NoKit = 3,
        RefusedFirmware = 4,
        ExchangeFailed = 5,
        InvalidInput = 6
    };

    KitTool(QTextStream &out, QTextStream &err);
    // arguments: without the program's name.
    int run(const QStringList &arguments);

private:
    QTextStream &out;
    QTextStream &err;
};
