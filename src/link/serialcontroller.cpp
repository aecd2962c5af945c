#include "serialcontroller.h"

#include "registerstore.h"

#include <QMessageBox>
#include <QSerialPort>
#include <QTimer>

QList<Channel *> channels;

namespace {

// Gives channels A and B new, empty register lists. The lists of an earlier pass
// are left as they are: nothing of that pass may still point into them.
void prepareRegisterStore()
{
    while (channels.size() < 2)
        channels.append(new Channel);
    for (Channel *channel : qAsConst(channels))
        channel->registers = new QList<Register *>;
}

} // namespace

SerialController::SerialController(PortEnumerator enumerate, QObject *parent)
    : QObject(parent), enumerate(std::move(enumerate)), timer(new QTimer(this))
{
    prepareRegisterStore();
}

SerialController::~SerialController()
{
    delete timer;
    timer = nullptr;
    closePort();
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

void SerialController::sendData(QByteArray data, int count, int read_data_count, ReadType read_type)
{
    emit sigExchangeStarted(data.left(qMax(count, 0)));
    if (!connected || !serial)
        return;
    if (timer)
        timer->stop();

    serial->write(data.constData(), qMin<qint64>(qMax(count, 0), data.size()));
    if (!serial->waitForBytesWritten(WriteTimeoutMs)) {
        // The command is lost: left in the buffer, it would reach the kit later,
        // behind the commands that follow it.
        serial->clear(QSerialPort::Output);
        isConnected();
        QMessageBox box(QMessageBox::Warning, QString(),
                        QStringLiteral("There was an error communicating with the dev kit"),
                        QMessageBox::Ok);
        box.exec();
        if (timer)
            timer->start();
        return;
    }

    if (read_data_count > 0) {
        // The reply is over once the kit has been silent for ReplySilenceMs. Each
        // read is handed on alone, even when it holds less than read_data_count.
        while (serial && serial->waitForReadyRead(ReplySilenceMs)) {
            while (serial && serial->bytesAvailable() > 0) {
                const QByteArray piece = serial->read(read_data_count);
                if (piece.isEmpty())
                    break;
                emit sigDataRead(piece, read_data_count, read_type);
            }
        }
    }
    if (timer)
        timer->start();
}
