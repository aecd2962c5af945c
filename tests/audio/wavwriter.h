#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>
#include <QtEndian>

// Writes the WAV files the audio tests play: a plain 44-byte header before samples.
struct WavWriter
{
    QByteArray tag = "RIFF";
    int channels = 1;
    int rate = 8000;
    int bits = 16;

    QByteArray header(quint32 dataBytes) const
    {
        QByteArray bytes = tag + le32(36 + dataBytes) + "WAVEfmt " + le32(16) + le16(1) +
                           le16(channels) + le32(rate) + le32(rate * channels * bits / 8) +
                           le16(channels * bits / 8) + le16(bits) + "data" + le32(dataBytes);
        return bytes;
    }
    // frames of a pattern that never repeats within 65536 samples and is never silent.
    QByteArray samples(int frames) const
    {
        QByteArray data(frames * channels * bits / 8, Qt::Uninitialized);
        quint16 value = 1;
        for (int i = 0; i < data.size(); ++i) {
            value = quint16(value * 75 + 74); // a full-period generator modulo 65537, roughly
            data[i] = char(value >> 3 | 1);
        }
        return data;
    }
    bool write(const QString &fileName, const QByteArray &data) const
    {
        QFile file(fileName);
        return file.open(QIODevice::WriteOnly) && file.write(header(data.size()) + data) > 0;
    }

    static QByteArray le16(quint16 value)
    {
        QByteArray bytes(2, 0);
        qToLittleEndian(value, bytes.data());
        return bytes;
    }
    static QByteArray le32(quint32 value)
    {
        QByteArray bytes(4, 0);
        qToLittleEndian(value, bytes.data());
        return bytes;
    }
};
