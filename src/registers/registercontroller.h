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

    void sendRegister(int channel, int address, int value);
    void readRegisters();
    void saveRegisters();

signals:
    void sigSetFirmwareId(QString firmwareId);
    void sigSetChipId(QByteArray ChipId);
    void sigActivatedChannels(QString activatedChannels);

public slots:
    void updateSettings();
    void Dispatch(QByteArray data, int count, ReadType type) override;
    void powerDown();
    void powerUp();
    void sdoOscillator(int channel, int enable);
    void setOutput(bool enable);

private:
    void loadRegisters();
};
