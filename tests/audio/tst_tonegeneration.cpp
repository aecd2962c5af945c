#include "audio/audiowidget.h"
#include "audio/engine.h"
#include "audio/tonegeneratordialog.h"
#include "audio/virtualaudiodevice.h"
#include "audio/waveform.h"
#include "support/datarow.h"
#include "support/testsettings.h"

#include <QAction>
#include <QCheckBox>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QMenu>
#include <QPushButton>
#include <QSpinBox>
#include <QtEndian>
#include <QtTest>

namespace {

VirtualAudioDevice *virtualDevice = nullptr;

// Keeps the engine's debug lines out of the log.
void quietDebug(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    if (type != QtDebugMsg)
        fprintf(stderr, "%s\n", qPrintable(message));
}

// Rising zero crossings a second over the samples from to to.
double frequencyOf(const QVector<qint16> &samples, int rate, int from, int to)
{
    int crossings = 0;
    for (int i = from + 1; i < to; ++i)
        crossings += samples[i - 1] < 0 && samples[i] >= 0;
    return crossings * double(rate) / (to - from);
}

} // namespace

// A tone asked for in the dialog, through the page and the engine into a virtual ALSA
// device standing in for the kit's, which writes what it is given into a file.
class TestToneGeneration : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        if (QAudioDeviceInfo::availableDevices(QAudio::AudioOutput).isEmpty())
            QSKIP("ALSA offers no output device on this machine");
    }

    void playsTheToneAskedFor_data()
    {
        QTest::addColumn<int>("frequency"); // 0: a sweep
        QTest::addColumn<double>("amplitude");
        QTest::addColumn<int>("button");
        const int ok = QDialogButtonBox::Ok;
        dataRow("100 Hz, full scale", 100, 1.0, ok);
        dataRow("37 Hz, half scale", 37, 0.5, ok);
        dataRow("300 Hz, a quarter", 300, 0.25, ok);
        dataRow("sweep at 0.8", 0, 0.8, ok);
        dataRow("cancelled", 100, 1.0, int(QDialogButtonBox::Cancel));
    }
    void playsTheToneAskedFor()
    {
        QFETCH(int, frequency);
        QFETCH(double, amplitude);
        QFETCH(int, button);

        virtualDevice->clearOutputs();
        AudioWidget page;
        auto *engine = page.findChild<Engine *>(QStringLiteral("engine"));
        auto *playButton = page.findChild<QPushButton *>(QStringLiteral("playButton"));
        page.createModeMenu();
        auto *toneAction = page.findChild<QAction *>(QStringLiteral("generateToneAction"));
        auto *fileAction = page.findChild<QAction *>(QStringLiteral("loadFileAction"));
        QCOMPARE(page.findChild<QPushButton *>(QStringLiteral("modeButton"))->menu()->actions(),
                 QList<QAction *>({toneAction, fileAction}));

        // A waveform view attached to the engine as a view of the signal would be.
        Waveform waveform;
        waveform.resize(400, 100);
        waveform.show();
        QVERIFY(QTest::qWaitForWindowExposed(&waveform));
        waveform.initialize(engine->format(), audioLength(engine->format(), 100000), 250000);
        QVERIFY(connect(engine, SIGNAL(bufferChanged(qlonglong, qlonglong, QByteArray)), &waveform,
                        SLOT(bufferChanged(qlonglong, qlonglong, QByteArray))));
        QVERIFY(connect(engine, SIGNAL(playPositionChanged(qlonglong)), &waveform,
                        SLOT(audioPositionChanged(qlonglong))));

        // Answers the dialog as the user would, once it shows.
        auto *dialog = page.findChild<ToneGeneratorDialog *>();
        QTimer answer;
        connect(&answer, &QTimer::timeout, dialog, [&] {
            if (!dialog->isVisible())
                return;
            answer.stop();
            dialog->findChild<QCheckBox *>()->setChecked(frequency == 0);
            dialog->findChild<QSpinBox *>()->setValue(qMax(frequency, 1));
            dialog->findChild<QDoubleSpinBox *>()->setValue(amplitude);
            dialog->findChild<QDialogButtonBox *>()
                ->button(QDialogButtonBox::StandardButton(button))
                ->click();
        });
        answer.start(10);
        toneAction->trigger();

        const bool accepted = button == QDialogButtonBox::Ok;
        QCOMPARE(toneAction->isChecked(), accepted);
        QVERIFY(!fileAction->isChecked());
        QCOMPARE(playButton->isEnabled(), accepted);
        if (!accepted)
            return;
        page.setEnabled(false); // with a tone, Play follows the kit controls
        QVERIFY(!playButton->isEnabled());
        page.setEnabled(true);

        QSignalSpy enable(&page, SIGNAL(sigUpdateEnable(bool)));
        playButton->click();
        // The tone ends when the engine sees that all of it has been played, or else
        // the output falls idle when the tone has run out and stays so until Stop.
        const auto ended = [&] { return !enable.isEmpty() && enable.last().first().toBool(); };
        QTRY_VERIFY_WITH_TIMEOUT(ended() || engine->state() == QAudio::IdleState, 30000);
        page.findChild<QPushButton *>(QStringLiteral("stopButton"))->click();
        QTRY_VERIFY(ended());

        // Back at the start, the view shows the tone's first quarter second, which
        // crosses the centre line, and reaches the edges at full scale.
        const QImage view = waveform.grab().toImage();
        QList<int> rows; // of the top, middle and bottom ones, those drawn on
        for (int y : {0, 50, 99}) {
            for (int x = 0; x < view.width() && !rows.contains(y); ++x)
                if (view.pixel(x, y) & 0xffffff)
                    rows << y;
        }
        QCOMPARE(rows, amplitude == 1.0 ? QList<int>({0, 50, 99}) : QList<int>({50}));
        if (frequency == 37) {
            QDir(QCoreApplication::applicationDirPath()).mkpath(QStringLiteral("screenshots"));
            view.save(QCoreApplication::applicationDirPath() + "/screenshots/waveform-tone.png");
        }
        // The first channel of the ten seconds played.
        const int rate = engine->format().sampleRate();
        const int frameBytes = engine->format().bytesPerFrame();
        const QByteArray out = virtualDevice->kitSamples();
        QCOMPARE(engine->bufferLength(), qint64(rate) * 10 * frameBytes);
        QVERIFY(out.size() >= engine->bufferLength());
        QVector<qint16> samples(rate * 10);
        int peak = 0;
        for (int i = 0; i < samples.size(); ++i) {
            samples[i] = qFromLittleEndian<qint16>(out.constData() + i * frameBytes);
            peak = qMax(peak, qAbs(int(samples[i])));
        }
        QVERIFY2(qAbs(peak / 32767.0 - amplitude) < 0.01, qPrintable(QString::number(peak)));
        if (frequency) {
            const double measured = frequencyOf(samples, rate, 0, samples.size());
            QVERIFY2(qAbs(measured - frequency) < 0.5, qPrintable(QString::number(measured)));
        }
        // A sweep rises evenly from 1 Hz to 300 Hz: each second at the frequency of
        // its middle.
        for (int second = 0; !frequency && second < 10; ++second) {
            const double measured = frequencyOf(samples, rate, second * rate, (second + 1) * rate);
            const double expected = 1.0 + 299.0 * (second + 0.5) / 10;
            QVERIFY2(qAbs(measured - expected) < 2.0,
                     qPrintable(QStringLiteral("%1 s: %2 Hz").arg(second).arg(measured)));
        }
    }

private:
    TestSettings settings;
};

int main(int argc, char **argv)
{
    qInstallMessageHandler(quietDebug);
    VirtualAudioDevice device;
    virtualDevice = &device;
    QApplication app(argc, argv);
    TestToneGeneration test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_tonegeneration.moc"
