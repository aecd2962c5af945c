#pragma once

#include "kitfirmware.h"
#include "link/kitdecoder.h"
#include "ptykitpeer.h"

#include <QHash>
#include <QMutex>
#include <functional>
#include <memory>

// The whole kit on a pseudo-terminal: the firmware model answers what the program
// writes, through a PtyKitPeer. It keeps a log of every command received and can
// misbehave on demand, so that tests can see each fault from the program's side.
// It needs no QCoreApplication and outlives any number of them.
//
// The peer serves the port on a thread of its own; the firmware and the fault
// settings are shared with it under one lock.
class SimulatedKit
{
public:
    // Called on the peer's thread for each command, with the bytes sent back for it.
    using CommandObserver = std::function<void(const QByteArray &command, const QByteArray &reply)>;

    explicit SimulatedKit(quint16 chipId = KitFirmware::ChipIdRevC,
                          const QByteArray &firmwareId = "2.3");
    ~SimulatedKit();

    bool open(); // creates the pty and starts serving; false on failure
    QString slavePath() const { return peer.slavePath(); }
    PortEnumerator enumerator() { return peer.enumerator(); }
    PtyKitPeer &transport() { return peer; }

    // Runs f with the firmware while the peer cannot touch it, and returns its result.
    template <typename F> auto withFirmware(F &&f)
    {
        QMutexLocker lock(&mutex);
        return f(firmware);
    }

    // Words for the bytes of the protocol, with the register names of the chip on
    // the kit now: the same decoder as the program's kit log.
    KitDecoder decoder() const;

    // The commands received so far, whole, in order.
    QList<QByteArray> commands() const;
    void clearCommands();
    bool waitForCommands(int count, int timeoutMs) const;
    void setCommandObserver(CommandObserver observer);

    // Replies take the time of the real line, 9600 baud 8N1, instead of none.
    void setPaced(bool paced);

    // Faults. Each holds until changed or until clearFaults().
    void setSilent(bool silent); // commands are carried out but never answered
    // Replies go out in pieces of pieceBytes with gapMs before each further piece.
    void setReplyPieces(int pieceBytes, int gapMs);
    // Each reply stops after the first afterBytes bytes for gapMs, then goes on.
    void setReplyGap(int afterBytes, int gapMs);
    // The command is answered with these bytes instead of its own reply.
    void setReplyOverride(char command, const QByteArray &reply);
    // These bytes follow the command's own reply: extra records or garbage.
    void setReplyExtra(char command, const QByteArray &extra);
    void clearFaults();

    // The kit stops reading the port, so that the program's writes stall.
    void setReading(bool reading) { peer.setReading(reading); }
    // The cable is pulled: the port disappears and the kit loses power, and with it
    // all that was not saved to its EEPROM.
    void unplug();
    bool plug();

private:
    struct Faults
    {
        bool silent = false;
        int pieceBytes = 0;
        int pieceGapMs = 0;
        int gapAfterBytes = 0;
        int gapMs = 0;
        QHash<char, QByteArray> overrides;
        QHash<char, QByteArray> extras;
    };

    QList<PtyKitPeer::ReplyPiece> handle(const QByteArray &chunk);
    QList<PtyKitPeer::ReplyPiece> schedule(const QByteArray &reply) const;

    mutable QMutex mutex;
    KitFirmware firmware;
    Faults faults;
    bool paced = false;
    QList<QByteArray> log;
    CommandObserver observer;
    // Declared last so that its thread stops before the rest goes.
    PtyKitPeer peer;
};
