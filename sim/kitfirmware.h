#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <array>

// A stand-in for the firmware of the kit's microcontroller and the chip behind it.
// A plain object without threads or timers: it is fed the bytes that arrive on the
// serial line and answers with the bytes the kit would send back. Commands are cut
// out of the stream by their first byte and fixed length; an unknown first byte is
// dropped, and a command that has not arrived whole waits for the rest.
//
// Replies of the read commands, in this order:
//   "4"  3-byte records (channel, address << 4 | bits 11..8, bits 7..0): channel 0
//        then channel 1, each in ascending address order, only addresses the chip has;
//   "5"  4-byte records (channel, parameter code, value): channel 0 then channel 1,
//        each in the order in which the program sends the parameters;
//   "8"  13-byte records (11-character key, fixed-100 value): channel 0 then 1, within
//        a channel the switch state 0 then 1, within that the types 0 to 3.
class KitFirmware
{
public:
    static constexpr quint16 ChipIdRevB = 0x2466;
    static constexpr quint16 ChipIdRevC = 0x246A;
    static constexpr int ChannelCount = 2;
    static constexpr int RegisterCount = 16;
    static constexpr int SensingParameterCount = 19;
    static constexpr int AudioValueCount = 16;
    static constexpr int MaxReportedPress = 999; // "B" answers at most three digits

    // One command cut out of the stream, with the reply it produced (empty if none).
    struct Exchange
    {
        QByteArray command;
        QByteArray reply;
    };

    explicit KitFirmware(quint16 chipId = ChipIdRevC, const QByteArray &firmwareId = "2.3");

    // Takes received bytes and returns the commands completed by them, in order.
    QList<Exchange> feed(const QByteArray &bytes);
    int pendingBytes() const { return pending.size(); }

    // Power goes off and comes back: what was not saved to EEPROM is lost, and the
    // kit starts as at power-up (chip powered, output on, oscillators off, sensing on).
    void powerCycle();

    // Length of the command that starts with this byte, or 0 if there is no such command.
    static int commandLength(char first);
    // The sensing parameter codes in the order in which the program sends them.
    static QByteArray sensingCodes();

    quint16 chipId() const { return chip; }
    // Puts another chip on the board: its registers start from that revision's
    // defaults, in RAM and in EEPROM. An unknown identifier behaves as revision C.
    void setChipId(quint16 chipId);
    bool isRevisionB() const { return chip == ChipIdRevB; }
    QByteArray firmwareId() const { return firmware; }
    void setFirmwareId(const QByteArray &id) { firmware = id; }

    bool hasRegister(int address) const;
    bool isReadOnlyRegister(int address) const;
    // The 12-bit data the chip reports for a register, read-only ones included;
    // 0 for a register the chip does not have.
    quint16 registerData(int channel, int address) const;
    // Raw 16-bit value of a sensing parameter as last received, by wire code.
    quint16 sensingValue(int channel, char code) const;
    // Raw fixed-100 value of the audio output range value ch/sw/type.
    quint16 audioValue(int channel, int sw, int type) const;

    bool isPowered() const { return powered; }
    bool isOutputEnabled() const { return outputEnabled; }
    bool isOscillatorRunning(int channel) const;
    bool isSensingActive() const { return sensingActive; }
    bool isMeasuring() const { return measuring; }

    // The value a press on the piezo of channel A reaches during a measurement.
    int pressValue() const { return press; }
    void setPressValue(int value) { press = value; }

    // Keeps the EEPROM in a file between runs: a valid file replaces the EEPROM and
    // the kit powers up from it; an invalid one is left untouched, the EEPROM keeps
    // its factory content and the reason is returned. Every save rewrites the file.
    // Returns an empty text on success or when the file does not exist yet.
    QString attachEepromFile(const QString &path);

private:
    struct Memory
    {
        std::array<std::array<quint16, RegisterCount>, ChannelCount> registers{};
        std::array<std::array<quint16, SensingParameterCount>, ChannelCount> sensing{};
        std::array<quint16, AudioValueCount> audio{};
    };

    QByteArray execute(const QByteArray &command);
    void factoryReset();
    void saveEeprom();
    static int channelOf(char digit);
    static int sensingIndex(char code);
    quint16 statusState() const;
    QString loadEeprom(const QByteArray &json);

    quint16 chip;
    QByteArray firmware;
    QByteArray pending;
    Memory ram;
    Memory eeprom;
    std::array<bool, RegisterCount> present{};
    std::array<bool, RegisterCount> readOnly{};
    std::array<quint16, RegisterCount> defaults{};
    bool powered = true;
    bool outputEnabled = true;
    std::array<bool, ChannelCount> oscillator{};
    bool sensingActive = true;
    bool measuring = false;
    int measuredMax = 0;
    int press = 130;
    QString eepromPath;
};
