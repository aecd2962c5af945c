#include "kitoptions.h"
#include "simulatedkit.h"

#include <QDateTime>
#include <QString>
#include <QThread>
#include <cstdio>
#include <iostream>
#include <string>

// The simulated kit alone on a pseudo-terminal, for attaching any program to it.
// Each command is logged as it arrives; a few words on standard input pull the
// cable, plug it back or change the press value.

namespace {

void printHelp(const char *program)
{
    const QString text =
        QStringLiteral("Usage: %1 [options]\n"
                       "Serves a simulated KTR4207 kit on a pseudo-terminal and logs each\n"
                       "command it receives. Attach the controller to it with\n"
                       "  ktr4207-kit-demo --port <the path printed at start>\n\n"
                       "Options:\n%2\n\n"
                       "While it runs, type on standard input:\n"
                       "  unplug        pull the cable (unsaved values are lost)\n"
                       "  plug          plug it back in (the port gets a new path)\n"
                       "  press N       set the value a press reaches\n"
                       "  quit          stop\n")
            .arg(QString::fromLocal8Bit(program), kitOptionsHelp(KitOptionSet::Simulator));
    std::fputs(text.toLocal8Bit().constData(), stdout);
}

// Each command with its meaning and each record of the kit's reply, in the words of
// the program's own kit log.
void logCommand(const KitDecoder &decoder, const QByteArray &command, const QByteArray &reply)
{
    QString line = QStringLiteral("%1  %2  %3")
                       .arg(QTime::currentTime().toString(QStringLiteral("HH:mm:ss.zzz")),
                            KitDecoder::hex(command).leftJustified(17), decoder.command(command));
    if (!reply.isEmpty()) {
        const QString indent(14, QLatin1Char(' '));
        line += QStringLiteral("\n%1reply of %2 bytes").arg(indent).arg(reply.size());
        for (const QString &record : decoder.records(command.at(0), reply))
            line += QStringLiteral("\n%1  %2").arg(indent, record);
    }
    std::printf("%s\n", qPrintable(line));
    std::fflush(stdout);
}

void printPort(const SimulatedKit &kit)
{
    std::printf("Simulated kit on %s\n", qPrintable(kit.slavePath()));
    std::fflush(stdout);
}

} // namespace

int main(int argc, char *argv[])
{
    const KitOptions options = takeKitOptions(argc, argv, KitOptionSet::Simulator);
    if (options.help) {
        printHelp(argv[0]);
        return 0;
    }
    if (!options.error.isEmpty() || argc > 1) {
        std::fprintf(stderr, "%s: %s\nTry --help.\n", argv[0],
                     qPrintable(options.error.isEmpty()
                                    ? QStringLiteral("unknown argument %1").arg(argv[1])
                                    : options.error));
        return 2;
    }

    SimulatedKit kit(options.chipId, options.firmwareId);
    const QString eepromError = kit.withFirmware([&](KitFirmware &firmware) {
        firmware.setPressValue(options.pressValue);
        return options.eepromFile.isEmpty() ? QString()
                                            : firmware.attachEepromFile(options.eepromFile);
    });
    if (!eepromError.isEmpty())
        std::fprintf(stderr,
                     "%s: EEPROM file ignored, the kit starts from its factory values: %s\n",
                     argv[0], qPrintable(eepromError));
    kit.setPaced(options.paced);
    kit.setCommandObserver([&kit](const QByteArray &command, const QByteArray &reply) {
        logCommand(kit.decoder(), command, reply);
    });
    if (!kit.open()) {
        std::fprintf(stderr, "%s: could not open a pseudo-terminal\n", argv[0]);
        return 1;
    }
    std::printf("Chip 0x%04X, firmware \"%s\", press value %d%s\n", options.chipId,
                options.firmwareId.constData(), options.pressValue,
                options.paced ? ", paced at 9600 baud" : "");
    printPort(kit);

    std::string input;
    while (std::getline(std::cin, input)) {
        const QStringList words =
            QString::fromStdString(input).simplified().split(QLatin1Char(' '));
        const QString word = words.value(0);
        if (word == QLatin1String("quit") || word == QLatin1String("exit")) {
            return 0;
        } else if (word == QLatin1String("unplug")) {
            kit.unplug();
            std::printf("Unplugged\n");
        } else if (word == QLatin1String("plug")) {
            if (kit.plug())
                printPort(kit);
            else
                std::printf("Could not open a new pseudo-terminal\n");
        } else if (word == QLatin1String("press")) {
            bool ok = false;
            const int value = words.value(1).toInt(&ok);
            if (ok) {
                kit.withFirmware([value](KitFirmware &firmware) {
                    firmware.setPressValue(value);
                    return 0;
                });
                std::printf("Press value %d\n", value);
            } else {
                std::printf("press needs a whole number\n");
            }
        } else if (!word.isEmpty()) {
            std::printf("Unknown: %s (unplug, plug, press N, quit)\n", qPrintable(word));
        }
        std::fflush(stdout);
    }
    // Without standard input the simulator serves until it is stopped.
    for (;;)
        QThread::sleep(3600);
}
