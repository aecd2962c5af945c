#pragma once

#include <QMetaType>

// What a reply is. Chosen by the sender of a command and handed back with each
// read of its reply, so that exactly one controller acts on it.
enum ReadType
{
    ReadNone = 0,
    ReadRegisters = 1,
    ReadSensing = 2,
    ReadAudioSettings = 3,
    ReadFirmwareId = 4,
    ReadChipId = 5,
    ReadMaxThreshold = 6,
    ReadActivatedChannels = 7,
};

Q_DECLARE_METATYPE(ReadType)
