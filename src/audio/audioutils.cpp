#include "audioutils.h"

#include <QFile>
#include <QRegularExpression>
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

Q_LOGGING_CATEGORY(lcAudio, "ktr.audio", QtInfoMsg)

namespace {

const QString KitProduct = QStringLiteral("Cypress Digital Audio");

} // namespace

QHash<QString, QString> alsaCardNames(const QByteArray &procCards)
{
    // " 1 [Audio          ]: USB-Audio - Cypress Digital Audio"
    // "                      Cypress Semiconductor Cypress Digital Audio at usb-..."
    static const QRegularExpression head(QStringLiteral("^\\s*(\\d+)\\s+\\[(\\S+)\\s*\\]:(.*)$"));
    QHash<QString, QString> cards;
    QString index, id;
    for (const QString &line : QString::fromUtf8(procCards).split('\n')) {
        const QRegularExpressionMatch match = head.match(line);
        if (match.hasMatch()) {
            index = match.captured(1);
            id = match.captured(2);
            cards[index] = cards[id] = match.captured(3).trimmed();
        } else if (!id.isEmpty() && !line.trimmed().isEmpty()) {
            cards[index] = cards[id] = cards[id] + '\n' + line.trimmed();
        }
    }
    return cards;
}

QHash<QString, QString> alsaCardNames()
{
    QFile file(QStringLiteral("/proc/asound/cards"));
    return file.open(QIODevice::ReadOnly) ? alsaCardNames(file.readAll())
                                          : QHash<QString, QString>();
}

int kitDeviceRank(const QString &deviceName, const QHash<QString, QString> &cards)
{
    if (deviceName.contains(KitProduct))
        return 4;
    // udev names a USB card "<vendor>_<product>", spaces as underscores; the vendor part
    // keeps a bare fragment of another sink's name from passing.
    static const QRegularExpression sink(
        QStringLiteral("^alsa_output\\.usb-[^.]+_Cypress_Digital_Audio([-.].*)?$"));
    if (sink.match(deviceName).hasMatch())
        return 4;
    // ALSA: "plughw:CARD=Audio,DEV=0", "sysdefault:CARD=Audio", "hw:1,0", ...
    static const QRegularExpression alsa(
        QStringLiteral("^([a-z0-9_]+):(?:CARD=)?([^,]+)(?:,.*)?$"));
    const QRegularExpressionMatch match = alsa.match(deviceName);
    if (!match.hasMatch() || !cards.value(match.captured(2)).contains(KitProduct))
        return 0;
    const QString plugin = match.captured(1);
    if (plugin == QLatin1String("plughw") || plugin == QLatin1String("sysdefault") ||
        plugin == QLatin1String("default"))
        return 3;
    return plugin == QLatin1String("hw") ? 1 : 2;
}
