#pragma once

#include "kitfirmware.h"

#include <QByteArray>
#include <QString>

// The command line options that set up a simulated kit, shared by the demo and the
// stand-alone simulator.
struct KitOptions
{
    quint16 chipId = KitFirmware::ChipIdRevC;
    QByteArray firmwareId = "2.3";
    int pressValue = 130;
    bool paced = false;
    QString port;       // a real serial device to use instead of the simulator
    QString eepromFile; // where the kit keeps its EEPROM between runs
    bool help = false;
    QString error; // the first option that could not be read, with the reason
};

// Which options a program takes besides the common ones.
enum class KitOptionSet
{
    Demo,
    Simulator
};

// Takes the kit's options out of argv, shortening argc, and leaves every other
// argument in place for the toolkit. Options are given as "--name value" or
// "--name=value".
KitOptions takeKitOptions(int &argc, char **argv, KitOptionSet set);

// The lines of --help that describe the options of the set.
QString kitOptionsHelp(KitOptionSet set);
