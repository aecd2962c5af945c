#include "app/mainwindow.h"
#include "audio/audiowidget.h"
#include "audio/engine.h"
#include "audio/progressbar.h"
#include "audio/virtualaudiodevice.h"
#include "audio/wavwriter.h"
#include "support/datarow.h"
#include "support/modalcloser.h"
#include "support/testsettings.h"

#include <QAudioOutput>
#include <QMessageBox>
#include <QPushButton>
#include <QtTest>
#include <cstdlib>

namespace {

VirtualAudioDevice *virtualDevice = nullptr;
QtMessageHandler testLog = nullptr; // QtTest's own, while a test function runs
bool threadDestroyedRunning = false;

// Fails the run on the warning of a thread object destroyed while its thread runs,
// wherever it happens, also at exit; keeps the engine's debug lines out of the log.
void messageHandler(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (message.contains("QThread: Destroyed while thread is still running")) {
        threadDestroyedRunning = true;
        if (!testLog) {
            fprintf(stderr, "FAIL: %s\n", qPrintable(message));
            std::_Exit(1);
        }
    }
    if (type == QtDebugMsg && message.startsWith("Engine::"))
        return;
    if (testLog)
        testLog(type, context, message);
    else
        fprintf(stderr, "%s\n", qPrintable(message));
}

// Records the title, text and buttons of each message box as it shows.
class BoxRecorder : public QObject
{
public:
    QStringList boxes;

protected:
    bool eventFilter(QObject *object, QEvent *event) override
    {
        auto *box = qobject_cast<QMessageBox *>(object);
        if (box && event->type() == QEvent::Show)
            boxes << QStringLiteral("%1|%2|%3")
                         .arg(box->windowTitle(), box->text())
                         .arg(box->standardButtons());
        return false;
    }
};

// The kit controls of the main window that follow sigUpdateEnable.
bool kitControlsEnabled(const MainWindow &window)
{
    return window.findChild<QPushButton *>("loadFromDeviceButton")->isEnabled();
}

} // namespace

// Playback through the real page and engine into a virtual ALSA device standing in for
// the kit's, which writes what it is given into a file.
class TestAudioPlayback : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void cleanupTestCase();
    void playsSampleForSample_data();
    void playsSampleForSample();
    void stopThenPlayStartsOver();
    void refusedFiles_data();
    void refusedFiles();
    void defaultDeviceWithoutTheKit();
    void resetFromInsideTheOutputsSignal();
    void toneToItsEnd();
    void oddFormats_data();
    void oddFormats();

private:
    // A main window as when the kit has connected, its audio page watched.
    void openWindow();
    // Chooses fileName through "Play file".
    void choose(const QString &fileName);
    // Clicks Play and waits for playback to end on its own.
    bool playToEnd();
    // Writes a 16-bit WAV file of frames of a pattern; returns its name, and the samples.
    QString wavFile(const QString &name, int channels, int rate, int frames, QByteArray *samples);

    TestSettings settings;
    QTemporaryDir files;
    ModalCloser closer;
    BoxRecorder recorder;
    MainWindow *window = nullptr;
    AudioWidget *page = nullptr;
    Engine *engine = nullptr;
    QList<qint64> positions; // the progress bar's, in order
    QList<bool> controls;    // the kit controls' state after each sigUpdateEnable
};

void TestAudioPlayback::initTestCase()
{
    testLog = qInstallMessageHandler(messageHandler);
    QApplication::setQuitOnLastWindowClosed(false);
    qApp->installEventFilter(&recorder);
    const QList<QAudioDeviceInfo> devices = QAudioDeviceInfo::availableDevices(QAudio::AudioOutput);
    if (devices.isEmpty())
        QSKIP("ALSA offers no output device on this machine");
}

void TestAudioPlayback::init()
{
    settings.reset();
    virtualDevice->clearOutputs();
    recorder.boxes.clear();
    positions.clear();
    controls.clear();
    openWindow();
}

