#include "audio/audioutils.h"
#include "audio/frequencyspectrum.h"
#include "audio/spectrumanalyser.h"
#include "support/datarow.h"
#include "support/threadwatch.h"
#include "wavwriter.h"

#include <QtEndian>
#include <QtTest>

Q_DECLARE_METATYPE(SweptTone)

// The shared audio helpers, the tone generator, the spectrum value type, and the spectrum
// analyser's request and cancel protocol across its worker's thread, and the thread's end.
class TestAudioUtils : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { threadWatch::start(); }
    void cleanup() { QVERIFY(!threadWatch::destroyedRunning); }
    void cleanupTestCase() { threadWatch::stop(); }

    void audioLengths_data()
    {
        QTest::addColumn<QAudioFormat>("format");
        QTest::addColumn<qint64>("microSeconds");
        QTest::addColumn<qint64>("bytes");
        dataRow("default format", QAudioFormat(), 100000LL, 0LL);
        dataRow("stereo 44.1 kHz, 0.1 s: a multiple of 32", pcmFormat(44100, 2), 100000LL, 17632LL);
        dataRow("an hour of stereo 48 kHz, no overflow", pcmFormat(48000, 2), 3600000000LL,
                691200000LL);
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
        QAudioFormat mp3 = pcmFormat(44100, 2);
        mp3.setCodec("audio/mpeg");
        dataRow("default", QAudioFormat(), "", false);
        dataRow("common", pcmFormat(44100, 2), "44100 Hz 16 bit signed LE stereo", true);
        dataRow("float, 6 channels", pcmFormat(48000, 6, 32, QAudioFormat::Float),
                "48000 Hz 32 bit float LE 6 channels", false);
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
        // realToPcm is judged by the tones below.
        QCOMPARE(pcmToReal(-32768), -1.0);
        QCOMPARE(pcmToReal(16384), 0.5);
        QCOMPARE(nyquistFrequency(pcmFormat(44101, 1)), 22050.0);
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
        // A sweep from 0 Hz starts at 1 Hz: 32767 sin(2 pi / 8000) = 25.7.
        dataRow("sweep from 0 Hz", SweptTone{0, 2000, 1.0}, 1, QVector<qint16>{0, 25});
        dataRow("silent sweep", SweptTone{1, 300, 0.0}, 1, QVector<qint16>(8000));
    }
    void tones()
    {
        QFETCH(SweptTone, tone);
        QFETCH(int, channels);
        QFETCH(QVector<qint16>, first);
        QByteArray buffer(8000 * 2 * channels + 1, 'x'); // an odd tail byte stays as it is
        generateTone(tone, pcmFormat(8000, channels), buffer);
        QVector<qint16> values(first.size());
        qFromLittleEndian<qint16>(buffer.constData(), values.size(), values.data());
        QCOMPARE(values, first);
        QCOMPARE(buffer.back(), 'x');
    }

    void narrowFormatsAreLeftAlone()
    {
        QByteArray buffer(16, 'x');
        generateTone(SweptTone{440, 440, 1.0}, pcmFormat(8000, 1, 8), buffer);
        generateTone(SweptTone{440, 440, 1.0}, QAudioFormat(), buffer);
        QCOMPARE(buffer, QByteArray(16, 'x'));
    }

    void spectra()
    {
        QCOMPARE(FrequencySpectrum(-3).count(), 0);
        FrequencySpectrum spectrum(4);
        spectrum[2] = {100.0, 0.7, 0.1, true};
        spectrum.reset();
        QCOMPARE(spectrum.count(), 4);
        QVERIFY(spectrum[2].amplitude == 0.0 && !spectrum[2].clipped);
    }

    void answersOneRequestAtATime()
    {
        SpectrumAnalyser analyser(nullptr);
        QSignalSpy spectra(&analyser, &SpectrumAnalyser::spectrumChanged);
        analyser.cancelCalculation(); // idle: nothing to cancel
        QVERIFY(analyser.isReady());
        analyser.calculate(QByteArray(16384, 1), stereo);
        QVERIFY(!analyser.isReady());
        analyser.calculate(QByteArray(16384, 2), stereo); // dropped while busy
        QVERIFY(spectra.wait(5000));
        QVERIFY(analyser.isReady());
        QTest::qWait(50);
        QCOMPARE(spectra.count(), 1);
        const FrequencySpectrum spectrum = spectra.first().first().value<FrequencySpectrum>();
        QCOMPARE(spectrum.count(), 4096);
        QCOMPARE(spectrum[4095].amplitude, 0.0);
    }

    void swallowsACancelledAnswer()
    {
        SpectrumAnalyser analyser(nullptr);
        QSignalSpy spectra(&analyser, &SpectrumAnalyser::spectrumChanged);
        analyser.calculate(QByteArray(64, 0), stereo);
        analyser.cancelCalculation();
        analyser.calculate(QByteArray(64, 0), stereo); // dropped: the old answer is due
        QTRY_VERIFY(analyser.isReady());
        QTest::qWait(50);
        QCOMPARE(spectra.count(), 0);
        analyser.calculate(QByteArray(64, 0), stereo);
        QVERIFY(spectra.wait(5000));
    }

    // Each analyser ends its thread as it goes, also with a request and a window change
    // still on their way, as happens at every pass of the program and at its exit (judged in
    // cleanup()).
    void endsItsThreadAsItGoes()
    {
        for (int i = 0; i < 20; ++i) {
            auto *parent = new QObject;
            auto *analyser = new SpectrumAnalyser(parent);
            analyser->setWindowFunction(i % 2 ? HannWindow : NoWindow);
            if (i % 3)
                analyser->calculate(QByteArray(4096 * 4, char(i)), stereo);
            delete parent;
        }
    }

    void kitDevices_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("rank"); // 0: not the kit's
        dataRow("the kit's name", "Cypress Digital Audio", 4);
        dataRow("Windows form", "Speakers (Cypress Digital Audio)", 4);
        dataRow("Pulse sink",
                "alsa_output.usb-Cypress_Semiconductor_Cypress_Digital_Audio-00.analog-stereo", 4);
        dataRow("PipeWire, other vendor and suffix",
                "alsa_output.usb-Acme_Cypress_Digital_Audio-01.iec958-stereo", 4);
        dataRow("ALSA plughw", "plughw:CARD=Audio,DEV=0", 3);
        dataRow("ALSA sysdefault", "sysdefault:CARD=Audio", 3);
        dataRow("ALSA front", "front:CARD=Audio,DEV=0", 2);
        dataRow("ALSA hw by index", "hw:1,0", 1);
        dataRow("another Cypress product",
                "alsa_output.usb-Cypress_Semiconductor_Cypress_USB_Audio-00.analog-stereo", 0);
        dataRow("a longer product name",
                "alsa_output.usb-Cypress_Semiconductor_Cypress_Digital_Audio_Pro-00.analog-stereo",
                0);
        dataRow("vendor-less fragment", "alsa_output.usb-Cypress_Digital_Audio-00.analog-stereo",
                0);
        dataRow("fragment of another sink", "alsa_output.pci-0000_00_1f.3.Cypress_Digital_Audio",
                0);
        dataRow("the laptop's card", "sysdefault:CARD=PCH", 0);
        dataRow("the laptop's sink", "alsa_output.pci-0000_00_1f.3.analog-stereo", 0);
        dataRow("ALSA default", "default", 0);
        dataRow("unknown card", "plughw:CARD=Other,DEV=0", 0);
    }
    void kitDevices()
    {
        QFETCH(QString, name);
        QFETCH(int, rank);
        const QByteArray cards = " 0 [PCH            ]: HDA-Intel - HDA Intel PCH\n"
                                 "                      HDA Intel PCH at 0xf7f10000 irq 32\n"
                                 " 1 [Audio          ]: USB-Audio - USB Audio\n"
                                 "                      Cypress Semiconductor Cypress Digital "
                                 "Audio at usb-0000:00:14.0-1, full speed\n";
        QCOMPARE(kitDeviceRank(name, alsaCardNames(cards)), rank);
    }

private:
    const QAudioFormat stereo = pcmFormat(44100, 2);
};

QTEST_GUILESS_MAIN(TestAudioUtils)
#include "tst_audioutils.moc"
