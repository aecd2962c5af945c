#include "serialcontroller.h"

#include "registerstore.h"
#include "replyframing.h"

#include <QElapsedTimer>
#include <QMessageBox>
#include <QSerialPort>
#include <QTimer>

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
    emit sigExchangeStarted(data.left(qMax(count, 0)), read_data_count, read_type);
    if (!connected || !serial) {
        emit sigExchangeEnded(read_type, ExchangeEnd::NotConnected, data.left(count), 0);
        return;
    }
    if (timer)
        timer->stop();

    QElapsedTimer clock;
    clock.start();
    const ExchangeEnd end = exchange(data, count, read_data_count, read_type);
    emit sigExchangeEnded(read_type, end, data.left(count), clock.elapsed());
    if (end == ExchangeEnd::WriteFailed || end == ExchangeEnd::ByteBound ||
        end == ExchangeEnd::TimeBound) {
        // A command left unsent would reach the kit later, behind the ones that follow
        // it, and the rest of a reply cut off here must not reach the next command.
        if (serial)
            serial->clear(QSerialPort::AllDirections);
        isConnected();
        if (messagesShown) {
            QMessageBox box(QMessageBox::Warning, QString(),
                            QStringLiteral("There was an error communicating with the dev kit"),
                            QMessageBox::Ok);
            box.exec();
        }
    }
    if (timer)
        timer->start();
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
    QElapsedTimer clock;
    clock.start();
    for (;;) {
        if (!serial)
            return ExchangeEnd::PortLost;
        const qint64 left = ExchangeTimeLimitMs - clock.elapsed();
        if (left <= 0)
            return ExchangeEnd::TimeBound;
        const int wait = int(qMin<qint64>(ReplySilenceMs, left));
        if (!serial->waitForReadyRead(wait)) {
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
