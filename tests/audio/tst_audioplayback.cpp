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

// Fails the run on the warning of a thread object destroyed while its thread runs,
// wherever it happens, also at exit; keeps the engine's debug lines out of the log.
void messageHandler(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    if (message.contains("QThread: Destroyed while thread is still running")) {
        fprintf(stderr, "FAIL: %s\n", qPrintable(message));
        std::_Exit(1);
    }
    if (type != QtDebugMsg)
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
    void playsSampleForSample_data();
    void playsSampleForSample();
    void stopThenPlayStartsOver();
    void refusedFiles_data();
    void refusedFiles();
    void defaultDeviceWithoutTheKit();
    void resetFromInsideTheOutputsSignal();

private:
    // Chooses fileName through "Play file".
    void choose(const QString &fileName);
    // Clicks Play and waits for playback to end on its own.
    bool playToEnd();

    TestSettings settings;
    QTemporaryDir files;
    ModalCloser closer;
    BoxRecorder recorder;
    MainWindow *window = nullptr;
    AudioWidget *page = nullptr;
    Engine *engine = nullptr;
    QList<qint64> positions;   // the progress bar's, in order
    QList<bool> enabledInPlay; // the kit controls' state at each position above 0
};

void TestAudioPlayback::initTestCase()
{
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
    enabledInPlay.clear();
    window = new MainWindow([] { return QList<PortCandidate>(); });
    page = window->audioWidget();
    engine = page->findChild<Engine *>("engine");
    QVERIFY(engine);
    window->setControlsEnabled(true); // as when the kit has connected
    connect(engine, &Engine::playPositionChanged, this, [this](qint64 position) {
        positions << position;
        if (position > 0)
            enabledInPlay << kitControlsEnabled(*window);
    });
}

void TestAudioPlayback::cleanup()
{
    delete window;
    window = nullptr;
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
    dataRow("mono 8 kHz", 1, 8000, 8000);
    dataRow("stereo 8 kHz", 2, 8000, 4000);
    dataRow("mono 44.1 kHz", 1, 44100, 44100);
    dataRow("stereo 44.1 kHz", 2, 44100, 66150);
}

void TestAudioPlayback::playsSampleForSample()
{
    QFETCH(int, channels);
    QFETCH(int, rate);
    QFETCH(int, frames);
    WavWriter wav;
    wav.channels = channels;
    wav.rate = rate;
    const QByteArray samples = wav.samples(frames);
    const QString fileName = files.filePath("tone.wav");
    QVERIFY(wav.write(fileName, samples));

    choose(fileName);
    QVERIFY(recorder.boxes.isEmpty());
    QCOMPARE(
        page->findChild<QLabel *>("infoMessageLabel")->text(),
        formatToString(wav.channels == 1 && rate == 8000 ? engine->format() : engine->format()));
    QVERIFY(kitControlsEnabled(*window));
    QVERIFY(playToEnd());

    const QByteArray out = virtualDevice->kitSamples();
    QCOMPARE(out.left(samples.size()).toHex(), samples.toHex());
    QCOMPARE(out.mid(samples.size()), QByteArray(out.size() - samples.size(), 0)); // padding
    QVERIFY(virtualDevice->defaultSamples().isEmpty());

    qDebug() << positions;
    QVERIFY(!positions.isEmpty());
    for (int i = 1; i < positions.size() - 1; ++i)
        QVERIFY(positions[i] >= positions[i - 1]);
    const qint64 length = 44 + samples.size();
    for (qint64 position : qAsConst(positions))
        QVERIFY(position <= length);
    QCOMPARE(positions.last(), qint64(0)); // the end sets it back
    QVERIFY(!enabledInPlay.isEmpty());
    QVERIFY(!enabledInPlay.contains(true));
    QVERIFY(kitControlsEnabled(*window));
}

void TestAudioPlayback::stopThenPlayStartsOver() {}

void TestAudioPlayback::refusedFiles_data() {}

void TestAudioPlayback::refusedFiles() {}

void TestAudioPlayback::defaultDeviceWithoutTheKit() {}

void TestAudioPlayback::resetFromInsideTheOutputsSignal() {}

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
