#include "kitfirmware.h"

#include "link/kitdecoder.h"
#include "link/wire.h"
#include "registers/registermap.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

namespace {

const char *const JsonChipId = "chipid";
const char *const JsonRegisters = "registers";
const char *const JsonSensing = "sensing";
const char *const JsonAudio = "audio";

// Sensing parameter codes in the order the program sends them, and the factory
// values of each channel in the same order, raw: words as they are, reals in
// hundredths. The factory set is that of the TDK PowerHap 2.5G actuator.
const char SensingCodes[KitFirmware::SensingParameterCount + 1] = "0123456AB79:;<>?!#@";
const qint16 FactorySensing[KitFirmware::SensingParameterCount] = {
    75, 100, 75, 100, 180, 12, 15, 0, 0, 1, 10, 6000, 0, 6000, -1000, 6000, 0, 6000, -1000};
// Amplitude, offset, Vmax and Vmin in hundredths, for every channel and switch state.
const qint16 FactoryAudio[4] = {6000, 0, 6000, -1000};

const int DacAddress = 8;
const int IcStatusAddress = 12;
const int SenseAddress = 13;
const quint16 FifoEmptyBit = 1 << 6;
const quint16 SenseFeedbackPowered = 500; // a resting actuator's voltage, 10 bits

quint16 packFields(const Register &reg)
{
    quint16 data = 0;
    int shift = 12;
    for (const Field &field : reg.fields) {
        shift -= field.length;
        if (shift < 0 || field.length == 0)
            break;
        data |= quint16((field.value & ((1u << field.length) - 1)) << shift);
    }
    return data & 0x0FFF;
}

// Reads a JSON array of exactly count integers within 0..max.
bool readNumbers(const QJsonValue &value, int count, int max, quint16 *out)
{
    if (!value.isArray() || value.toArray().size() != count)
        return false;
    const QJsonArray array = value.toArray();
    for (int i = 0; i < count; ++i) {
        const double number = array.at(i).toDouble(-1);
        if (!array.at(i).isDouble() || number < 0 || number > max || number != int(number))
            return false;
        out[i] = quint16(number);
    }
    return true;
}

template <typename Array> QJsonArray toJson(const Array &values)
{
    QJsonArray array;
    for (quint16 value : values)
        array.append(int(value));
    return array;
}

} // namespace

KitFirmware::KitFirmware(quint16 chipId, const QByteArray &firmwareId)
    : chip(chipId), firmware(firmwareId)
{
    factoryReset();
    powerCycle();
}

int KitFirmware::commandLength(char first)
{
    return KitDecoder::commandLength(first);
}

QByteArray KitFirmware::sensingCodes()
{
    return QByteArray(SensingCodes);
}

QList<KitFirmware::Exchange> KitFirmware::feed(const QByteArray &bytes)
{
    pending.append(bytes);
    QList<Exchange> done;
    while (!pending.isEmpty()) {
        const int length = commandLength(pending.at(0));
        if (length == 0) {
            pending.remove(0, 1);
            continue;
        }
        if (pending.size() < length)
            break;
        const QByteArray command = pending.left(length);
        pending.remove(0, length);
        done.append({command, execute(command)});
    }
    return done;
}

void KitFirmware::powerCycle()
{
    ram = eeprom;
    pending.clear();
    powered = true;
    outputEnabled = true;
    oscillator.fill(false);
    sensingActive = true;
    measuring = false;
    measuredMax = 0;
}

void KitFirmware::setChipId(quint16 chipId)
{
    chip = chipId;
    const Memory kept = eeprom;
    factoryReset();
    eeprom.sensing = kept.sensing;
    eeprom.audio = kept.audio;
    ram.sensing = kept.sensing;
    ram.audio = kept.audio;
}

