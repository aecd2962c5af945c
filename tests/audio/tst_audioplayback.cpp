#include "app/mainwindow.h"
#include "audio/audiowidget.h"
#include "audio/engine.h"
#include "support/datarow.h"
#include "support/modalcloser.h"
#include "support/testsettings.h"
#include "support/threadwatch.h"
#include "virtualaudiodevice.h"
#include "wavwriter.h"

#include <QAudioOutput>
#include <QMessageBox>
#include <QPushButton>
#include <QtTest>

namespace {
VirtualAudioDevice *device = nullptr;
}

// Playback through the real page and engine into a virtual ALSA device standing in for
// the kit's, which writes what it is given into a file.
class TestAudioPlayback : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        threadWatch::start();
        QApplication::setQuitOnLastWindowClosed(false);
        if (QAudioDeviceInfo::availableDevices(QAudio::AudioOutput).isEmpty())
            QSKIP("ALSA offers no output device on this machine");
    }
    void init()
    {
        settings.reset();
        device->clearOutputs();
        closer.clear();
        openWindow();
    }
    void cleanup()
    {
        delete window;
        QVERIFY(!threadWatch::destroyedRunning);
    }
    void cleanupTestCase() { threadWatch::stop(); }

    void playsSampleForSample_data()
    {
        QTest::addColumn<int>("channels");
        QTest::addColumn<int>("rate");
        QTest::addColumn<int>("frames");
        QTest::addColumn<QByteArray>("tail"); // after the last whole frame: not played
        dataRow("mono 8 kHz", 1, 8000, 8000, QByteArray());
        dataRow("stereo 8 kHz", 2, 8000, 8000, QByteArray());
        dataRow("mono 44.1 kHz", 1, 44100, 44100, QByteArray());
        dataRow("stereo 44.1 kHz", 2, 44100, 66150, QByteArray());
        dataRow("ends in the middle of a frame", 2, 8000, 8000, QByteArray("xyz"));
    }
    void playsSampleForSample()
    {
        QFETCH(int, channels);
        QFETCH(int, rate);
        QFETCH(int, frames);
        QFETCH(QByteArray, tail);
        const QByteArray samples = chooseWav(WavWriter(channels, rate), frames, tail);
        QVERIFY(closer.boxes().isEmpty());
        QVERIFY(playToEnd());

        const QByteArray out = device->kitSamples();
        QCOMPARE(out.left(samples.size()).toHex(), samples.toHex());
        QCOMPARE(out.mid(samples.size()), QByteArray(out.size() - samples.size(), 0)); // padding
        QVERIFY(device->defaultSamples().isEmpty());
        // The position rises within the length; the end sets it back to 0.
        QVERIFY(!positions.isEmpty());
        QVERIFY(std::is_sorted(positions.begin(), positions.end() - 1));
        QVERIFY(*std::max_element(positions.begin(), positions.end()) <= 44 + samples.size());
        QCOMPARE(positions.last(), qint64(0));
        // Loading enables the kit controls, playing disables them, the end enables them.
        QCOMPARE(controls.mid(controls.indexOf(false) - 1), QList<bool>({true, false, true}));
    }

    // Stop leaves the bar where it was; Play then starts from the first sample again.
    void stopThenPlayStartsOver()
    {
        const QByteArray samples = chooseWav(WavWriter(2, 44100), 3 * 44100);
        QSignalSpy enable(page, &AudioWidget::sigUpdateEnable);
        button("playButton")->click();
        QTRY_VERIFY(positions.size() >= 2 && positions.last() > 0);
        QVERIFY(!button("playButton")->isEnabled());
        button("stopButton")->click();
        QTRY_VERIFY(!enable.isEmpty() && enable.last().first().toBool());
        QVERIFY(positions.last() > 0);
        QCOMPARE(engine->state(), QAudio::StoppedState);
        const QByteArray stopped = device->kitSamples();
        QVERIFY(stopped.size() < samples.size());
        QCOMPARE(stopped.toHex(), samples.left(stopped.size()).toHex());

        positions.clear();
        QVERIFY(playToEnd());
        QCOMPARE(positions.first(), qint64(0));
        QCOMPARE(device->kitSamples().left(samples.size()).toHex(), samples.toHex());
        // Rising towards the end of a file of several notifies' worth.
        const qint64 last = positions.value(positions.size() - 2);
        QVERIFY2(last > samples.size() / 2, qPrintable(QString::number(last)));
    }

    void refusedFiles_data()
    {
        QTest::addColumn<QByteArray>("contents"); // none: the file doesn't exist
        QTest::addColumn<QString>("box");         // title|text|buttons, the file's name as %1
        const WavWriter eightBit(1, 8000, 8), rifx(1, 8000, 16, "RIFX");
        const QString close = QString::number(QMessageBox::Close);
        dataRow("missing", QByteArray(), "Could not open file|%1|" + close);
        dataRow("8-bit", eightBit.header(800) + eightBit.samples(800),
                "Audio format not supported|8000 Hz 8 bit unsigned LE mono|" + close);
        dataRow("RIFX", rifx.header(800) + rifx.samples(400),
                "Audio format not supported|8000 Hz 16 bit signed BE mono|" + close);
        const WavWriter oneHertz(1, 1);
        dataRow("1 Hz, no samples", oneHertz.header(0),
                "Audio format not supported|1 Hz 16 bit signed LE mono|" + close);
    }
    // Each refusal shows its heading and detail, and Play then does nothing.
    void refusedFiles()
    {
        QFETCH(QByteArray, contents);
        QFETCH(QString, box);
        const QString fileName = files.filePath(contents.isEmpty() ? "missing.wav" : "refused.wav");
        if (contents.isEmpty())
            engine->loadFile(fileName); // the file dialog offers existing files only
        else
            choose(fileName, contents);
        QTRY_COMPARE(closer.boxes(), QStringList{box.replace("%1", fileName)});

        QSignalSpy enable(page, &AudioWidget::sigUpdateEnable);
        QVERIFY(button("playButton")->isEnabled());
        button("playButton")->click();
        QTest::qWait(200);
        QCOMPARE(engine->mode(), QAudio::AudioInput);
        QCOMPARE(engine->state(), QAudio::StoppedState);
        QVERIFY(enable.isEmpty());
        QVERIFY(device->kitSamples().isEmpty());
    }

    // Without a device named as the kit's, playback goes to the default device.
    void defaultDeviceWithoutTheKit()
    {
        delete window;
        device->writeConfig(false);
        openWindow();
        device->writeConfig(true);
        QCOMPARE(engine->audioOutputDevice().deviceName(), QString("default"));
        const QByteArray samples = chooseWav(WavWriter(2), 8000);
        QVERIFY(playToEnd());
        QCOMPARE(device->defaultSamples().left(samples.size()).toHex(), samples.toHex());
        QVERIFY(device->kitSamples().isEmpty());

        // The kit's device turning up later is taken at the next rescan, as on connection.
        QSignalSpy lengths(engine, &Engine::bufferLengthChanged);
        page->rescanAudioDevices();
        QCOMPARE(engine->audioOutputDevice().deviceName(), QString(VirtualAudioDevice::KitName));
        QCOMPARE(lengths.count(), 1); // initialised for it
        page->rescanAudioDevices();
        QCOMPARE(lengths.count(), 1); // the same device again changes nothing
    }

    // The output's own signal resets the engine: the output goes only after the signal.
    void resetFromInsideTheOutputsSignal()
    {
        const QByteArray samples = chooseWav(WavWriter(), 16000);
        connect(engine, &Engine::stateChanged, this, [this](QAudio::Mode, QAudio::State state) {
            if (state == QAudio::ActiveState)
                engine->reset();
        });
        button("playButton")->click();
        QTRY_COMPARE(engine->findChildren<QAudioOutput *>().size(), 0);
        QCOMPARE(engine->mode(), QAudio::AudioInput);
        QCOMPARE(engine->bufferLength(), qint64(0));

        disconnect(engine, &Engine::stateChanged, this, nullptr);
        QVERIFY(engine->loadFile(files.filePath("chosen.wav")));
        QVERIFY(playToEnd());
        QCOMPARE(device->kitSamples().left(samples.size()).toHex(), samples.toHex());
    }

    void endsWithoutTheOutputsSignals_data()
    {
        QTest::addColumn<bool>("tone");
        dataRow("file", false);
        dataRow("tone", true);
    }
    // The output's state changes and notifies withheld from the moment it starts, as on a
    // loaded machine where they come late or in another order: the end still comes.
    void endsWithoutTheOutputsSignals()
    {
        QFETCH(bool, tone);
        const QByteArray samples = tone ? QByteArray() : chooseWav(WavWriter(2), 8000);
        if (tone)
            QVERIFY(engine->generateTone(Tone{440.0, 0.5}));
        QSignalSpy enable(page, &AudioWidget::sigUpdateEnable);
        button("playButton")->click();
        auto *output = engine->findChild<QAudioOutput *>();
        QVERIFY(output);
        output->blockSignals(true);
        QTRY_VERIFY_WITH_TIMEOUT(!enable.isEmpty() && enable.last().first().toBool(), 20000);
        QCOMPARE(engine->state(), QAudio::StoppedState);
        QVERIFY(button("playButton")->isEnabled());
        if (!tone)
            QCOMPARE(device->kitSamples().left(samples.size()).toHex(), samples.toHex());
    }

    void oddFormats_data()
    {
        QTest::addColumn<int>("channels");
        QTest::addColumn<quint32>("rate");
        dataRow("no channels", 0, quint32(8000));
        dataRow("65535 channels", 65535, quint32(8000));
        dataRow("rate 0", 1, quint32(0));
        dataRow("rate past int", 2, quint32(0xFFFFFFFF));
    }
    // Headers that pass the reader with formats no device plays: a message or playback,
    // never a crash, and a position within the length.
    void oddFormats()
    {
        QFETCH(int, channels);
        QFETCH(quint32, rate);
        const WavWriter wav;
        QByteArray contents = wav.header(800) + wav.samples(400);
        contents.replace(22, 2, WavWriter::le16(quint16(channels)));
        contents.replace(24, 4, WavWriter::le32(rate));
        const QString fileName = files.filePath("odd.wav");
        QVERIFY(writeFile(fileName, contents));
        if (!engine->loadFile(fileName))
            QTRY_COMPARE(closer.boxes().size(), 1);
        button("playButton")->click();
        QTest::qWait(300);
        button("stopButton")->click();
        QTRY_COMPARE(engine->state(), QAudio::StoppedState);
        for (qint64 position : qAsConst(positions))
            QVERIFY(position <= engine->bufferLength());
    }

