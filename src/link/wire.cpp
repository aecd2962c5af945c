#include "wire.h"

#include <cmath>
#include <limits>

QByteArray intToBytes(quint16 value)
{
    QByteArray bytes;
    bytes.append(char(value >> 8));
    bytes.append(char(value & 0xFF));
    return bytes;
}

QByteArray floatToBytes(float value)
{
    const float hundredths = std::round(value * 100.0f);
    qint16 fixed = 0;
    if (std::isnan(hundredths))
        fixed = 0;
    else if (hundredths >= float(std::numeric_limits<qint16>::max()))
        fixed = std::numeric_limits<qint16>::max();
    else if (hundredths <= float(std::numeric_limits<qint16>::min()))
        fixed = std::numeric_limits<qint16>::min();
    else
        fixed = qint16(hundredths);
    return intToBytes(quint16(fixed));
}

quint16 bytesToInt(const QByteArray &bytes)
{
    if (bytes.isEmpty())
        return 0;
    const quint16 high = quint8(bytes.at(0));
    const quint16 low = bytes.size() > 1 ? quint8(bytes.at(1)) : 0;
    return quint16(high * 256 + low);
}

float bytesToFloat(const QByteArray &bytes)
{
    return float(qint16(bytesToInt(bytes))) / 100.0f;
}
