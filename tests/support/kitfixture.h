#pragma once

#include "link/serialcontroller.h"
#include "ptykitpeer.h"
#include "support/testsettings.h"

#include <QStringList>
#include <memory>

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

// A controller of type C over a serial link to a pseudo-terminal kit, with a settings
// file of its own.
template <typename C> struct KitFixture
{
    TestSettings settings;
    PtyKitPeer peer;
    std::unique_ptr<SerialController> serial;
    std::unique_ptr<C> controller;

    // False when the machine offers no pseudo-terminal.
    bool open()
    {
        qRegisterMetaType<ReadType>("ReadType");
        return peer.open();
    }
    // A new link and controller over the settings as they are, a kit that answers nothing
    // and has received nothing; true once connected.
    bool reconnect()
    {
        controller.reset();
        serial.reset();
        serial = std::make_unique<SerialController>(peer.enumerator());
        controller = std::make_unique<C>(serial.get());
        peer.setHandler(nullptr);
        peer.clearReceived();
        return serial->isConnected();
    }
    // The same over emptied settings (a fresh session).
    bool restart()
    {
        controller.reset();
        settings.reset();
        return reconnect();
    }
    // Makes the kit answer each arrival of `command` with the next of `replies`, written as
    // hex pieces separated by blanks ("003A17 70"); each piece after the first follows a gap
    // shorter than the link's silence, so that it reaches the program as a read of its own.
    void script(char command, const QStringList &replies)
    {
        auto queue = std::make_shared<QList<QList<PtyKitPeer::ReplyPiece>>>();
        for (const QString &reply : replies) {
            QList<PtyKitPeer::ReplyPiece> pieces;
            for (const QString &hex : reply.split(' ', Qt::SkipEmptyParts))
                pieces.append({QByteArray::fromHex(hex.toLatin1()), pieces.isEmpty() ? 0 : 30});
            queue->append(pieces);
        }
        peer.setHandler([command, queue](const QByteArray &chunk) {
            return chunk.contains(command) && !queue->isEmpty() ? queue->takeFirst()
                                                                : QList<PtyKitPeer::ReplyPiece>();
        });
    }
};