void TestAudioPlayback::openWindow()
{
    window = new MainWindow([] { return QList<PortCandidate>(); });
    page = window->audioWidget();
    engine = page->findChild<Engine *>("engine");
    window->setControlsEnabled(true); // as when the kit has connected
    connect(engine, &Engine::playPositionChanged, this,
            [this](qint64 position) { positions << position; });
    connect(page, &AudioWidget::sigUpdateEnable, this,
            [this] { controls << kitControlsEnabled(*window); });
}

void TestAudioPlayback::cleanup()
{
    delete window;
    window = nullptr;
    QVERIFY(!threadDestroyedRunning);
}

void TestAudioPlayback::cleanupTestCase()
{
    qInstallMessageHandler(messageHandler); // QtTest puts back what it found
    testLog = nullptr;
}

void TestAudioPlayback::choose(const QString &fileName)
{
    closer.answerFileDialogs({fileName});
    page->findChild<QPushButton *>("modeButton")->click();
}

bool TestAudioPlayback::playToEnd()
{
    QSignalSpy enable(page, &AudioWidget::sigUpdateEnable);
    page->findChild<QPushButton *>("playButton")->click();
    // Playing disables the kit controls, the end enables them again.
    return enable.wait(20000) && enable.count() >= 1 &&
           (enable.last().first().toBool() ||
            (enable.wait(20000) && enable.last().first().toBool()));
}

void TestAudioPlayback::playsSampleForSample_data()
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

void TestAudioPlayback::playsSampleForSample()
{
    QFETCH(int, channels);
    QFETCH(int, rate);
    QFETCH(int, frames);
    QFETCH(QByteArray, tail);
    QByteArray samples;
    const QString fileName = wavFile("tone.wav", channels, rate, frames, &samples);
    QFile file(fileName);
    QVERIFY(file.open(QIODevice::Append));
    file.write(tail);
    file.close();
    choose(fileName);
    QVERIFY(recorder.boxes.isEmpty());
    QCOMPARE(page->findChild<QLabel *>("infoMessageLabel")->text(),
             QStringLiteral("%1 Hz 16 bit signed LE %2")
                 .arg(rate)
                 .arg(channels == 1 ? "mono" : "stereo"));
    QVERIFY(kitControlsEnabled(*window));
    QCOMPARE(engine->findChild<QAudioOutput *>()->notifyInterval(), 100);
    QVERIFY(playToEnd());

    const QByteArray out = virtualDevice->kitSamples();
    QCOMPARE(out.left(samples.size()).toHex(), samples.toHex());
    QCOMPARE(out.mid(samples.size()), QByteArray(out.size() - samples.size(), 0)); // padding
    QVERIFY(virtualDevice->defaultSamples().isEmpty());

    QVERIFY(!positions.isEmpty());
    for (int i = 1; i < positions.size() - 1; ++i)
        QVERIFY(positions[i] >= positions[i - 1]);
    const qint64 length = 44 + samples.size();
    for (qint64 position : qAsConst(positions))
        QVERIFY(position <= length);
    QCOMPARE(positions.last(), qint64(0)); // the end sets it back
    // Loading enables the kit controls, playing disables them, the end enables them.
    QCOMPARE(controls.mid(controls.indexOf(false) - 1), QList<bool>({true, false, true}));
}

QString TestAudioPlayback::wavFile(const QString &name, int channels, int rate, int frames,
                                   QByteArray *samples)
{
    WavWriter wav;
    wav.channels = channels;
    wav.rate = rate;
    *samples = wav.samples(frames);
    const QString fileName = files.filePath(name);
    wav.write(fileName, *samples);
    return fileName;
}

