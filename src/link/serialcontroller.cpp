#include "serialcontroller.h"

#include "kitdecoder.h"
#include "linkaction.h"
#include "registerstore.h"
#include "replyframing.h"

#include <QElapsedTimer>
#include <QMessageBox>
#include <QSerialPort>
#include <QTimer>
#include <utility>

namespace {

// The two channels last as long as the process; their register lists belong to the
// SerialController of the pass that made them.
Channel channelA, channelB;

} // namespace

QList<Channel *> channels{&channelA, &channelB};

// Gives channels A and B new, empty register lists, owned by this controller.
SerialController::SerialController(PortEnumerator enumerate, QObject *parent)
    : QObject(parent), enumerate(std::move(enumerate)), timer(new QTimer(this))
{
    for (int i = 0; i < channels.size() && i < int(registerLists.size()); ++i)
        channels.at(i)->registers = &registerLists[size_t(i)];
}

SerialController::~SerialController()
{
    delete timer;
    timer = nullptr;
    closePort();
    // The store is left empty rather than pointing at freed registers; a later pass
    // has already put its own lists in place.
    for (QList<Register *> &list : registerLists) {
        for (Channel *channel : qAsConst(channels))
            if (channel->registers == &list)
                channel->registers = nullptr;
        qDeleteAll(list);
    }
}

void SerialController::startTimer()
{
    connect(timer, &QTimer::timeout, this, &SerialController::isConnected);
    timer->setInterval(PollIntervalMs);
    timer->start();
}

PortCandidate SerialController::findPort() const
{
    PortCandidate found;
    if (!enumerate)
        return found;
    const QList<PortCandidate> ports = enumerate();
    // The walk goes on after a match: of two kits the last one listed wins.
    for (const PortCandidate &port : ports) {
        if (port.hasIdentifiers && port.vendorIdentifier == KitVendorId &&
            port.productIdentifier == KitProductId)
            found = port;
    }
    return found;
}

bool SerialController::openPort()
{
    serial = new QSerialPort;
    const PortCandidate port = findPort();
    if (port.systemLocation.isEmpty()) {
        closePort();
        return false;
    }
    serial->setPortName(port.systemLocation);
    serial->setBaudRate(QSerialPort::Baud9600, QSerialPort::AllDirections);
    serial->setDataBits(QSerialPort::Data8);
    serial->setParity(QSerialPort::NoParity);
    serial->setStopBits(QSerialPort::OneStop);
    serial->setFlowControl(QSerialPort::NoFlowControl);
    serial->setReadBufferSize(ReadBufferBytes);
    if (!serial->open(QIODevice::ReadWrite)) {
        closePort();
        return false;
    }
    ++portNumber;
    return true;
}

void SerialController::closePort()
{
    if (!serial)
        return;
    if (serial->isOpen()) {
        serial->clear(QSerialPort::AllDirections);
        serial->close();
    }
    delete serial;
    serial = nullptr;
}

bool SerialController::isConnected()
{
    const bool present = !findPort().systemLocation.isEmpty();
    if (present && connected)
        return true;
    if (present) {
        if (!openPort())
            return false;
        connected = true;
        emit sigLinkChanged(true, serial->portName());
        emit sigDeviceConnected(true);
        return connected;
    }
    if (!connected)
        return false;
    // One empty enumeration is not taken as a loss of the kit.
    if (!findPort().systemLocation.isEmpty())
        return true;
    const QString port = serial ? serial->portName() : QString();
    closePort();
    connected = false;
    emit sigLinkChanged(false, port);
    emit sigDeviceConnected(false);
    return false;
}

int SerialController::maxReplyBytes(ReadType read_type, int read_data_count)
{
    switch (read_type) {
    case ReadRegisters:
        return 2 * 16 * RegisterRecordSize; // two channels of at most sixteen registers
    case ReadSensing:
        return 2 * 19 * SensingRecordSize; // two channels of nineteen parameters
    case ReadAudioSettings:
        return 16 * AudioRecordSize; // the sixteen output range values
    default:
        return 4 * read_data_count; // an identifier or a number: one read, a few at most
    }
}

qint64 SerialController::unreadBytes() const
{
    return serial ? serial->bytesAvailable() : 0;
}

void SerialController::sendData(QByteArray data, int count, int read_data_count, ReadType read_type)
{
    const QByteArray command = data.left(qMax(count, 0));
    emit sigExchangeStarted(command, read_data_count, read_type);
    if (!connected || !serial) {
        emit sigExchangeEnded(read_type, ExchangeEnd::NotConnected, command, 0);
        return;
    }
    // A reply that broke is told of within an action; alone, a command reports only its
    // failed exchanges, and a broken reply only keeps the controller from storing it.
    const bool inAction = LinkAction::current() != nullptr;
    const LinkAction action; // a command sent on its own is an action of its own
    LinkAction *const open = LinkAction::current();
    // After a failed write the kit may hold part of a command: what follows in the same
    // action would reach it misread, so none of it is tried.
    if (open->failedController == this && open->failedPort == portNumber) {
        emit sigExchangeEnded(read_type, ExchangeEnd::Skipped, command, 0);
        return;
    }
    holdPoll();

    QElapsedTimer clock;
    clock.start();
    rejectedReply.clear();
    const ExchangeEnd end = exchange(data, count, read_data_count, read_type);
    emit sigExchangeEnded(read_type, end, command, clock.elapsed());
    const QString rejected = std::exchange(rejectedReply, QString());
    if (end == ExchangeEnd::WriteFailed || end == ExchangeEnd::ByteBound ||
        end == ExchangeEnd::TimeBound) {
        // A command left unsent would reach the kit later, behind the ones that follow
        // it, and the rest of a reply cut off here must not reach the next command.
        if (serial)
            serial->clear(QSerialPort::AllDirections);
        if (end == ExchangeEnd::WriteFailed) {
            open->failedController = this;
            open->failedPort = portNumber;
        }
        isConnected();
        tell(QString(), faultDetail(end, command, rejected), true);
    } else if (!rejected.isEmpty() && inAction) {
        tell(QString(), faultDetail(end, command, rejected), true);
    }
    releasePoll();
}