private:
    QPushButton *button(const char *name) const { return page->findChild<QPushButton *>(name); }
    // A main window as when the kit has connected, its audio page watched.
    void openWindow()
    {
        positions.clear();
        controls.clear();
        window = new MainWindow([] { return QList<PortCandidate>(); });
        page = window->audioWidget();
        engine = page->findChild<Engine *>("engine");
        window->setControlsEnabled(true);
        connect(engine, &Engine::playPositionChanged, this, [this](qint64 at) { positions << at; });
        // The kit controls, the load button among them, follow sigUpdateEnable.
        connect(page, &AudioWidget::sigUpdateEnable, this, [this] {
            controls << window->findChild<QPushButton *>("loadFromDeviceButton")->isEnabled();
        });
    }
    // Writes contents into fileName and chooses it through "Play file".
    void choose(const QString &fileName, const QByteArray &contents)
    {
        QVERIFY(writeFile(fileName, contents));
        closer.answerFileDialogs({fileName});
        button("modeButton")->click();
    }
    // Chooses a WAV file of frames of a pattern, then tail; returns its samples.
    QByteArray chooseWav(const WavWriter &wav, int frames, const QByteArray &tail = {})
    {
        const QByteArray samples = wav.samples(frames);
        choose(files.filePath("chosen.wav"), wav.header(samples.size()) + samples + tail);
        return samples;
    }
    // Clicks Play and waits for playback to end on its own: the kit controls enabled again.
    bool playToEnd()
    {
        QSignalSpy enable(page, &AudioWidget::sigUpdateEnable);
        button("playButton")->click();
        return enable.wait(20000) && (enable.last().first().toBool() ||
                                      (enable.wait(20000) && enable.last().first().toBool()));
    }

    TestSettings settings;
    QTemporaryDir files;
    ModalCloser closer;
    MainWindow *window = nullptr;
    AudioWidget *page = nullptr;
    Engine *engine = nullptr;
    QList<qint64> positions; // the progress bar's, in order
    QList<bool> controls;    // the kit controls' state after each sigUpdateEnable
};

int main(int argc, char **argv)
{
    qInstallMessageHandler(threadWatch::handler);
    VirtualAudioDevice virtualDevice;
    device = &virtualDevice;
    QApplication app(argc, argv);
    TestAudioPlayback test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_audioplayback.moc"