// Stop leaves the bar where it was; Play then starts from the first sample again.
void TestAudioPlayback::stopThenPlayStartsOver()
{
    QByteArray samples;
    choose(wavFile("long.wav", 2, 44100, 3 * 44100, &samples));
    QSignalSpy enable(page, &AudioWidget::sigUpdateEnable);
    page->findChild<QPushButton *>("playButton")->click();
    QTRY_VERIFY(positions.size() >= 2 && positions.last() > 0);
    QVERIFY(!page->findChild<QPushButton *>("playButton")->isEnabled());
    page->findChild<QPushButton *>("stopButton")->click();
    QTRY_VERIFY(!enable.isEmpty() && enable.last().first().toBool());
    QVERIFY(positions.last() > 0);
    QCOMPARE(engine->state(), QAudio::StoppedState);
    const QByteArray stopped = virtualDevice->kitSamples();
    QVERIFY(stopped.size() < samples.size());
    QCOMPARE(stopped.toHex(), samples.left(stopped.size()).toHex());

    positions.clear();
    QVERIFY(playToEnd());
    QCOMPARE(positions.first(), qint64(0));
    const QByteArray out = virtualDevice->kitSamples();
    QCOMPARE(out.left(samples.size()).toHex(), samples.toHex());
    // Rising towards the end of a file of several notifies' worth.
    const qint64 last = positions.value(positions.size() - 2);
    QVERIFY2(last > samples.size() / 2, qPrintable(QString::number(last)));
}

void TestAudioPlayback::refusedFiles_data()
{
    QTest::addColumn<QByteArray>("contents"); // none: the file doesn't exist
    QTest::addColumn<QString>("box");         // title|text|buttons, the file's name as %1
    WavWriter eightBit;
    eightBit.bits = 8;
    WavWriter rifx;
    rifx.tag = "RIFX";
    const QString close = QString::number(QMessageBox::Close);
    dataRow("missing", QByteArray(), "Could not open file|%1|" + close);
    dataRow("8-bit", eightBit.header(800) + eightBit.samples(800),
            "Audio format not supported|8000 Hz 8 bit unsigned LE mono|" + close);
    dataRow("RIFX", rifx.header(800) + rifx.samples(400),
            "Audio format not supported|8000 Hz 16 bit signed BE mono|" + close);
    dataRow("short header", QByteArray("RIFF\0\0\0\0WAVEfmt ", 16),
            "Could not open file|%1|" + close);
}

// Each refusal shows its heading and detail, and Play then does nothing.
void TestAudioPlayback::refusedFiles()
{
    QFETCH(QByteArray, contents);
    QFETCH(QString, box);
    const QString fileName = files.filePath("refused.wav");
    QFile::remove(fileName);
    if (!contents.isEmpty()) {
        QFile file(fileName);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(contents);
    }
    if (contents.isEmpty())
        engine->loadFile(fileName); // the file dialog offers existing files only
    else
        choose(fileName);
    QTRY_COMPARE(recorder.boxes, QStringList{QString(box).replace("%1", fileName)});

    QSignalSpy enable(page, &AudioWidget::sigUpdateEnable);
    QVERIFY(page->findChild<QPushButton *>("playButton")->isEnabled());
    page->findChild<QPushButton *>("playButton")->click();
    QTest::qWait(200);
    QCOMPARE(engine->mode(), QAudio::AudioInput);
    QCOMPARE(engine->state(), QAudio::StoppedState);
    QVERIFY(enable.isEmpty());
    QVERIFY(virtualDevice->kitSamples().isEmpty());
}

// Without a device named as the kit's, playback goes to the default device.
void TestAudioPlayback::defaultDeviceWithoutTheKit()
{
    delete window;
    virtualDevice->writeConfig(false);
    openWindow();
    virtualDevice->writeConfig(true);
    QCOMPARE(engine->audioOutputDevice().deviceName(),
             QAudioDeviceInfo::defaultOutputDevice().deviceName());

    QByteArray samples;
    choose(wavFile("default.wav", 2, 8000, 8000, &samples));
    QVERIFY(playToEnd());
    QCOMPARE(virtualDevice->defaultSamples().left(samples.size()).toHex(), samples.toHex());
    QVERIFY(virtualDevice->kitSamples().isEmpty());

    // The kit's device turning up later is taken at the next rescan, as on connection.
    QSignalSpy lengths(engine, &Engine::bufferLengthChanged);
    page->rescanAudioDevices();
    QCOMPARE(engine->audioOutputDevice().deviceName(), QString(VirtualAudioDevice::KitName));
    QCOMPARE(lengths.count(), 1); // initialised for it
    page->rescanAudioDevices();
    QCOMPARE(lengths.count(), 1); // the same device again changes nothing
}