void SerialController::noteRejectedReply(ReadType, QString reason)
{
    rejectedReply = reason;
}

void SerialController::showMessage(const QString &text)
{
    tell(text, QString(), false);
}

void SerialController::holdPoll()
{
    if (pollHolds++ == 0 && timer)
        timer->stop();
}

void SerialController::releasePoll()
{
    if (--pollHolds > 0)
        return;
    pollHolds = 0;
    if (timer)
        timer->start();
}

void SerialController::tell(const QString &text, const QString &detail, bool fault)
{
    if (!messagesShown)
        return; // a headless caller reports faults itself
    const LinkAction action;
    LinkAction *const open = LinkAction::current();
    if (fault && open->told)
        return; // the kit log holds the exchange and how it ended
    open->told = true;
    holdPoll();
    QMessageBox box(QMessageBox::Warning, QString(),
                    fault ? QStringLiteral("There was an error communicating with the dev kit")
                          : text,
                    QMessageBox::Ok);
    box.setInformativeText(detail);
    box.exec();
    releasePoll();
}

QString SerialController::faultDetail(ExchangeEnd end, const QByteArray &command,
                                      const QString &rejected) const
{
    const QString what = QStringLiteral("\"%1\" (%2)")
                             .arg(QString::fromLatin1(command.left(1)),
                                  KitDecoder(KitDecoder::registerStore()).command(command));
    switch (end) {
    case ExchangeEnd::WriteFailed:
        return QStringLiteral("The command %1 could not be written to the kit within %2 ms; the "
                              "rest of this action was not sent.")
            .arg(what)
            .arg(WriteTimeoutMs);
    case ExchangeEnd::ByteBound:
        return QStringLiteral("The kit's reply to %1 broke: it was longer than that reply can "
                              "be. Nothing of it was stored.")
            .arg(what);
    case ExchangeEnd::TimeBound:
        return QStringLiteral("The kit's reply to %1 broke: it did not end within %2 ms. Nothing "
                              "of it was stored.")
            .arg(what)
            .arg(ExchangeTimeLimitMs);
    default:
        return QStringLiteral("The kit's reply to %1 broke (%2). Nothing of it was stored.")
            .arg(what, rejected);
    }
}

ExchangeEnd SerialController::exchange(const QByteArray &data, int count, int read_data_count,
                                       ReadType read_type)
{
    // Bytes that came while no command waited belong to no reply.
    serial->clear(QSerialPort::Input);
    serial->clearError();
    serial->write(data.constData(), qMin<qint64>(qMax(count, 0), data.size()));
    if (!serial->waitForBytesWritten(WriteTimeoutMs))
        return ExchangeEnd::WriteFailed;
    if (read_data_count <= 0)
        return ExchangeEnd::Written;
    return readReply(read_data_count, read_type);
}

// The reply is over once the kit has been silent for ReplySilenceMs. Each read is
// handed on alone, even when it holds less than read_data_count.
ExchangeEnd SerialController::readReply(int read_data_count, ReadType read_type)
{
    const int maxBytes = maxReplyBytes(read_type, read_data_count);
    int total = 0;
    // Only the time spent on the port counts against the bound: a receiver of a read may
    // keep a message open for as long as its reader likes.
    qint64 spent = 0;
    QElapsedTimer clock;
    for (;;) {
        if (!serial)
            return ExchangeEnd::PortLost;
        const qint64 left = ExchangeTimeLimitMs - spent;
        if (left <= 0)
            return ExchangeEnd::TimeBound;
        const int wait = int(qMin<qint64>(ReplySilenceMs, left));
        clock.start();
        const bool ready = serial->waitForReadyRead(wait);
        spent += clock.elapsed();
        if (!ready) {
            const QSerialPort::SerialPortError error = serial->error();
            if (error != QSerialPort::NoError && error != QSerialPort::TimeoutError)
                return ExchangeEnd::PortLost;
            return wait < ReplySilenceMs ? ExchangeEnd::TimeBound : ExchangeEnd::Silence;
        }
        while (serial && serial->bytesAvailable() > 0) {
            const QByteArray piece = serial->read(read_data_count);
            if (piece.isEmpty())
                break;
            total += piece.size();
            if (total > maxBytes)
                return ExchangeEnd::ByteBound;
            emit sigDataRead(piece, read_data_count, read_type);
        }
    }
}
