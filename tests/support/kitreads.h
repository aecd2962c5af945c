#pragma once

#include "link/readtype.h"

#include <QList>

// The kit's read commands: the read count the program asks with, the read type its reply
// goes with, and the size of one record of it (0: the reply is no records).
struct KitRead
{
    char command;
    int count;
    ReadType type;
    int recordSize;
};
const QList<KitRead> KitReads{{'4', 3, ReadRegisters, 3},       {'5', 4, ReadSensing, 4},
                              {'8', 13, ReadAudioSettings, 13}, {'=', 3, ReadFirmwareId, 0},
                              {'H', 3, ReadChipId, 0},          {'B', 3, ReadMaxThreshold, 0}};

inline KitRead kitRead(char command)
{
    for (const KitRead &read : KitReads)
        if (read.command == command)
            return read;
    return {command, 0, ReadNone, 0};
}
