#pragma once

#include "exchangeend.h"
#include "readtype.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>

class RecordAssembler;
class SerialController;

// Base of the controllers that talk to the kit: what a controller sends goes to
// SerialController::sendData, and every read of every reply comes back to its
// Dispatch, which picks out its own by ReadType. The end of each exchange comes
// back to exchangeEnded, after the last read.
class SerialDispatcher : public QObject
{
    Q_OBJECT
public:
    SerialDispatcher(SerialController *controller, QObject *parent = nullptr);

signals:
    void sigSendData(QByteArray data, int count, int read_data_count, ReadType read_type);
    // A reply of this controller's that was not stored, and why.
    void sigReplyRejected(ReadType type, QString reason);

public slots:
    virtual void Dispatch(QByteArray data, int count, ReadType type) = 0;
    // Nothing by default: a controller whose replies are records stores them here.
    virtual void exchangeEnded(ReadType type, ExchangeEnd end);

protected:
    // Ends an assembled reply: the records that may be stored. A reply that may not is
    // logged and announced by sigReplyRejected.
    QList<QByteArray> takeRecords(RecordAssembler &assembler, ReadType type, ExchangeEnd end);
};
