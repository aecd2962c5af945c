#pragma once

#include <QAudioFormat>
#include <QByteArray>
#include <QFile>
#include <QtEndian>

// A linear PCM format.
inline QAudioFormat pcmFormat(int rate, int channels, int bits = 16,
                              QAudioFormat::SampleType type = QAudioFormat::SignedInt,
                              QAudioFormat::Endian order = QAudioFormat::LittleEndian)
{
    QAudioFormat format;
    format.setCodec("audio/pcm");
    format.setSampleRate(rate);
    format.setChannelCount(channels);
    format.setSampleSize(bits);
    format.setSampleType(type);
    format.setByteOrder(order);
    return format;
}

// Writes the WAV files the audio tests read and play: a plain 44-byte header before samples.
struct WavWriter
{
    explicit WavWriter(int channels = 1, int rate = 8000, int bits = 16, QByteArray tag = "RIFF")
        : channels(channels), rate(rate), bits(bits), tag(tag)
    {
    }

    QByteArray header(quint32 dataBytes) const
    {
        return tag + le32(36 + dataBytes) + "WAVEfmt " + le32(16) + le16(1) + le16(channels) +
               le32(rate) + le32(rate * channels * bits / 8) + le16(channels * bits / 8) +
               le16(bits) + "data" + le32(dataBytes);
    }
    // frames of a pattern that never repeats within 65536 samples and is never silent.
    QByteArray samples(int frames) const
    {
        QByteArray data(frames * channels * bits / 8, Qt::Uninitialized);
        quint16 value = 1;
        for (char &byte : data) {
            value = quint16(value * 75 + 74); // a full-period generator modulo 65537, roughly
            byte = char(value >> 3 | 1);
        }
        return data;
    }

    static QByteArray le16(quint16 value) { return bytes(value); }
    static QByteArray le32(quint32 value) { return bytes(value); }

    int channels, rate, bits;
    QByteArray tag;

private:
    template <typename T> static QByteArray bytes(T value)
    {
        QByteArray data(sizeof(T), 0);
        qToLittleEndian(value, data.data());
        return data;
    }
};

// Writes contents into fileName; true when all of it was written.
inline bool writeFile(const QString &fileName, const QByteArray &contents)
{
    QFile file(fileName);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
           file.write(contents) == contents.size();
}
