#include "kitdecoder.h"

#include "replyframing.h"
#include "wire.h"

namespace {

constexpr int RegisterDataBits = 12;

struct CommandInfo
{
    char first;
    int length;
    int recordSize; // -1: no reply; 0: a whole read is one record
    const char *words;
};

// Every command of the protocol: its length, the size of its reply's records and
// the words for a command that carries no argument worth telling.
const CommandInfo Commands[] = {
    {'0', 4, -1, "write register"},
    {'1', 2, -1, "save registers"},
    {'2', 5, -1, "write sensing parameter"},
    {'3', 2, -1, "save sensing parameters"},
    {'4', 1, RegisterRecordSize, "read registers"},
    {'5', 1, SensingRecordSize, "read sensing parameters"},
    {'6', 6, -1, "write audio setting"},
    {'7', 1, -1, "save audio settings"},
    {'8', 1, AudioRecordSize, "read audio settings"},
    {'=', 1, 0, "read firmware identifier"},
    {'H', 1, 0, "read chip identifier"},
    {'<', 1, -1, "power up"},
    {'>', 1, -1, "power down"},
    {'A', 1, -1, "start force measurement"},
    {'B', 1, 0, "read maximum threshold"},
    {'C', 3, -1, "SDO oscillator"},
    {'D', 2, -1, "sensing"},
    {'F', 1, -1, "output off"},
    {'G', 1, -1, "output on"},
};

const CommandInfo *commandInfo(char first)
{
    for (const CommandInfo &info : Commands) {
        if (info.first == first)
            return &info;
    }
    return nullptr;
}

QString hexValue(uint value, int digits)
{
    return QStringLiteral("0x") +
           QString::number(value, 16).toUpper().rightJustified(digits, QLatin1Char('0'));
}

// A channel as a command carries it: the digit "0" or "1".
QString channelDigit(char digit)
{
    if (digit == '0' || digit == '1')
        return QStringLiteral("channel ") + QLatin1Char(digit == '0' ? 'A' : 'B');
    return QStringLiteral("channel '%1'").arg(QLatin1Char(digit));
}

// A channel as a reply carries it: the raw byte 0 or 1.
QString channelByte(quint8 byte)
{
    if (byte <= 1)
        return QStringLiteral("channel ") + QLatin1Char(byte == 0 ? 'A' : 'B');
    return QStringLiteral("channel %1").arg(byte);
}

QString onOff(char flag)
{
    return flag == '1'   ? QStringLiteral("on")
           : flag == '0' ? QStringLiteral("off")
                         : QStringLiteral("'%1'").arg(flag);
}

QString number(float value)
{
    return QString::number(double(value));
}

// Text up to the first zero byte, read as Latin-1.
QString text(const QByteArray &bytes)
{
    const int zero = bytes.indexOf('\0');
    return QString::fromLatin1(zero < 0 ? bytes : bytes.left(zero));
}

} // namespace

KitDecoder::KitDecoder(RegisterLookup registers, SensingLookup sensing)
    : registers(std::move(registers)), sensing(std::move(sensing))
{
}

KitDecoder::RegisterLookup KitDecoder::registerStore()
{
    return [](int channel, int address) -> const Register * {
        if (channel < 0 || channel >= channels.size() || !channels.at(channel) ||
            !channels.at(channel)->registers)
            return nullptr;
        for (const Register *reg : qAsConst(*channels.at(channel)->registers)) {
            if (reg && int(reg->address) == address)
                return reg;
        }
        return nullptr;
    };
}

int KitDecoder::commandLength(char first)
{
    const CommandInfo *info = commandInfo(first);
    return info ? info->length : 0;
}

int KitDecoder::recordSize(char command)
{
    const CommandInfo *info = commandInfo(command);
    return info ? info->recordSize : -1;
}

QString KitDecoder::hex(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.toHex(' ').toUpper());
}

QString KitDecoder::command(const QByteArray &command) const
{
    if (command.isEmpty())
        return QStringLiteral("nothing");
    const CommandInfo *info = commandInfo(command.at(0));
    if (!info)
        return QStringLiteral("unknown command %1").arg(hexValue(quint8(command.at(0)), 2));
    QString words = QLatin1String(info->words);
    if (command.size() < info->length)
        return words +
               QStringLiteral(", cut short: %1 of %2 bytes").arg(command.size()).arg(info->length);
    switch (info->first) {
    case '0': {
        const quint16 word = bytesToInt(command.mid(2, 2));
        const char digit = command.at(1);
        const int channel = digit == '0' ? 0 : digit == '1' ? 1 : -1;
        words += QStringLiteral(", ") + channelDigit(digit) + QStringLiteral(", ") +
                 registerWords(channel, word >> RegisterDataBits, word & 0x0FFF);
        break;
    }
    case '1':
    case '3':
        words += QStringLiteral(", ") + channelDigit(command.at(1));
        break;
    case '2':
        words += QStringLiteral(", ") + channelDigit(command.at(1)) + QStringLiteral(", ") +
                 sensingWords(quint8(command.at(2)), command.mid(3, 2));
        break;
    case '6':
        // The three characters are those of the value's key, as the "8" reply has it.
        words +=
            QStringLiteral(", ch%1sw%2type%3 = %4")
                .arg(QString(QLatin1Char(command.at(1))), QString(QLatin1Char(command.at(2))),
                     QString(QLatin1Char(command.at(3))), number(bytesToFloat(command.mid(4, 2))));
        break;
    case 'C':
        words += QStringLiteral(", ") + channelDigit(command.at(1)) + QStringLiteral(", ") +
                 onOff(command.at(2));
        break;
    case 'D':
        words += QStringLiteral(" ") + onOff(command.at(1));
        break;
    default:
        break;
    }
    if (command.size() > info->length)
        words += command.size() - info->length == 1
                     ? QStringLiteral(", 1 extra byte")
                     : QStringLiteral(", %1 extra bytes").arg(command.size() - info->length);
    return words;
}

