#include "audioutils.h"

#include <QtEndian>
#include <cmath>

namespace {

constexpr double TwoPi = 6.283185307179586;
const QString PcmCodec = QStringLiteral("audio/pcm");

QString sampleTypeName(QAudioFormat::SampleType type)
{
    switch (type) {
    case QAudioFormat::SignedInt:
        return QStringLiteral("signed");
    case QAudioFormat::UnSignedInt:
        return QStringLiteral("unsigned");
    case QAudioFormat::Float:
        return QStringLiteral("float");
    case QAudioFormat::Unknown:
        break;
    }
    return QStringLiteral("unknown");
}

QString channelsName(int count)
{
    if (count == 1)
        return QStringLiteral("mono");
    if (count == 2)
        return QStringLiteral("stereo");
    return QStringLiteral("%1 channels").arg(count);
}

} // namespace

qint64 audioLength(const QAudioFormat &format, qint64 microSeconds)
{
    qint64 result = qint64(format.sampleRate()) * format.channelCount() *
                    (format.sampleSize() / 8) * microSeconds / 1000000;
    const qint64 modulus = qint64(format.channelCount()) * format.sampleSize();
    if (modulus != 0)
        result -= result % modulus;
    return result;
}

double nyquistFrequency(const QAudioFormat &format)
{
    return double(format.sampleRate() / 2);
}

QString formatToString(const QAudioFormat &format)
{
    if (format == QAudioFormat())
        return QString();
    if (!isPCM(format))
        return format.codec();
    return QStringLiteral("%1 Hz %2 bit %3 %4 %5")
        .arg(format.sampleRate())
        .arg(format.sampleSize())
        .arg(sampleTypeName(format.sampleType()))
        .arg(format.byteOrder() == QAudioFormat::LittleEndian ? QStringLiteral("LE")
                                                              : QStringLiteral("BE"))
        .arg(channelsName(format.channelCount()));
}

bool isPCM(const QAudioFormat &format)
{
    return format.codec() == PcmCodec;
}

bool isPCMS16LE(const QAudioFormat &format)
{
    return isPCM(format) && format.sampleType() == QAudioFormat::SignedInt &&
           format.sampleSize() == 16 && format.byteOrder() == QAudioFormat::LittleEndian;
}

double pcmToReal(qint16 pcm)
{
    return pcm * (1.0 / 32768);
}

qint16 realToPcm(double real)
{
    return qint16(real * 32767);
}

void generateTone(const SweptTone &tone, const QAudioFormat &format, QByteArray &buffer)
{
    const int channelBytes = format.sampleSize() / 8;
    const int sampleBytes = format.channelCount() * channelBytes;
    // Only 16-bit samples are written; a narrower sample would not hold one.
    if (channelBytes < 2 || sampleBytes <= 0 || format.sampleRate() <= 0)
        return;
    const qint64 numSamples = buffer.size() / sampleBytes;
    if (numSamples == 0)
        return;

    const double d = TwoPi / format.sampleRate();
    const double start = tone.startFreq == 0.0 ? 1.0 : tone.startFreq;
    double phaseStep = d * start;
    const double phaseStepStep = d * (tone.endFreq - start) / numSamples;
    double phase = 0.0;

    uchar *ptr = reinterpret_cast<uchar *>(buffer.data());
    for (qint64 frame = 0; frame < numSamples; ++frame) {
        const qint16 value = realToPcm(tone.amplitude * std::sin(phase));
        for (int channel = 0; channel < format.channelCount(); ++channel) {
            qToLittleEndian<qint16>(value, ptr);
            ptr += channelBytes;
        }
        phase += phaseStep;
        while (phase > TwoPi)
            phase -= TwoPi;
        phaseStep += phaseStepStep;
    }
}
