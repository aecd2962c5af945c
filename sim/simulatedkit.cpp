#include "simulatedkit.h"

#include <QElapsedTimer>
#include <QThread>

SimulatedKit::SimulatedKit(quint16 chipId, const QByteArray &firmwareId)
    : firmware(chipId, firmwareId)
{
    peer.setHandler([this](const QByteArray &chunk) { return handle(chunk); });
}

SimulatedKit::~SimulatedKit() = default;

bool SimulatedKit::open()
{
    return peer.open();
}

QList<QByteArray> SimulatedKit::commands() const
{
    QMutexLocker lock(&mutex);
    return log;
}

void SimulatedKit::clearCommands()
{
    QMutexLocker lock(&mutex);
    log.clear();
}

bool SimulatedKit::waitForCommands(int count, int timeoutMs) const
{
    QElapsedTimer clock;
    clock.start();
    for (;;) {
        {
            QMutexLocker lock(&mutex);
            if (log.size() >= count)
                return true;
        }
        if (clock.elapsed() >= timeoutMs)
            return false;
        QThread::msleep(5);
    }
}

void SimulatedKit::setCommandObserver(CommandObserver commandObserver)
{
    QMutexLocker lock(&mutex);
    observer = std::move(commandObserver);
}

void SimulatedKit::setPaced(bool paced)
{
    peer.setPacing(paced);
}

void SimulatedKit::setSilent(bool silent)
{
    QMutexLocker lock(&mutex);
    faults.silent = silent;
}

void SimulatedKit::setReplyPieces(int pieceBytes, int gapMs)
{
    QMutexLocker lock(&mutex);
    faults.pieceBytes = qMax(0, pieceBytes);
    faults.pieceGapMs = qMax(0, gapMs);
}

void SimulatedKit::setReplyGap(int afterBytes, int gapMs)
{
    QMutexLocker lock(&mutex);
    faults.gapAfterBytes = qMax(0, afterBytes);
    faults.gapMs = qMax(0, gapMs);
}

void SimulatedKit::setReplyOverride(char command, const QByteArray &reply)
{
    QMutexLocker lock(&mutex);
    faults.overrides.insert(command, reply);
}

void SimulatedKit::setReplyExtra(char command, const QByteArray &extra)
{
    QMutexLocker lock(&mutex);
    faults.extras.insert(command, extra);
}

void SimulatedKit::clearFaults()
{
    QMutexLocker lock(&mutex);
    faults = Faults();
    peer.setReading(true);
}

void SimulatedKit::unplug()
{
    peer.unplug();
    QMutexLocker lock(&mutex);
    firmware.powerCycle();
}

bool SimulatedKit::plug()
{
    return peer.plug();
}

QList<PtyKitPeer::ReplyPiece> SimulatedKit::handle(const QByteArray &chunk)
{
    QList<PtyKitPeer::ReplyPiece> pieces;
    QList<KitFirmware::Exchange> answered;
    CommandObserver notify;
    {
        QMutexLocker lock(&mutex);
        const QList<KitFirmware::Exchange> exchanges = firmware.feed(chunk);
        for (const KitFirmware::Exchange &exchange : exchanges) {
            log.append(exchange.command);
            const char first = exchange.command.at(0);
            QByteArray reply = faults.overrides.value(first, exchange.reply);
            reply.append(faults.extras.value(first));
            if (faults.silent)
                reply.clear();
            pieces.append(schedule(reply));
            answered.append({exchange.command, reply});
        }
        notify = observer;
    }
    if (notify) {
        for (const KitFirmware::Exchange &exchange : qAsConst(answered))
            notify(exchange.command, exchange.reply);
    }
    return pieces;
}

QList<PtyKitPeer::ReplyPiece> SimulatedKit::schedule(const QByteArray &reply) const
{
    QList<PtyKitPeer::ReplyPiece> pieces;
    const int pieceBytes = faults.pieceBytes > 0 ? faults.pieceBytes : reply.size();
    const int gapAt = faults.gapMs > 0 ? faults.gapAfterBytes : -1;
    int pos = 0;
    while (pos < reply.size()) {
        int length = qMin(pieceBytes, reply.size() - pos);
        if (gapAt > pos && gapAt < pos + length)
            length = gapAt - pos;
        int delay = pos > 0 && faults.pieceBytes > 0 ? faults.pieceGapMs : 0;
        if (pos == gapAt)
            delay += faults.gapMs;
        pieces.append({reply.mid(pos, length), delay});
        pos += length;
    }
    return pieces;
}
