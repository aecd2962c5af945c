#include "audio/spectrumanalyser.h"

#include <QtTest>

namespace {

bool threadDestroyedRunning = false;
QtMessageHandler testLog = nullptr;

void messageHandler(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (message.contains("QThread: Destroyed while thread is still running"))
        threadDestroyedRunning = true;
    testLog(type, context, message);
}

QAudioFormat stereo44k()
{
    QAudioFormat format;
    format.setSampleRate(44100);
    format.setChannelCount(2);
    format.setSampleSize(16);
    return format;
}

} // namespace

// The request and cancel protocol across the worker's thread, and the thread's end.
class TestSpectrumAnalyser : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { testLog = qInstallMessageHandler(messageHandler); }
    void cleanup() { QVERIFY(!threadDestroyedRunning); }
    void cleanupTestCase() { qInstallMessageHandler(testLog); }

    void answersOneRequestAtATime()
    {
        SpectrumAnalyser analyser(nullptr);
        QSignalSpy spectra(&analyser, &SpectrumAnalyser::spectrumChanged);
        QVERIFY(spectra.isValid());
        analyser.cancelCalculation(); // idle: nothing to cancel
        QVERIFY(analyser.isReady());

        analyser.calculate(QByteArray(16384, 1), stereo44k());
        QVERIFY(!analyser.isReady());
        analyser.calculate(QByteArray(16384, 2), stereo44k()); // dropped while busy
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
        analyser.calculate(QByteArray(64, 0), stereo44k());
        analyser.cancelCalculation();
        analyser.calculate(QByteArray(64, 0), stereo44k()); // dropped: the old answer is due
        QTRY_VERIFY(analyser.isReady());
        QTest::qWait(50);
        QCOMPARE(spectra.count(), 0);
        analyser.calculate(QByteArray(64, 0), stereo44k());
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
                analyser->calculate(QByteArray(4096 * 4, char(i)), stereo44k());
            delete parent;
        }
        QVERIFY(!threadDestroyedRunning);
    }
};

QTEST_GUILESS_MAIN(TestSpectrumAnalyser)
#include "tst_spectrumanalyser.moc"
