#pragma once

#include "link/recordassembler.h"
#include "link/serialdispatcher.h"

class QSettings;
class SerialController;

// Serial side of the settings group "audioplayback": the kit's audio output range.
class AudioSettingsController : public SerialDispatcher
{
    Q_OBJECT
public:
    explicit AudioSettingsController(SerialController *serial, QObject *parent = nullptr);

signals:
    void sigUpdateUi();

public slots:
    void Dispatch(QByteArray data, int count, ReadType type) override;
    // Stores a read's records once its reply has been judged whole.
    void exchangeEnded(ReadType type, ExchangeEnd end) override;
    void save();
    void read();
    void send();

private:
    void storeRecord(const QByteArray &record, QSettings &group);

    RecordAssembler assembler;
};
