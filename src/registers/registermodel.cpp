#include "registermodel.h"

#include <QString>

Register *findRegister(quint16 channel, quint16 address)
{
    if (channel > 1 || channel >= channels.size())
        return nullptr;
    const Channel *holder = channels.at(channel);
    if (!holder || !holder->registers)
        return nullptr;
    for (Register *reg : qAsConst(*holder->registers)) {
        if (reg && reg->address == address)
            return reg;
    }
    return nullptr;
}

void wordToFields(Register *reg, quint16 data)
{
    if (!reg)
        return;
    int pos = 0;
    for (Field &field : reg->fields) {
        if (pos >= RegisterDataBits)
            break;
        const int length = field.length;
        if (length > RegisterDataBits - pos)
            break;
        field.value =
            (data >> (RegisterDataBits - length - pos)) & (0xFFF >> (RegisterDataBits - length));
        pos += length;
    }
}

bool fieldsFit(const QList<FieldBits> &fields)
{
    int total = 0;
    for (const FieldBits &field : fields) {
        if (field.length <= 0 || field.length > RegisterDataBits)
            return false;
        if (field.value >> field.length)
            return false;
        total += field.length;
    }
    return total <= RegisterDataBits;
}

quint32 fieldsToData(const QList<FieldBits> &fields)
{
    QString bits;
    for (const FieldBits &field : fields)
        bits += QString::number(field.value, 2).rightJustified(qMax(field.length, 0), '0');
    // Only the low 32 bits of an overlong text matter to a 16-bit word.
    bool ok = false;
    const quint32 data = bits.right(32).toUInt(&ok, 2);
    return ok ? data : 0;
}

quint16 fieldsToWord(quint16 address, const QList<FieldBits> &fields)
{
    return quint16((quint32(address) << RegisterDataBits) | fieldsToData(fields));
}
