#pragma once

#include "link/portenumerator.h"

#include <QByteArray>
#include <QList>
#include <QMutex>
#include <QString>
#include <atomic>
#include <functional>
#include <thread>

// A kit on the far side of a pseudo-terminal. The program opens the slave path,
// which it finds through enumerator(); the peer serves the master on a thread of
// its own: it records every byte the program writes, with time stamps, and answers
// through a handler with reply pieces sent with chosen gaps.
class PtyKitPeer
{
public:
    struct ReplyPiece {
        QByteArray bytes;
        int delayMs = 0; // wait before this piece is written
    };
    struct Received {
        qint64 timeMs; // since the peer was created
        QByteArray bytes;
    };
    // Called on the peer's thread with each chunk that was read from the master.
    // A chunk holds whatever the kernel delivered: one command, part of one or several.
    using Handler = std::function<QList<ReplyPiece>(const QByteArray &chunk)>;

    explicit PtyKitPeer(quint16 vendorId = 0x04B4, quint16 productId = 0x033A);
    ~PtyKitPeer();

    bool open();                 // creates the pty and starts serving; false on failure
    QString slavePath() const;   // empty while unplugged
    PortEnumerator enumerator(); // lists the slave while plugged, with the identifiers given

    void setHandler(Handler handler);
    void setReading(bool reading); // false: stop reading, so that the program's writes stall

    void unplug(); // the enumerator loses the port and the master is closed
    bool plug();   // a new master is opened and listed again

    QList<Received> received() const;
    QByteArray receivedBytes() const;
    void clearReceived();
    // Waits until at least n bytes were received in all, or timeoutMs has passed.
    bool waitForBytes(int n, int timeoutMs) const;
};
