#pragma once

#include "link/portenumerator.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QList>
#include <QString>
#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

// A kit on the far side of a pseudo-terminal. The program opens the slave path,
// which it finds through enumerator(); the peer serves the master on a thread of
// its own: it records every byte the program writes, with time stamps, and answers
// through a handler with reply pieces sent with chosen gaps.
//
// All public functions may be called from any thread while the peer serves.
class PtyKitPeer
{
public:
    struct ReplyPiece
    {
        QByteArray bytes;
        int delayMs = 0; // wait before this piece is written
    };
    struct Received
    {
        qint64 timeMs; // since the peer was created
        QByteArray bytes;
    };
    // Called on the peer's thread with each chunk that was read from the master.
    // A chunk holds whatever the kernel delivered: one command, part of one or several.
    using Handler = std::function<QList<ReplyPiece>(const QByteArray &chunk)>;

    // One byte on a 9600 baud 8N1 line: ten bits.
    static constexpr int ByteTimeUs = 1042;

    explicit PtyKitPeer(quint16 vendorId = 0x04B4, quint16 productId = 0x033A);
    ~PtyKitPeer();
    PtyKitPeer(const PtyKitPeer &) = delete;
    PtyKitPeer &operator=(const PtyKitPeer &) = delete;

    bool open();                 // creates the pty and starts serving; false on failure
    QString slavePath() const;   // empty while unplugged
    PortEnumerator enumerator(); // lists the slave while plugged, with the identifiers given
    // The enumerator stays valid after the peer is gone; it then lists nothing.

    void setHandler(Handler handler);
    // false: stop reading and hold the line, so that the program's writes stall
    // (a small write does not leave within its timeout); true: release it.
    void setReading(bool reading);
    bool isReading() const;
    // true: reading costs ByteTimeUs per byte and replies go out one byte every
    // ByteTimeUs, as on the kit's real line. Off by default.
    void setPacing(bool pacing);

    void unplug(); // the enumerator loses the port and the master is closed
    bool plug();   // a new master is opened and listed again
    bool isPlugged() const;

    QList<Received> received() const;
    QByteArray receivedBytes() const;
    void clearReceived();
    // Waits until at least n bytes were received in all, or timeoutMs has passed.
    bool waitForBytes(int n, int timeoutMs) const;

private:
    // What the enumerator sees; shared so that an enumerator outliving the peer is safe.
    struct Listing
    {
        std::mutex mutex;
        QString path; // empty while unplugged
        quint16 vendorId = 0;
        quint16 productId = 0;
    };

    bool openPty();    // with mutex held
    void closePty();   // with mutex held
    void wakeServer(); // ends the server's wait for input, so that it sees a change
    void applyStall(); // with mutex held: puts the line in the state `reading` asks for
    void serve();      // the peer thread
    // Sleeps up to us microseconds; false if the peer stops or the pty changes meanwhile.
    bool pause(qint64 us, quint64 generation);
    void writeReply(const QByteArray &bytes, quint64 generation);
    bool writeSome(const char *data, int size, quint64 generation);

    std::shared_ptr<Listing> listing;
    mutable std::mutex mutex;
    mutable std::condition_variable changed; // new bytes recorded, pty changed, stop
    int masterFd = -1;
    int slaveFd = -1;  // held by the peer: keeps the line up and carries the stall
    int wakeRead = -1; // a pipe that the server waits on beside the master
    int wakeWrite = -1;
    quint64 generation = 0; // counts pty openings, so a reply never reaches a later pty
    QString slave;
    Handler handler;
    bool reading = true;
    bool pacing = false;
    bool stopping = false;
    QList<Received> chunks;
    int receivedCount = 0;
    QElapsedTimer clock;
    std::thread worker;
};
