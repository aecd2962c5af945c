#pragma once

#include "link/recordassembler.h"
#include "link/serialdispatcher.h"

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
    void save();
    void read();
    void send();

private:
    static constexpr int ReplyRecordSize = 13; // eleven key characters, then the value

    void storeRecord(const QByteArray &record);

    RecordAssembler assembler{ReplyRecordSize};
};