// The output's own signal resets the engine: the output goes only after the signal.
void TestAudioPlayback::resetFromInsideTheOutputsSignal()
{
    QByteArray samples;
    const QString fileName = wavFile("reset.wav", 1, 8000, 16000, &samples);
    choose(fileName);
    connect(engine, &Engine::stateChanged, this, [this](QAudio::Mode, QAudio::State state) {
        if (state == QAudio::ActiveState)
            engine->reset();
    });
    page->findChild<QPushButton *>("playButton")->click();
    QTRY_COMPARE(engine->findChildren<QAudioOutput *>().size(), 0);
    QCOMPARE(engine->mode(), QAudio::AudioInput);
    QCOMPARE(engine->bufferLength(), qint64(0));

    disconnect(engine, &Engine::stateChanged, this, nullptr);
    QVERIFY(engine->loadFile(fileName));
    QVERIFY(playToEnd());
    QCOMPARE(virtualDevice->kitSamples().left(samples.size()).toHex(), samples.toHex());
}

// A generated tone plays whole and ends by itself; its position stays within its length.
void TestAudioPlayback::toneToItsEnd()
{
    QSignalSpy lengths(engine, &Engine::bufferLengthChanged);
    QVERIFY(engine->generateTone(Tone{440.0, 0.5}));
    QByteArray expected(int(engine->bufferLength()), 0);
    generateTone(SweptTone{440.0, 440.0, 0.5}, engine->format(), expected);
    QCOMPARE(lengths.last().first().toLongLong(), qint64(expected.size()));
    QVERIFY(playToEnd());
    QCOMPARE(virtualDevice->kitSamples().left(expected.size()).toHex(), expected.toHex());
    for (qint64 position : qAsConst(positions))
        QVERIFY(position <= expected.size());
    QCOMPARE(positions.last(), qint64(0));
}

void TestAudioPlayback::oddFormats_data()
{
    QTest::addColumn<int>("channels");
    QTest::addColumn<quint32>("rate");
    dataRow("no channels", 0, quint32(8000));
    dataRow("65535 channels", 65535, quint32(8000));
    dataRow("rate 0", 1, quint32(0));
    dataRow("rate 1 Hz", 1, quint32(1));
    dataRow("rate past int", 2, quint32(0xFFFFFFFF));
}

// Headers that pass the reader with formats no device plays: a message or playback, never
// a crash, and a position within the length.
void TestAudioPlayback::oddFormats()
{
    QFETCH(int, channels);
    QFETCH(quint32, rate);
    WavWriter wav;
    QByteArray contents = wav.header(800) + wav.samples(400);
    contents.replace(22, 2, WavWriter::le16(quint16(channels)));
    contents.replace(24, 4, WavWriter::le32(rate));
    const QString fileName = files.filePath("odd.wav");
    QFile file(fileName);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(contents);
    file.close();

    if (!engine->loadFile(fileName))
        QTRY_COMPARE(recorder.boxes.size(), 1);
    page->findChild<QPushButton *>("playButton")->click();
    QTest::qWait(300);
    page->findChild<QPushButton *>("stopButton")->click();
    QTRY_COMPARE(engine->state(), QAudio::StoppedState);
    for (qint64 position : qAsConst(positions))
        QVERIFY(position <= engine->bufferLength());
}

int main(int argc, char **argv)
{
    qInstallMessageHandler(messageHandler);
    VirtualAudioDevice device;
    virtualDevice = &device;
    QApplication app(argc, argv);
    TestAudioPlayback test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_audioplayback.moc"
