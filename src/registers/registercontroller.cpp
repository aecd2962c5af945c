#include "registercontroller.h"

#include "app/constants.h"
#include "link/registerstore.h"
#include "link/wire.h"
#include "registers/registerkeys.h"
#include "registers/registermap.h"
#include "registers/registermodel.h"

#include <QSettings>

namespace {

QList<Register *> *channelRegisters(int channel)
{
    if (channel < 0 || channel >= channels.size() || !channels.at(channel))
        return nullptr;
    return channels.at(channel)->registers;
}

// Writes a register's fields into the register entry that settings stands on.
void writeFields(QSettings &settings, const QList<Field> &fields)
{
    settings.beginWriteArray(FIELDS_KEY);
    for (int j = 0; j < fields.size(); ++j) {
        const Field &field = fields.at(j);
        settings.setArrayIndex(j);
        settings.setValue(FIELD_NAME_KEY, field.name);
        settings.setValue(FIELD_VALUE_KEY, field.value);
        // A width the store cannot have come from a file edited by hand; a length of 0 is
        // what a missing key reads as, and it is not written back as if it were one.
        if (field.length >= 1 && field.length <= RegisterDataBits)
            settings.setValue(FIELD_LENGTH_KEY, field.length);
        settings.setValue(FIELD_MIN_KEY, field.min);
        settings.setValue(FIELD_MAX_KEY, field.max);
        settings.setValue(FIELD_DESCRIPTION_KEY, field.description);
    }
    settings.endArray();
}

void seedSettings(QSettings &settings, const QList<Register> &table)
{
    settings.beginWriteArray(CHANNELS_KEY);
    for (int channel = 0; channel < 2; ++channel) {
        settings.setArrayIndex(channel);
        settings.beginWriteArray(REGISTERS_KEY);
        for (int i = 0; i < table.size(); ++i) {
            const Register &reg = table.at(i);
            settings.setArrayIndex(i);
            settings.setValue(REGISTER_ADDRESS_KEY, reg.address);
            settings.setValue(REGISTER_NAME_KEY, reg.name);
            settings.setValue(REGISTER_EDITABLE_KEY, reg.editable);
            settings.setValue(REGISTER_HIDDEN_KEY, reg.hidden);
            writeFields(settings, reg.fields);
        }
        settings.endArray();
    }
    settings.endArray();
    settings.sync();
}

// Stands on entry `index` of the open array and tells whether the entry has nothing in
// it: an array whose size claims more entries than it holds ends there, rather than
// growing empty registers and fields that a write-back would then put into the file.
bool isMissingEntry(QSettings &settings, int index)
{
    settings.setArrayIndex(index);
    return settings.childKeys().isEmpty() && settings.childGroups().isEmpty();
}

quint16 readNumber(const QSettings &settings, const QString &key)
{
    return quint16(settings.value(key, 0).toUInt());
}

} // namespace

RegisterController::RegisterController(SerialController *serial, QObject *parent)
    : SerialDispatcher(serial, parent)
{
    loadRegisters();
}