void KitFirmware::factoryReset()
{
    present.fill(false);
    readOnly.fill(false);
    defaults.fill(0);
    const QList<Register> &table = isRevisionB() ? registers_rev_b : registers_rev_c;
    for (const Register &reg : table) {
        present[reg.address] = true;
        readOnly[reg.address] = !reg.editable;
        defaults[reg.address] = packFields(reg);
    }
    for (int channel = 0; channel < ChannelCount; ++channel) {
        ram.registers[channel] = defaults;
        for (int i = 0; i < SensingParameterCount; ++i)
            ram.sensing[channel][i] = quint16(FactorySensing[i]);
    }
    for (int i = 0; i < AudioValueCount; ++i)
        ram.audio[i] = quint16(FactoryAudio[i % 4]);
    eeprom = ram;
}

int KitFirmware::channelOf(char digit)
{
    if (digit == '0')
        return 0;
    if (digit == '1')
        return 1;
    return -1;
}

int KitFirmware::sensingIndex(char code)
{
    for (int i = 0; i < SensingParameterCount; ++i) {
        if (SensingCodes[i] == code)
            return i;
    }
    return -1;
}

bool KitFirmware::hasRegister(int address) const
{
    return address >= 0 && address < RegisterCount && present[address];
}

bool KitFirmware::isReadOnlyRegister(int address) const
{
    return hasRegister(address) && readOnly[address];
}

bool KitFirmware::isOscillatorRunning(int channel) const
{
    return channel >= 0 && channel < ChannelCount && oscillator[channel];
}

quint16 KitFirmware::statusState() const
{
    if (!powered)
        return 0;
    if (oscillator[0] || oscillator[1])
        return 3;
    return outputEnabled ? 2 : 1;
}

quint16 KitFirmware::registerData(int channel, int address) const
{
    if (!hasRegister(address) || channel < 0 || channel >= ChannelCount)
        return 0;
    if (!readOnly[address])
        return ram.registers[channel][address];
    // The status registers report the chip's state; the calibration (DAC) is fixed.
    const quint16 state = quint16(statusState() << 10);
    if (address == IcStatusAddress)
        return state | FifoEmptyBit | (isRevisionB() ? 31 : 63);
    if (address == SenseAddress)
        return state | (powered ? SenseFeedbackPowered : 0);
    return defaults[address];
}

quint16 KitFirmware::sensingValue(int channel, char code) const
{
    const int index = sensingIndex(code);
    if (index < 0 || channel < 0 || channel >= ChannelCount)
        return 0;
    return ram.sensing[channel][index];
}

quint16 KitFirmware::audioValue(int channel, int sw, int type) const
{
    if (channel < 0 || channel > 1 || sw < 0 || sw > 1 || type < 0 || type > 3)
        return 0;
    return ram.audio[channel * 8 + sw * 4 + type];
}

