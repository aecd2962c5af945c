#include "simulatedkit.h"

#include "registers/registermap.h"
#include "sensing/sensingparameters.h"

#include <QElapsedTimer>
#include <QThread>
#include <cmath>

namespace {

// 10 bits a byte (start, 8 data, stop) at 9600 baud.
const double MsPerByte = 10.0 * 1000.0 / 9600.0;
// The kit's microcontroller hands its replies to USB, which carries them in packets
// of up to 64 bytes: a paced reply arrives packet by packet, each once its bytes
// would have crossed the line.
const int UsbPacketBytes = 64;

} // namespace

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

KitDecoder SimulatedKit::decoder() const
{
    bool revisionB = false;
    {
        QMutexLocker lock(&mutex);
        revisionB = firmware.isRevisionB();
    }
    const QList<Register> *table = revisionB ? &registers_rev_b : &registers_rev_c;
    // Both channels of the chip share one map.
    const auto lookup = [table](int channel, int address) -> const Register * {
        if (channel < 0 || channel >= KitFirmware::ChannelCount)
            return nullptr;
        for (const Register &reg : *table) {
            if (int(reg.address) == address)
                return &reg;
        }
        return nullptr;
    };
    return KitDecoder(lookup, sensingNameByCode);
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

void SimulatedKit::setPaced(bool on)
{
    QMutexLocker lock(&mutex);
    paced = on;
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
    int pieceBytes = reply.size();
    if (faults.pieceBytes > 0)
        pieceBytes = faults.pieceBytes;
    else if (paced)
        pieceBytes = UsbPacketBytes;
    const int gapAt = faults.gapMs > 0 ? faults.gapAfterBytes : -1;

    // Time is kept in fractions of a millisecond and rounded per piece, so that the
    // delays add up to the line's time however the reply is cut.
    double dueMs = 0.0;
    int waitedMs = 0;
    int pos = 0;
    while (pos < reply.size()) {
        int length = qMin(pieceBytes, reply.size() - pos);
        if (gapAt > pos && gapAt < pos + length)
            length = gapAt - pos;
        if (pos > 0 && faults.pieceBytes > 0)
            dueMs += faults.pieceGapMs;
        if (pos == gapAt)
            dueMs += faults.gapMs;
        if (paced)
            dueMs += length * MsPerByte;
        const int delay = int(std::lround(dueMs)) - waitedMs;
        waitedMs += delay;
        pieces.append({reply.mid(pos, length), delay});
        pos += length;
    }
    return pieces;
}
