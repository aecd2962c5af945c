#pragma once

#include <QByteArray>
#include <QtGlobal>

// The two 2-byte encodings of the kit's wire protocol, most significant byte first.

// Word: an unsigned 16-bit value.
QByteArray intToBytes(quint16 value);

// Fixed-100: the real value times 100, rounded half away from zero, as a signed
// 16-bit value. Values beyond -327.68 .. 327.67 are clamped to the nearest one the
// encoding can carry rather than wrapped to the other sign.
QByteArray floatToBytes(float value);

// Empty gives 0, one byte gives that byte times 256, further bytes are ignored.
quint16 bytesToInt(const QByteArray &bytes);

// As bytesToInt, then taken as signed hundredths.
float bytesToFloat(const QByteArray &bytes);