QByteArray KitFirmware::execute(const QByteArray &command)
{
    const char first = command.at(0);
    const int channel = command.size() > 1 ? channelOf(command.at(1)) : -1;
    QByteArray reply;
    switch (first) {
    case '0': {
        const quint16 word = bytesToInt(command.mid(2, 2));
        const int address = word >> 12;
        if (channel >= 0 && hasRegister(address) && !readOnly[address])
            ram.registers[channel][address] = word & 0x0FFF;
        break;
    }
    case '1':
        if (channel >= 0) {
            eeprom.registers[channel] = ram.registers[channel];
            saveEeprom();
        }
        break;
    case '2': {
        const int index = sensingIndex(command.at(2));
        if (channel >= 0 && index >= 0)
            ram.sensing[channel][index] = bytesToInt(command.mid(3, 2));
        break;
    }
    case '3':
        if (channel >= 0) {
            eeprom.sensing[channel] = ram.sensing[channel];
            saveEeprom();
        }
        break;
    case '4':
        for (int ch = 0; ch < ChannelCount; ++ch) {
            for (int address = 0; address < RegisterCount; ++address) {
                if (!present[address])
                    continue;
                const quint16 data = registerData(ch, address);
                reply.append(char(ch));
                reply.append(char((address << 4) | (data >> 8)));
                reply.append(char(data & 0xFF));
            }
        }
        break;
    case '5':
        for (int ch = 0; ch < ChannelCount; ++ch) {
            for (int i = 0; i < SensingParameterCount; ++i) {
                reply.append(char(ch));
                reply.append(SensingCodes[i]);
                reply.append(intToBytes(ram.sensing[ch][i]));
            }
        }
        break;
    case '6': {
        const int ch = command.at(1) - '0';
        const int sw = command.at(2) - '0';
        const int type = command.at(3) - '0';
        if (ch >= 0 && ch <= 1 && sw >= 0 && sw <= 1 && type >= 0 && type <= 3)
            ram.audio[ch * 8 + sw * 4 + type] = bytesToInt(command.mid(4, 2));
        break;
    }
    case '7':
        eeprom.audio = ram.audio;
        saveEeprom();
        break;
    case '8':
        for (int i = 0; i < AudioValueCount; ++i) {
            reply.append(
                QStringLiteral("ch%1sw%2type%3").arg(i / 8).arg(i / 4 % 2).arg(i % 4).toLatin1());
            reply.append(intToBytes(ram.audio[i]));
        }
        break;
    case '=':
        reply = firmware;
        break;
    case 'H':
        reply = intToBytes(chip);
        break;
    case '<':
        powered = true;
        break;
    case '>':
        powered = false;
        break;
    case 'A':
        measuring = true;
        measuredMax = 0;
        break;
    case 'B':
        // The simulated finger presses while the measurement runs.
        if (measuring)
            measuredMax = qMax(measuredMax, qBound(0, press, MaxReportedPress));
        reply = QByteArray::number(measuredMax);
        break;
    case 'C':
        if (channel >= 0 && (command.at(2) == '0' || command.at(2) == '1'))
            oscillator[channel] = command.at(2) == '1';
        break;
    case 'D':
        if (command.at(1) == '0' || command.at(1) == '1')
            sensingActive = command.at(1) == '1';
        break;
    case 'F':
        outputEnabled = false;
        break;
    case 'G':
        outputEnabled = true;
        break;
    default:
        break;
    }
    return reply;
}

QString KitFirmware::attachEepromFile(const QString &path)
{
    eepromPath = path;
    QFile file(path);
    if (!file.exists())
        return QString();
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("%1: %2").arg(path, file.errorString());
    const QString error = loadEeprom(file.readAll());
    if (!error.isEmpty())
        return QStringLiteral("%1: %2").arg(path, error);
    powerCycle();
    return QString();
}

QString KitFirmware::loadEeprom(const QByteArray &json)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (!document.isObject())
        return QStringLiteral("not an EEPROM image (%1)").arg(parseError.errorString());
    const QJsonObject object = document.object();
    Memory loaded = eeprom;
    for (int channel = 0; channel < ChannelCount; ++channel) {
        if (!readNumbers(object.value(JsonSensing).toArray().at(channel), SensingParameterCount,
                         0xFFFF, loaded.sensing[channel].data()))
            return QStringLiteral("the sensing values are damaged");
    }
    if (!readNumbers(object.value(JsonAudio), AudioValueCount, 0xFFFF, loaded.audio.data()))
        return QStringLiteral("the audio values are damaged");
    // Registers saved for another chip do not fit this one: it keeps its defaults.
    if (object.value(JsonChipId).toInt(-1) == chip) {
        for (int channel = 0; channel < ChannelCount; ++channel) {
            if (!readNumbers(object.value(JsonRegisters).toArray().at(channel), RegisterCount,
                             0x0FFF, loaded.registers[channel].data()))
                return QStringLiteral("the register values are damaged");
        }
    }
    eeprom = loaded;
    return QString();
}

void KitFirmware::saveEeprom()
{
    if (eepromPath.isEmpty())
        return;
    QJsonObject object;
    object.insert(JsonChipId, int(chip));
    QJsonArray registers;
    QJsonArray sensing;
    for (int channel = 0; channel < ChannelCount; ++channel) {
        registers.append(toJson(eeprom.registers[channel]));
        sensing.append(toJson(eeprom.sensing[channel]));
    }
    object.insert(JsonRegisters, registers);
    object.insert(JsonSensing, sensing);
    object.insert(JsonAudio, toJson(eeprom.audio));
    // Written aside and renamed, so that an interrupted save leaves the old image.
    QSaveFile file(eepromPath);
    if (file.open(QIODevice::WriteOnly)) {
        file.write(QJsonDocument(object).toJson());
        file.commit();
    }
}
