#pragma once

#include "link/registerstore.h"

#include <QList>
#include <QtGlobal>

// Lookup in the register store and the packing of a register word: the address in
// bits 15 to 12, the fields in bits 11 to 0, packed from the top in list order.

constexpr int RegisterDataBits = 12;

// The register of the given channel (0 or 1) with that address, or null.
Register *findRegister(quint16 channel, quint16 address);

// Splits the 12-bit data of a register word into the register's fields. A field
// that would reach below bit 0 (a map whose lengths add up to more than 12) and
// all fields after it keep their values.
void wordToFields(Register *reg, quint16 data);

// One field's share of a word to pack: the value as typed and the field's width.
struct FieldBits
{
    quint32 value = 0;
    int length = 0;
};

// True when every value fits in its width and the widths fit in the data bits, so
// that packing cannot reach a neighbouring field or the address.
bool fieldsFit(const QList<FieldBits> &fields);

// The data bits: each value in base 2, padded to its width, the texts joined and
// read back. A value wider than its field widens the text (see fieldsFit).
quint32 fieldsToData(const QList<FieldBits> &fields);

// (address << 12) | data, kept to 16 bits.
quint16 fieldsToWord(quint16 address, const QList<FieldBits> &fields);
