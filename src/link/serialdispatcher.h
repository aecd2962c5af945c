#pragma once

#include "readtype.h"

#include <QByteArray>
#include <QObject>

class SerialController;

// Base of the controllers that talk to the kit: what a controller sends goes to
// SerialController::sendData, and every read of every reply comes back to its
// Dispatch, which picks out its own by ReadType.
class SerialDispatcher : public QObject
{
    Q_OBJECT
public:
    SerialDispatcher(SerialController *controller, QObject *parent = nullptr);

signals:
    void sigSendData(QByteArray data, int count, int read_data_count, ReadType read_type);

public slots:
    virtual void Dispatch(QByteArray data, int count, ReadType type) = 0;
};