QString KitDecoder::record(char command, const QByteArray &record) const
{
    switch (command) {
    case '4': {
        if (record.size() < RegisterRecordSize)
            break;
        const quint8 address = quint8(record.at(1)) >> 4;
        const quint16 data = quint16((quint8(record.at(1)) & 0x0F) << 8 | quint8(record.at(2)));
        const quint8 channel = quint8(record.at(0));
        return channelByte(channel) + QStringLiteral(", ") +
               registerWords(channel <= 1 ? channel : -1, address, data);
    }
    case '5':
        if (record.size() < SensingRecordSize)
            break;
        return channelByte(quint8(record.at(0))) + QStringLiteral(", ") +
               sensingWords(quint8(record.at(1)), record.mid(2, 2));
    case '8':
        if (record.size() < AudioRecordSize)
            break;
        return audioRecordKey(record) + QStringLiteral(" = ") +
               number(bytesToFloat(record.mid(AudioRecordSize - 2, 2)));
    case '=':
        return QStringLiteral("firmware identifier \"%1\"").arg(text(record));
    case 'H': {
        const quint16 id = bytesToInt(record);
        const QString revision = id == ChipIdRevB   ? QStringLiteral("revision B")
                                 : id == ChipIdRevC ? QStringLiteral("revision C")
                                                    : QStringLiteral("no known chip");
        return QStringLiteral("chip identifier %1 (%2)").arg(hexValue(id, 4), revision);
    }
    case 'B': {
        bool ok = false;
        const int value = text(record).toInt(&ok);
        return ok ? QStringLiteral("maximum threshold %1").arg(value)
                  : QStringLiteral("maximum threshold \"%1\", not a number").arg(text(record));
    }
    default:
        return QStringLiteral("unexpected reply %1").arg(hex(record));
    }
    return QStringLiteral("incomplete record %1").arg(hex(record));
}

QStringList KitDecoder::records(char command, const QByteArray &reply, QByteArray *rest) const
{
    QStringList lines;
    const int size = recordSize(command);
    if (size <= 0) {
        if (!reply.isEmpty())
            lines.append(record(command, reply));
        if (rest)
            rest->clear();
        return lines;
    }
    int pos = 0;
    for (; pos + size <= reply.size(); pos += size)
        lines.append(record(command, reply.mid(pos, size)));
    const QByteArray tail = reply.mid(pos);
    if (rest)
        *rest = tail;
    else if (!tail.isEmpty())
        lines.append(record(command, tail));
    return lines;
}

QString KitDecoder::registerWords(int channel, int address, quint16 data) const
{
    const Register *reg = registers && channel >= 0 ? registers(channel, address) : nullptr;
    if (!reg)
        return QStringLiteral("address %1, %2").arg(address).arg(hexValue(data, 3));
    QStringList fields;
    // Fields are packed from bit 11 down in list order; a map whose widths add up to
    // more than 12 bits leaves the fields beyond the last bit untold.
    int shift = RegisterDataBits;
    for (const Field &field : reg->fields) {
        shift -= field.length;
        if (field.length == 0 || shift < 0)
            break;
        const uint value = (data >> shift) & ((1u << field.length) - 1);
        fields.append(QStringLiteral("%1 = %2").arg(field.name).arg(value));
    }
    QString words =
        QStringLiteral("%1 (address %2), %3").arg(reg->name).arg(address).arg(hexValue(data, 3));
    if (!fields.isEmpty())
        words += QStringLiteral(": ") + fields.join(QStringLiteral(", "));
    return words;
}

QString KitDecoder::sensingWords(quint8 code, const QByteArray &value) const
{
    const SensingName name = sensing ? sensing(code) : SensingName();
    if (name.key.isEmpty())
        return QStringLiteral("parameter %1 = %2")
            .arg(hexValue(code, 2), hexValue(bytesToInt(value), 4));
    if (name.real)
        return name.key + QStringLiteral(" = ") + number(bytesToFloat(value));
    return name.key + QStringLiteral(" = ") + QString::number(bytesToInt(value));
}
