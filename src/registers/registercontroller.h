#pragma once

#include "link/recordassembler.h"
#include "link/serialdispatcher.h"

#include <QString>

class SerialController;

// Command side of the register subsystem: register writes and read-backs, the
// chip-wide commands, and the relay of the firmware and chip identifiers.
class RegisterController : public SerialDispatcher
{
    Q_OBJECT
public:
    explicit RegisterController(SerialController *serial, QObject *parent = nullptr);

    // Writes one register: value holds the 12 data bits, address 0 to 15.
    void sendRegister(int channel, int address, int value);
    // Reads every register back into the store, then writes the store to the settings.
    void readRegisters();
    // Asks the kit to keep both channels' registers in its EEPROM.
    void saveRegisters();

    // Bounds on what a settings file edited by hand can make the store hold.
    static constexpr int MaxRegisters = 16;
    static constexpr int MaxFields = 12;

signals:
    void sigSetFirmwareId(QString firmwareId);
    void sigSetChipId(QByteArray ChipId);
    void sigActivatedChannels(QString activatedChannels);

public slots:
    // Writes the store to the settings, all but editable and hidden.
    void updateSettings();
    void Dispatch(QByteArray data, int count, ReadType type) override;
    // Stores a register read-back once its reply has been judged whole.
    void exchangeEnded(ReadType type, ExchangeEnd end) override;
    void powerDown();
    void powerUp();
    void sdoOscillator(int channel, int enable);
    void setOutput(bool enable);

private:
    void loadRegisters();
    void send(const QByteArray &data, int read_data_count = 0, ReadType read_type = ReadNone);

    RecordAssembler records{RegisterRecordSize, judgeRegisterReply};
};
