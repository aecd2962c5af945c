#include "serialdispatcher.h"

#include "recordassembler.h"
#include "serialcontroller.h"

#include <QtDebug>

SerialDispatcher::SerialDispatcher(SerialController *controller, QObject *parent) : QObject(parent)
{
    connect(this, &SerialDispatcher::sigSendData, controller, &SerialController::sendData);
    connect(controller, &SerialController::sigDataRead, this, &SerialDispatcher::Dispatch);
    connect(controller, &SerialController::sigExchangeEnded, this,
            &SerialDispatcher::exchangeEnded);
    connect(this, &SerialDispatcher::sigReplyRejected, controller,
            &SerialController::noteRejectedReply);
}

void SerialDispatcher::exchangeEnded(ReadType, ExchangeEnd) {}

QList<QByteArray> SerialDispatcher::takeRecords(RecordAssembler &assembler, ReadType type,
                                                ExchangeEnd end)
{
    const QList<QByteArray> records = assembler.take(end);
    if (!assembler.verdict().isWhole()) {
        const QString reason = assembler.verdict().reason;
        qWarning("Reply of read type %d not stored: %s", int(type), qPrintable(reason));
        emit sigReplyRejected(type, reason);
    }
    return records;
}
