#include "audio/spectrumanalyser.h"
#include "support/threadwatch.h"
#include "support/wavwriter.h"

#include <QtTest>

// The request and cancel protocol across the worker's thread, and the thread's end.
class TestSpectrumAnalyser : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { threadWatch::start(); }
    void cleanup() { QVERIFY(!threadWatch::destroyedRunning); }
    void cleanupTestCase() { threadWatch::stop(); }

    void answersOneRequestAtATime()
    {
        SpectrumAnalyser analyser(nullptr);
        QSignalSpy spectra(&analyser, &SpectrumAnalyser::spectrumChanged);
        analyser.cancelCalculation(); // idle: nothing to cancel
        QVERIFY(analyser.isReady());
        analyser.calculate(QByteArray(16384, 1), format);
        QVERIFY(!analyser.isReady());
        analyser.calculate(QByteArray(16384, 2), format); // dropped while busy
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
        analyser.calculate(QByteArray(64, 0), format);
        analyser.cancelCalculation();
        analyser.calculate(QByteArray(64, 0), format); // dropped: the old answer is due
        QTRY_VERIFY(analyser.isReady());
        QTest::qWait(50);
        QCOMPARE(spectra.count(), 0);
        analyser.calculate(QByteArray(64, 0), format);
        QVERIFY(spectra.wait(5000));
    }

    // Each analyser ends its thread as it goes, also with a request and a window change
    // still on their way, as happens at every pass of the program and at its exit.
    void endsItsThreadAsItGoes()
    {
        for (int i = 0; i < 20; ++i) {
            auto *parent = new QObject;
            auto *analyser = new SpectrumAnalyser(parent);
            analyser->setWindowFunction(i % 2 ? HannWindow : NoWindow);
            if (i % 3)
                analyser->calculate(QByteArray(4096 * 4, char(i)), format);
            delete parent;
        }
        QVERIFY(!threadWatch::destroyedRunning);
    }

private:
    const QAudioFormat format = pcmFormat(44100, 2);
};

QTEST_GUILESS_MAIN(TestSpectrumAnalyser)
#include "tst_spectrumanalyser.moc"
