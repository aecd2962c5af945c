#include "app/constants.h"
#include "app/mainwindow.h"
#include "audio/audiowidget.h"
#include "audio/engine.h"
#include "pulseaudioserver.h"
#include "support/datarow.h"
#include "support/modalcloser.h"
#include "support/testsettings.h"
#include "wavwriter.h"

#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QtTest>

namespace {
PulseAudioServer *server = nullptr;
const QString KitSink = PulseAudioServer::KitSink;
const QString LaptopSink = PulseAudioServer::LaptopSink;
} // namespace

// Playback through the real page, engine and Qt's PulseAudio plugin on a PulseAudio
// server of the test's own, whose null sinks play in real time as a desktop's do.
class TestAudioPulse : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        const QString failure = server->start();
        if (!failure.isEmpty())
            QSKIP(qPrintable("No PulseAudio server: " + failure));
    }
    void init()
    {
        settings.reset();
        closer.clear();
    }
    void cleanup()
    {
        delete window;
        window = nullptr;
    }

    // Found by its sink name alone, the kit's sink plays the file sample for sample
    // while the default one stays silent.
    void playsOnTheKitsSink()
    {
        openWindow();
        QCOMPARE(engine->audioOutputDevice().deviceName(), KitSink);
        QVERIFY(label()->text().contains("the kit's audio device"));
        playRecorded(KitSink, LaptopSink);
    }

    void playsOnTheDefaultWithoutTheKit()
    {
        QVERIFY(server->removeKitSink());
        openWindow();
        QVERIFY(server->addKitSink());
        QCOMPARE(engine->audioOutputDevice().deviceName(), LaptopSink);
        QVERIFY2(label()->text().contains("The kit's audio device was not found"),
                 qPrintable(label()->text()));
        playRecorded(LaptopSink, KitSink);
    }

    // The choice outlives the window in the view settings, never in the session.
    void chosenOutputIsRemembered()
    {
        openWindow();
        auto *box = page->findChild<QComboBox *>("outputBox");
        QVERIFY(box->findText(KitSink) > 0);
        box->setCurrentIndex(box->findText(LaptopSink));
        emit box->activated(box->currentIndex());
        QCOMPARE(engine->audioOutputDevice().deviceName(), LaptopSink);
        delete window;
        openWindow();
        QCOMPARE(engine->audioOutputDevice().deviceName(), LaptopSink);
        QVERIFY(label()->text().contains("as chosen"));
        QVERIFY(!QSettings().contains(AUDIO_OUTPUT_KEY));
        box = page->findChild<QComboBox *>("outputBox");
        box->setCurrentIndex(0);
        emit box->activated(0); // automatic again
        QCOMPARE(engine->audioOutputDevice().deviceName(), KitSink);
        QCOMPARE(QSettings(QSettings::IniFormat, QSettings::UserScope, ORG_NAME, VIEW_SETTINGS_NAME)
                     .value(AUDIO_OUTPUT_KEY)
                     .toString(),
                 QString());
    }

    // The kit unplugged while it plays: playback ends, the buttons come back, the page
    // says so once, and the default takes over.
    void sinkRemovedWhilePlaying()
    {
        openWindow();
        chooseWav(3 * 44100);
        QSignalSpy enable(page, &AudioWidget::sigUpdateEnable);
        QSignalSpy positions(engine, &Engine::playPositionChanged);
        button("playButton")->click();
        QTRY_VERIFY(!positions.isEmpty() && positions.last().first().toLongLong() > 0);
        QVERIFY(server->removeKitSink());
        QTRY_VERIFY_WITH_TIMEOUT(enable.last().first().toBool(), 10000);
        QVERIFY(server->addKitSink());
        QCOMPARE(engine->state(), QAudio::StoppedState);
        QVERIFY(button("playButton")->isEnabled());
        QVERIFY(!button("stopButton")->isEnabled());
        QCOMPARE(label()->text().count("went away"), 1);
        QCOMPARE(engine->audioOutputDevice().deviceName(), LaptopSink);
        QVERIFY(closer.boxes().isEmpty());
    }

    void destroyedRightAfterPlay_data()
    {
        QTest::addColumn<int>("turns"); // of the event loop between Play and the end
        dataRow("same turn", 0);
        dataRow("next turn", 1);
    }
    // The page and its engine go while the output's stream is being set up.
    void destroyedRightAfterPlay()
    {
        QFETCH(int, turns);
        openWindow();
        chooseWav(44100);
        button("playButton")->click();
        for (int turn = 0; turn < turns; ++turn)
            QCoreApplication::processEvents();
        delete window;
        window = nullptr;
        QTest::qWait(100); // whatever the plugin left queued runs now
    }

