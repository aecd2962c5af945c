#include "audio/audioutils.h"
#include "audio/frequencyspectrum.h"
#include "support/datarow.h"

#include <QtEndian>
#include <QtTest>

Q_DECLARE_METATYPE(SweptTone)

namespace {

QAudioFormat pcm(int rate, int channels, int bits = 16,
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

QVector<qint16> samples(const QByteArray &buffer)
{
    QVector<qint16> values(buffer.size() / 2);
    qFromLittleEndian<qint16>(buffer.constData(), values.size(), values.data());
    return values;
}

} // namespace

// The shared audio helpers, the tone generator and the spectrum value type.
class TestAudioUtils : public QObject
{
    Q_OBJECT

private slots:
    void audioLengths_data()
    {
        QTest::addColumn<QAudioFormat>("format");
        QTest::addColumn<qint64>("microSeconds");
        QTest::addColumn<qint64>("bytes");
        dataRow("default format", QAudioFormat(), qint64(100000), qint64(0));
        dataRow("stereo 44.1 kHz, 0.1 s: a multiple of 32", pcm(44100, 2), qint64(100000),
                qint64(17632));
        dataRow("mono 8 kHz, 1 s", pcm(8000, 1), qint64(1000000), qint64(16000));
        dataRow("stereo 44.1 kHz, 10 s", pcm(44100, 2), qint64(10000000), qint64(1764000));
        dataRow("an hour of stereo 48 kHz, no overflow", pcm(48000, 2), qint64(3600000000LL),
                qint64(691200000LL));
    }
    void audioLengths()
    {
        QFETCH(QAudioFormat, format);
        QFETCH(qint64, microSeconds);
        QFETCH(qint64, bytes);
        QCOMPARE(audioLength(format, microSeconds), bytes);
    }

    void formatTexts_data()
    {
        QTest::addColumn<QAudioFormat>("format");
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("s16le");
        QAudioFormat mp3 = pcm(44100, 2);
        mp3.setCodec("audio/mpeg");
        dataRow("default", QAudioFormat(), "", false);
        dataRow("common", pcm(44100, 2), "44100 Hz 16 bit signed LE stereo", true);
        dataRow("8-bit", pcm(8000, 1, 8, QAudioFormat::UnSignedInt),
                "8000 Hz 8 bit unsigned LE mono", false);
        dataRow("big endian", pcm(22050, 2, 16, QAudioFormat::SignedInt, QAudioFormat::BigEndian),
                "22050 Hz 16 bit signed BE stereo", false);
        dataRow("float, 6 channels", pcm(48000, 6, 32, QAudioFormat::Float),
                "48000 Hz 32 bit float LE 6 channels", false);
        dataRow("unknown type", pcm(48000, 1, 16, QAudioFormat::Unknown),
                "48000 Hz 16 bit unknown LE mono", false);
        dataRow("other codec", mp3, "audio/mpeg", false);
    }
    void formatTexts()
    {
        QFETCH(QAudioFormat, format);
        QFETCH(QString, text);
        QFETCH(bool, s16le);
        QCOMPARE(formatToString(format), text);
        QCOMPARE(isPCMS16LE(format), s16le);
    }

    void conversions()
    {
        QCOMPARE(realToPcm(1.0), qint16(32767));
        QCOMPARE(realToPcm(-1.0), qint16(-32767));
        QCOMPARE(realToPcm(0.99999), qint16(32766));
        QCOMPARE(pcmToReal(-32768), -1.0);
        QCOMPARE(pcmToReal(16384), 0.5);
        QCOMPARE(nyquistFrequency(pcm(44101, 1)), 22050.0);
    }

    void tones_data()
    {
        QTest::addColumn<SweptTone>("tone");
        QTest::addColumn<int>("channels");
        QTest::addColumn<QVector<qint16>>("first"); // the first samples, all channels
        // 2000 Hz at 8 kHz is a quarter turn a frame: 0, 1, 0, -1.
        dataRow("fixed tone", SweptTone{2000, 2000, 1.0}, 1, QVector<qint16>{0, 32767, 0, -32767});
        dataRow("every channel alike", SweptTone{2000, 2000, 0.5}, 2,
                QVector<qint16>{0, 0, 16383, 16383, 0, 0});
        dataRow("silent sweep", SweptTone{1, 300, 0.0}, 1, QVector<qint16>{0, 0, 0, 0});
    }
    void tones()
    {
        QFETCH(SweptTone, tone);
        QFETCH(int, channels);
        QFETCH(QVector<qint16>, first);
        QByteArray buffer(8000 * 2 * channels + 1, 'x'); // an odd tail byte stays as it is
        generateTone(tone, pcm(8000, channels), buffer);
        const QVector<qint16> values = samples(buffer);
        QCOMPARE(values.mid(0, first.size()), first);
        QCOMPARE(buffer.back(), 'x');
        if (tone.amplitude == 0.0)
            QCOMPARE(values.count(qint16(0)), values.size());
    }

    // A sweep from 0 Hz starts at 1 Hz and rises to its end frequency in the last frame.
    void sweepRises()
    {
        QByteArray buffer(8000 * 2, 0);
        generateTone(SweptTone{0, 2000, 1.0}, pcm(8000, 1), buffer);
        const QVector<qint16> values = samples(buffer);
        QCOMPARE(values[0], qint16(0));
        QVERIFY(qAbs(values[1] - realToPcm(std::sin(6.283185307179586 / 8000))) <= 1);
        int crossings = 0; // an upward sweep crosses zero more often near its end
        for (int i = 7000; i < 7999; ++i)
            crossings += (values[i] < 0) != (values[i + 1] < 0);
        QVERIFY2(crossings > 400, qPrintable(QString::number(crossings)));
    }

    void narrowFormatsAreLeftAlone()
    {
        QByteArray buffer(16, 'x');
        generateTone(SweptTone{440, 440, 1.0}, pcm(8000, 1, 8), buffer);
        generateTone(SweptTone{440, 440, 1.0}, QAudioFormat(), buffer);
        QCOMPARE(buffer, QByteArray(16, 'x'));
    }

    void spectra()
    {
        QCOMPARE(FrequencySpectrum(-3).count(), 0);
        const FrequencySpectrum empty(0);
        QVERIFY(empty.begin() == empty.end());
        FrequencySpectrum spectrum(4);
        spectrum[2].amplitude = 0.7;
        spectrum[2].clipped = true;
        FrequencySpectrum copy = spectrum;
        spectrum.reset();
        QCOMPARE(spectrum.count(), 4);
        QCOMPARE(spectrum[2].amplitude, 0.0);
        QVERIFY(!spectrum[2].clipped);
        QCOMPARE(copy[2].amplitude, 0.7); // copies are independent
    }
};

QTEST_GUILESS_MAIN(TestAudioUtils)
#include "tst_audioutils.moc"
