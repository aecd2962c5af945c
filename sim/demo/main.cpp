#include "app/constants.h"
#include "app/runapplication.h"
#include "kitoptions.h"
#include "link/portenumerator.h"
#include "simulatedkit.h"

#include <QDir>
#include <QGuiApplication>
#include <QSettings>
#include <QStandardPaths>
#include <cstdio>

// The real controller, window and all, against a simulated kit in the same process.
// The kit lives for the whole process, so its state carries across the program's
// restarts; its EEPROM is kept in a file beside the demo's own settings.

namespace {

QString demoFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           QStringLiteral("/ktr4207-kit-demo");
}

void printHelp(const char *program)
{
    const QString text =
        QStringLiteral("Usage: %1 [options] [Qt options]\n"
                       "Runs the KTR4207-KIT Controller against a simulated kit.\n\n"
                       "Options:\n%2\n\n"
                       "The demo keeps its sessions and the simulated kit's EEPROM in\n"
                       "  %3\n"
                       "apart from the settings of ktr4207-kit-controller.\n")
            .arg(QString::fromLocal8Bit(program), kitOptionsHelp(KitOptionSet::Demo),
                 QDir::toNativeSeparators(demoFolder()));
    std::fputs(text.toLocal8Bit().constData(), stdout);
}

// What the window's title says, so that the demo is not taken for the program on a
// real kit. Each pass has an application of its own, and each is given it.
QString &demoTitle()
{
    static QString title;
    return title;
}

void nameApplication()
{
    if (!demoTitle().isEmpty())
        QGuiApplication::setApplicationDisplayName(demoTitle());
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(nameApplication)

int main(int argc, char *argv[])
{
    const KitOptions options = takeKitOptions(argc, argv, KitOptionSet::Demo);
    if (options.help) {
        printHelp(argv[0]);
        return 0;
    }
    if (!options.error.isEmpty()) {
        std::fprintf(stderr, "%s: %s\nTry --help.\n", argv[0], qPrintable(options.error));
        return 2;
    }

    demoTitle() = APP_NAME + QStringLiteral(" \u2014 demo, ") +
                  (options.port.isEmpty() ? QStringLiteral("simulated kit")
                                          : QStringLiteral("kit on ") + options.port);

    const QString folder = demoFolder();
    QDir().mkpath(folder);
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, folder);

    if (!options.port.isEmpty())
        return runApplication(argc, argv, fixedPort(options.port));

    SimulatedKit kit(options.chipId, options.firmwareId);
    const QString eepromError = kit.withFirmware([&](KitFirmware &firmware) {
        firmware.setPressValue(options.pressValue);
        return firmware.attachEepromFile(folder + QStringLiteral("/kit-eeprom.json"));
    });
    if (!eepromError.isEmpty())
        std::fprintf(stderr,
                     "%s: EEPROM file ignored, the kit starts from its factory values: %s\n",
                     argv[0], qPrintable(eepromError));
    kit.setPaced(options.paced);
    if (!kit.open()) {
        std::fprintf(stderr, "%s: could not open a pseudo-terminal for the simulated kit\n",
                     argv[0]);
        return 1;
    }
    return runApplication(argc, argv, kit.enumerator());
}