private:
    QPushButton *button(const char *name) const { return page->findChild<QPushButton *>(name); }
    QLabel *label() const { return page->findChild<QLabel *>("outputLabel"); }
    void openWindow()
    {
        window = new MainWindow([] { return QList<PortCandidate>(); });
        page = window->audioWidget();
        engine = page->findChild<Engine *>("engine");
        window->setControlsEnabled(true);
    }
    QByteArray chooseWav(int frames)
    {
        const WavWriter wav(2, 44100);
        const QByteArray samples = wav.samples(frames);
        const QString fileName = files.filePath("chosen.wav");
        if (!writeFile(fileName, wav.header(samples.size()) + samples))
            return QByteArray();
        closer.answerFileDialogs({fileName});
        button("modeButton")->click();
        return samples;
    }
    // Plays a second of a file to its end, recording both sinks: played carries the
    // file's samples exactly, silent nothing but zeros.
    void playRecorded(const QString &played, const QString &silent)
    {
        const QByteArray samples = chooseWav(32000); // no repeat of the pattern
        QProcess playedRecorder, silentRecorder;
        server->startRecording(playedRecorder, played);
        server->startRecording(silentRecorder, silent);
        // Both recorders hear their sink (silence) before anything plays.
        QTRY_VERIFY(!server->recorded(played).isEmpty() && !server->recorded(silent).isEmpty());
        QSignalSpy enable(page, &AudioWidget::sigUpdateEnable);
        button("playButton")->click();
        QTRY_VERIFY_WITH_TIMEOUT(enable.size() >= 2 && enable.last().first().toBool(), 15000);
        // The recorder hears the end a little later than the player ends. A sink that
        // rewinds at a stream's start shows its monitor a little of it twice, so what
        // comes before the first whole 4 KiB of the file is not judged.
        const int start = server->recorded(played).indexOf(samples.left(4096));
        QVERIFY2(start >= 0, "the file's first samples were not heard");
        const auto soundHeard = [&] {
            const QByteArray heard = server->recorded(played).mid(start);
            return heard.size() - heard.count('\0');
        };
        // Qt's PulseAudio plugin loses the last write of a stream now and then (20 ms).
        const int lastWrite = 4096;
        QTRY_VERIFY(soundHeard() >= samples.size() - lastWrite);
        const QByteArray heard = server->stopRecording(playedRecorder, played);
        const QByteArray quiet = server->stopRecording(silentRecorder, silent);
        // No byte of the pattern is 0, so what is left of the recording without its
        // silence is what the sink played: the file, in order, and nothing else.
        // A sink that ran dry for a moment inserts silence: counted, not failed.
        QByteArray sound = heard.mid(start);
        int last = sound.size() - 1;
        while (last > 0 && sound.at(last) == '\0')
            --last;
        const int silence = last + 1 - (sound.size() - sound.count('\0'));
        sound.replace(QByteArray(1, 0), QByteArray());
        QVERIFY(sound.size() >= samples.size() - lastWrite && sound.size() <= samples.size());
        QVERIFY(sound == samples.left(sound.size()));
        qInfo("sink %s: %d of %d bytes heard exactly, %d bytes of silence inside",
              qPrintable(played), int(sound.size()), int(samples.size()), silence);
        QVERIFY(!quiet.isEmpty());
        QCOMPARE(quiet, QByteArray(quiet.size(), 0));
    }

    TestSettings settings;
    QTemporaryDir files;
    ModalCloser closer;
    MainWindow *window = nullptr;
    AudioWidget *page = nullptr;
    Engine *engine = nullptr;
};

int main(int argc, char **argv)
{
    PulseAudioServer pulse;
    server = &pulse;
    QApplication app(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    TestAudioPulse test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_audiopulse.moc"