void RegisterController::loadRegisters()
{
    QSettings settings;
    int chipid = settings.value(CHIPID_KEY, 0).toInt();
    if (chipid < 0 || chipid > 255)
        chipid = 0;

    const int stored = settings.beginReadArray(CHANNELS_KEY);
    settings.endArray();
    if (stored == 0)
        seedSettings(settings, chipid == CHIPID_REV_B ? registers_rev_b : registers_rev_c);

    settings.beginReadArray(CHANNELS_KEY);
    for (int channel = 0; channel < 2; ++channel) {
        QList<Register *> *list = channelRegisters(channel);
        if (!list)
            continue;
        settings.setArrayIndex(channel);
        const int registerCount = qMin(settings.beginReadArray(REGISTERS_KEY), MaxRegisters);
        for (int i = 0; i < registerCount && !isMissingEntry(settings, i); ++i) {
            auto *reg = new Register;
            reg->address = readNumber(settings, REGISTER_ADDRESS_KEY) & 0xF;
            reg->name = settings.value(REGISTER_NAME_KEY).toString();
            reg->editable = settings.value(REGISTER_EDITABLE_KEY, false).toBool();
            reg->hidden = settings.value(REGISTER_HIDDEN_KEY, false).toBool();
            const int fieldCount = qMin(settings.beginReadArray(FIELDS_KEY), MaxFields);
            for (int j = 0; j < fieldCount && !isMissingEntry(settings, j); ++j) {
                Field field;
                field.name = settings.value(FIELD_NAME_KEY).toString();
                field.value = readNumber(settings, FIELD_VALUE_KEY);
                field.length = readNumber(settings, FIELD_LENGTH_KEY);
                field.min = readNumber(settings, FIELD_MIN_KEY);
                field.max = readNumber(settings, FIELD_MAX_KEY);
                field.description = settings.value(FIELD_DESCRIPTION_KEY).toString();
                reg->fields.append(field);
            }
            settings.endArray();
            list->append(reg);
        }
        settings.endArray();
    }
    settings.endArray();
}

void RegisterController::updateSettings()
{
    QSettings settings;
    settings.beginWriteArray(CHANNELS_KEY);
    for (int channel = 0; channel < 2; ++channel) {
        const QList<Register *> *list = channelRegisters(channel);
        settings.setArrayIndex(channel);
        settings.beginWriteArray(REGISTERS_KEY);
        for (int i = 0; list && i < list->size(); ++i) {
            const Register *reg = list->at(i);
            settings.setArrayIndex(i);
            settings.setValue(REGISTER_ADDRESS_KEY, reg->address);
            settings.setValue(REGISTER_NAME_KEY, reg->name);
            writeFields(settings, reg->fields);
        }
        settings.endArray();
    }
    settings.endArray();
    settings.sync();
}

void RegisterController::Dispatch(QByteArray data, int count, ReadType type)
{
    Q_UNUSED(count)
    switch (type) {
    case ReadRegisters:
        records.feed(data);
        break;
    case ReadFirmwareId: {
        const int end = data.indexOf('\0');
        emit sigSetFirmwareId(QString::fromLatin1(end < 0 ? data : data.left(end)));
        break;
    }
    case ReadChipId:
        emit sigSetChipId(data);
        break;
    default:
        break;
    }
}

void RegisterController::exchangeEnded(ReadType type, ExchangeEnd end)
{
    if (type != ReadRegisters)
        return;
    for (const QByteArray &record : takeRecords(records, type, end)) {
        const quint8 channel = quint8(record.at(0));
        const quint8 high = quint8(record.at(1));
        const quint8 low = quint8(record.at(2));
        const quint16 value = quint16(((high & 0x0F) << 8) | low);
        wordToFields(findRegister(channel, high >> 4), value);
    }
}

void RegisterController::send(const QByteArray &data, int read_data_count, ReadType read_type)
{
    emit sigSendData(data, data.size(), read_data_count, read_type);
}

void RegisterController::sendRegister(int channel, int address, int value)
{
    const quint16 word = quint16((address << 12) | value);
    send(QByteArray("0") + QByteArray::number(channel) + intToBytes(word));
}

void RegisterController::readRegisters()
{
    records.reset();
    send(QByteArray("4"), RegisterRecordSize, ReadRegisters);
    updateSettings();
}

void RegisterController::saveRegisters()
{
    for (int channel = 0; channel < 2; ++channel)
        send(QByteArray("1") + QByteArray::number(channel));
}

void RegisterController::powerDown()
{
    send(QByteArray(">"));
}

void RegisterController::powerUp()
{
    send(QByteArray("<"));
}

void RegisterController::sdoOscillator(int channel, int enable)
{
    send(QByteArray("C") + QByteArray::number(channel, 2) + QByteArray::number(enable, 2));
}

void RegisterController::setOutput(bool enable)
{
    send(QByteArray(enable ? "G" : "F"));
}
