#include "audio/audiowidget.h"
#include "audio/engine.h"
#include "audio/progressbar.h"
#include "audio/spectrograph.h"
#include "audio/tonegeneratordialog.h"
#include "audio/waveform.h"
#include "support/datarow.h"
#include "support/testsettings.h"
#include "virtualaudiodevice.h"
#include "wavwriter.h"

#include <QAction>
#include <QCheckBox>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QPushButton>
#include <QSlider>
#include <QSpinBox>
#include <QtEndian>
#include <QtTest>

namespace {

VirtualAudioDevice *device = nullptr;

// The waveform view logs each tile it draws: the count is what tile reuse is judged
// by. Debug lines stay out of the log.
int tileDraws = 0;
QtMessageHandler forwardMessage = nullptr;
void countTileDraws(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    tileDraws += message.startsWith(QLatin1String("Waveform::paintTile "));
    if (type != QtDebugMsg)
        forwardMessage(type, context, message);
}

// Where the rendered widgets are written, for a person to look at.
void saveScreenshot(QWidget &widget, const QString &name)
{
    QDir dir(QCoreApplication::applicationDirPath());
    dir.mkpath("screenshots");
    widget.grab().save(dir.filePath("screenshots/" + name));
}

// bytes of 8 kHz mono sine whose frequency rises linearly from startHz to endHz.
QByteArray sine(double startHz, double endHz, int bytes)
{
    QByteArray buffer(bytes, 0);
    generateTone({startHz, endHz, 1.0}, pcmFormat(8000, 1), buffer);
    return buffer;
}

// The white rows of column x; {-1} if it holds anything neither white nor black.
QVector<int> whiteRows(const QImage &image, int x)
{
    QVector<int> rows;
    for (int y = 0; y < image.height(); ++y) {
        const QRgb pixel = image.pixel(x, y) & 0xffffff;
        if (pixel && pixel != 0xffffff)
            return {-1};
        if (pixel)
            rows << y;
    }
    return rows;
}

bool isBlack(const QImage &image)
{
    QImage black(image.size(), image.format());
    black.fill(Qt::black);
    return image == black;
}

// A 400 x 100 view of 8 kHz audio, 100 ms (1600 bytes of mono, 4 a column) wide, in
// tiles of tileBytes: by default five tiles of 100 columns.
struct WaveformView : Waveform
{
    explicit WaveformView(qint64 tileBytes = 400, int width = 400, qint64 windowUs = 100000)
    {
        resize(width, 100);
        show(); // so that the size is settled before the tiles are made
        (void)QTest::qWaitForWindowExposed(this);
        tileDraws = 0;
        initialize(pcmFormat(8000, 1), tileBytes, windowUs);
    }
    QImage image() { return grab().toImage(); }
};

// '.' black, 'b' a bar, 'c' a clipped bar, 's' the selection, 'g' the grid.
char shade(QRgb pixel)
{
    const int r = qRed(pixel), g = qGreen(pixel), b = qBlue(pixel);
    if ((pixel & 0xffffff) == 0)
        return '.';
    if (QColor(pixel) == QColor(202, 202, 64))
        return 's';
    if (r > 150 && g > 150 && b < 40)
        return 'c';
    return g > 150 && g - r > 60 ? 'b' : 'g';
}

// A 400 x 200 spectrograph of bars from low to high Hz, showing "frequency:amplitude[:c]"
// items, c for clipped.
struct SpectrographView : Spectrograph
{
    SpectrographView(int bars, double low, double high, const QString &items)
    {
        resize(400, 200);
        setParams(bars, low, high);
        const QStringList parts = items.split(' ', Qt::SkipEmptyParts);
        FrequencySpectrum spectrum(parts.size());
        for (int i = 0; i < parts.size(); ++i) {
            const QStringList fields = parts[i].split(':');
            spectrum[i] = {fields[0].toDouble(), fields[1].toDouble(), 0.0, fields.size() > 2};
        }
        spectrumChanged(spectrum);
    }
    // Ten bars of 40 columns, each read low in its middle column; top: the first row of
    // the last bar not black.
    QString bars(int *top = nullptr)
    {
        const QImage image = grab().toImage();
        QString bars;
        for (int x = 20; x < 400; x += 40) {
            bars += shade(image.pixel(x, 190));
            for (int y = 0; top && bars.back() != '.' && y < 200; ++y) {
                if (shade(image.pixel(x, y)) == bars.back().toLatin1()) {
                    *top = y;
                    break;
                }
            }
        }
        return bars;
    }
};

} // namespace

// The waveform view, the spectrograph, the progress bar and the tone dialog, judged by
// what they draw, and a tone asked for in the dialog played through the page and the
// engine into a virtual ALSA device standing in for the kit's, which writes its samples
// into a file.
class TestAudioViews : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        forwardMessage = qInstallMessageHandler(countTileDraws);
        // The waveform's debug lines, counted here, are off unless asked for.
        QLoggingCategory::setFilterRules(QStringLiteral("ktr.audio.debug=true"));
    }
    void cleanupTestCase() { qInstallMessageHandler(forwardMessage); }

    void waveformDrawsItsSamples()
    {
        // A full-scale sine of 40 frames (10 columns) a period reaches the top and the
        // bottom of each tile, crosses the centre at its zeros, and not at its peaks,
        // the positive ones drawn at the bottom.
        WaveformView w;
        w.bufferChanged(0, 2000, sine(200, 200, 2000));
        const QImage image = w.image();
        for (int x = 0; x < 400; x += 10) {
            QVERIFY(whiteRows(image, x).contains(50));
            const QVector<int> peak = whiteRows(image, x + 5);
            QVERIFY(!peak.contains(50) && !peak.contains(-1));
            QVERIFY(peak.contains(x % 20 ? 0 : 99));
        }
    }

    // The first buffer holds 6400 bytes of a sweep from bufferStart on; the positions
    // go to the view in turn, and its window ends up at shownFrom.
    void waveformScrollsOverItsTiles_data()
    {
        QTest::addColumn<qint64>("bufferStart");
        QTest::addColumn<QList<qint64>>("positions");
        QTest::addColumn<qint64>("shownFrom");
        QTest::addColumn<int>("draws"); // tiles drawn after those of the first buffer
        using L = QList<qint64>;
        dataRow("less than a tile: tiles reused", 0LL, L{200}, 200LL, 0);
        dataRow("small steps: a tile at each tile passed", 0LL, L{100, 200, 300, 404, 800}, 800LL,
                2);
        dataRow("past the data: its last window", 0LL, L{6000}, 4800LL, 4);
        dataRow("backwards: all drawn anew", 0LL, L{1200, 400}, 400LL, 3 + 5);
        dataRow("before the buffer: ignored", 800LL, L{1200, 400}, 1200LL, 3);
    }
    void waveformScrollsOverItsTiles()
    {
        QFETCH(qint64, bufferStart);
        QFETCH(QList<qint64>, positions);
        QFETCH(qint64, shownFrom);
        QFETCH(int, draws);
        // The whole sweep in one window of the same scale: what any window must show.
        const QByteArray audio = sine(50, 600, 6400);
        WaveformView whole(400, 1600, 400000);
        whole.bufferChanged(0, audio.size(), audio);
        saveScreenshot(whole, "waveform.png");

        WaveformView w;
        w.bufferChanged(bufferStart, audio.size() - bufferStart, audio.mid(bufferStart));
        const int firstDraws = tileDraws;
        for (qint64 position : positions)
            w.audioPositionChanged(position);
        QCOMPARE(tileDraws - firstDraws, draws);
        QCOMPARE(w.image(), whole.image().copy(int(shownFrom / 4), 0, 400, 100));
    }

    void waveformTileCounts_data()
    {
        QTest::addColumn<qint64>("tileBytes");
        QTest::addColumn<qint64>("windowUs");
        QTest::addColumn<int>("bufferBytes");
        QTest::addColumn<int>("draws"); // none: the view stays black
        dataRow("silence: a window of tiles", 400LL, 100000LL, 2000, 5);
        dataRow("a tile longer than the window", 2000LL, 100000LL, 8000, 2);
        dataRow("2.5 tiles a window", 640LL, 100000LL, 8000, 4);
        dataRow("no window", 400LL, 0LL, 8000, 0);
        dataRow("tiles far narrower than a pixel", 2LL, 10000000000LL, 8000, 0);
        dataRow("buffer shorter than a tile", 400LL, 100000LL, 300, 0);
    }
    void waveformTileCounts()
    {
        QFETCH(qint64, tileBytes);
        QFETCH(qint64, windowUs);
        QFETCH(int, bufferBytes);
        QFETCH(int, draws);
        WaveformView w(tileBytes, 400, windowUs);
        w.bufferChanged(0, bufferBytes, QByteArray(bufferBytes, 0));
        QCOMPARE(tileDraws, draws);
        const QImage image = w.image();
        for (int x = 0; x < 400; ++x) // silence is the centre line alone
            QCOMPARE(whiteRows(image, x), draws ? QVector<int>{50} : QVector<int>());
    }

    void waveformEdgeCases()
    {
        // Shorter than the window: the view stays at 0 and ends where whole tiles do.
        WaveformView w;
        const QByteArray audio = sine(200, 200, 2000);
        w.bufferChanged(0, 1000, audio.left(1000));
        w.audioPositionChanged(300);
        QCOMPARE(tileDraws, 2);
        const QImage image = w.image();
        for (int x = 0; x < 400; ++x)
            QCOMPARE(whiteRows(image, x).isEmpty(), x >= 200);

        // A new size drops the tiles until the next buffer; so does a new format.
        w.resize(400, 60);
        QVERIFY(isBlack(w.image()));
        w.bufferChanged(0, 1000, audio.left(1000));
        QCOMPARE(whiteRows(w.image(), 5).last(), 59);
        w.initialize(pcmFormat(8000, 2), 800, 100000);
        QVERIFY(isBlack(w.image()));
        // Stereo: the left channel drawn, the right (inverted here) not.
        QByteArray stereo;
        for (int i = 0; i < audio.size(); i += 2)
            stereo += audio.mid(i, 2) + char(~audio[i]) + char(~audio[i + 1]);
        w.resize(400, 100);
        w.bufferChanged(0, stereo.size(), stereo);
        WaveformView mono;
        mono.bufferChanged(0, audio.size(), audio);
        QCOMPARE(w.image(), mono.image());

        w.reset();
        w.bufferChanged(0, stereo.size(), stereo);
        QVERIFY(isBlack(w.image()));
    }

    // Ten bars of 100 Hz from 100 Hz, over a background of zeros every 10 Hz.
    void spectrographShowsItsSpectrum_data()
    {
        QTest::addColumn<QString>("elements");
        QTest::addColumn<QString>("bars");
        QTest::addColumn<int>("top");
        dataRow("one strong frequency", "550:0.9", "....b.....", 26);
        dataRow("lower bound in the first bar", "100:0.5", "b.........", 100);
        dataRow("just below the upper bound", "1099.99:0.5", ".........b", 100);
        dataRow("upper bound in no bar", "1100:0.5", "..........", -1);
        dataRow("below the range", "99.9:0.5", "..........", -1);
        dataRow("clipped", "550:0.5:c", "....c.....", 100);
        dataRow("two in a band: the larger, clipped", "550:0.3:c 560:0.8", "....c.....", 44);
        dataRow("above full scale: kept in the field", "750:1.5", "......b...", 8);
    }
    void spectrographShowsItsSpectrum()
    {
        QFETCH(QString, elements);
        QFETCH(QString, bars);
        QFETCH(int, top);
        for (int hz = 0; hz < 2000; hz += 10)
            elements += QStringLiteral(" %1:0").arg(hz);
        SpectrographView graph(10, 100, 1100, elements);
        int shownTop = -1;
        QCOMPARE(graph.bars(&shownTop), bars);
        QCOMPARE(shownTop, top);
        graph.spectrumChanged(FrequencySpectrum(0));
        QCOMPARE(graph.bars(), "..........");
    }

    void spectrographSelectsABarForTwoSeconds()
    {
        SpectrographView graph(10, 0, 1000, "50:0.4 250:1:c 350:0.7 620:0.2 990:0.95");
        QSignalSpy messages(&graph, &Spectrograph::infoMessage);
        const auto selected = [&graph](int bar) {
            return shade(graph.grab().toImage().pixel(bar * 40 + 1, 10)) == 's';
        };
        const auto click = [&graph](int x) {
            QTest::mouseClick(&graph, Qt::LeftButton, {}, QPoint(x, 100));
        };
        QElapsedTimer clock;
        clock.start();
        click(140);
        QCOMPARE(messages.takeLast(), QVariantList({"300 - 400 Hz", 2000}));
        QVERIFY(selected(3));
        QCOMPARE(graph.bars(), "b.cb..b..b");
        saveScreenshot(graph, "spectrograph.png");
        QTRY_VERIFY_WITH_TIMEOUT(!selected(3), 4000);
        QVERIFY(clock.elapsed() >= 1800);

        click(140); // a second click within the 2 s starts them again
        clock.restart();
        QTest::qWait(1000);
        click(299);
        QCOMPARE(messages.takeLast(), QVariantList({"700 - 800 Hz", 2000}));
        QVERIFY(selected(7) && !selected(3));
        QTRY_VERIFY_WITH_TIMEOUT(!selected(7), 5000);
        QVERIFY(clock.elapsed() >= 2800);

        graph.reset();
        QCOMPARE(graph.bars(), "..........");
        graph.setParams(3, 0, 1000);
        click(200);
        QCOMPARE(messages.takeLast(), QVariantList({"333.333 - 666.667 Hz", 2000}));
        graph.setParams(0, 0, 1000); // no bars: nothing to select
        messages.clear();
        click(200);
        QVERIFY(messages.isEmpty());
        QCOMPARE(graph.bars(), "..........");
    }

    // Black, a blue bar up to the play position, a green window.
    void progressBarPaints_data()
    {
        QTest::addColumn<qint64>("length");
        QTest::addColumn<qint64>("play");
        QTest::addColumn<qint64>("windowStart");
        QTest::addColumn<qint64>("windowLength");
        QTest::addColumn<QString>("columns"); // colour of columns 0, 24, 25, 50, 75, 99
        dataRow("nothing loaded", 0LL, 50LL, 0LL, 10LL, "kkkkkk");
        dataRow("a quarter played", 1000LL, 250LL, 0LL, 0LL, "bbkkkk");
        dataRow("all played", 1000LL, 1000LL, 0LL, 0LL, "bbbbbb");
        dataRow("a window", 1000LL, 0LL, 500LL, 300LL, "kkkggk");
    }
    void progressBarPaints()
    {
        QFETCH(qint64, length);
        QFETCH(qint64, play);
        QFETCH(qint64, windowStart);
        QFETCH(qint64, windowLength);
        QFETCH(QString, columns);
        ProgressBar bar;
        bar.resize(100, 30);
        bar.bufferLengthChanged(length);
        bar.playPositionChanged(play);
        bar.windowChanged(windowStart, windowLength);
        QCOMPARE(colours(bar, {0, 24, 25, 50, 75, 99}), columns);

        // A new length clears the positions; reset clears the length.
        bar.bufferLengthChanged(2000);
        QCOMPARE(colours(bar, {50}), "k");
        bar.playPositionChanged(2000);
        QCOMPARE(colours(bar, {50}), "b");
        bar.reset();
        QCOMPARE(colours(bar, {50}), "k");
    }

    void toneDialog()
    {
        ToneGeneratorDialog dialog;
        auto *sweep = dialog.findChild<QCheckBox *>();
        auto *slider = dialog.findChild<QSlider *>();
        auto *spinBox = dialog.findChild<QSpinBox *>();
        QWidget *panel = dialog.findChild<QWidget *>("frequencyPanel");
        // Slider and spin box move together, within their range.
        for (const auto &[control, value, frequency] :
             {std::tuple<QWidget *, int, int>{slider, 250, 250},
              {spinBox, 7, 7},
              {spinBox, 1000, 300},
              {slider, 0, 1}}) {
            QMetaObject::invokeMethod(control, "setValue", Q_ARG(int, value));
            QCOMPARE(QVariantList({dialog.frequency(), slider->value(), spinBox->value()}),
                     QVariantList({double(frequency), frequency, frequency}));
        }
        dialog.show();
        QTest::mouseClick(sweep, Qt::LeftButton);
        QVERIFY(dialog.isFrequencySweepEnabled() && !panel->isEnabled());
        QVERIFY(dialog.findChild<QDoubleSpinBox *>()->isEnabled()); // the amplitude
        saveScreenshot(dialog, "tonegeneratordialog.png");
        QTest::mouseClick(sweep, Qt::LeftButton);
        QVERIFY(!dialog.isFrequencySweepEnabled() && panel->isEnabled());
    }

    void playsTheToneAskedFor_data()
    {
        QTest::addColumn<int>("frequency"); // 0: a sweep
        QTest::addColumn<double>("amplitude");
        QTest::addColumn<bool>("accepted");
        dataRow("100 Hz, full scale", 100, 1.0, true);
        dataRow("37 Hz, half scale", 37, 0.5, true);
        dataRow("sweep at 0.8", 0, 0.8, true);
        dataRow("cancelled", 100, 1.0, false);
    }
    void playsTheToneAskedFor()
    {
        QFETCH(int, frequency);
        QFETCH(double, amplitude);
        QFETCH(bool, accepted);
        if (QAudioDeviceInfo::availableDevices(QAudio::AudioOutput).isEmpty())
            QSKIP("ALSA offers no output device on this machine");
        device->clearOutputs();
        AudioWidget page;
        auto *engine = page.findChild<Engine *>("engine");
        auto *playButton = page.findChild<QPushButton *>("playButton");
        page.createModeMenu();
        auto *toneAction = page.findChild<QAction *>("generateToneAction");

        // A waveform view attached to the engine as a view of the signal would be.
        WaveformView w;
        w.initialize(engine->format(), audioLength(engine->format(), 100000), 250000);
        connect(engine, &Engine::bufferChanged, &w, &Waveform::bufferChanged);
        connect(engine, &Engine::playPositionChanged, &w, &Waveform::audioPositionChanged);

        // Fills in the dialog, then answers it once it shows.
        auto *dialog = page.findChild<ToneGeneratorDialog *>();
        dialog->findChild<QCheckBox *>()->setChecked(frequency == 0);
        dialog->findChild<QSpinBox *>()->setValue(qMax(frequency, 1));
        dialog->findChild<QDoubleSpinBox *>()->setValue(amplitude);
        QTimer::singleShot(0, dialog, [&] {
            QVERIFY(dialog->isVisible());
            dialog->findChild<QDialogButtonBox *>()
                ->button(accepted ? QDialogButtonBox::Ok : QDialogButtonBox::Cancel)
                ->click();
        });
        toneAction->trigger();
        QCOMPARE(toneAction->isChecked(), accepted);
        QVERIFY(!page.findChild<QAction *>("loadFileAction")->isChecked());
        QCOMPARE(playButton->isEnabled(), accepted);
        if (!accepted)
            return;
        page.setEnabled(false); // with a tone, Play follows the kit controls
        QVERIFY(!playButton->isEnabled());
        page.setEnabled(true);

        QSignalSpy enable(&page, &AudioWidget::sigUpdateEnable);
        playButton->click();
        // The tone ends when the engine sees that all of it has been played, or else
        // the output falls idle when the tone has run out and stays so until Stop.
        const auto ended = [&] { return !enable.isEmpty() && enable.last().first().toBool(); };
        QTRY_VERIFY_WITH_TIMEOUT(ended() || engine->state() == QAudio::IdleState, 30000);
        page.findChild<QPushButton *>("stopButton")->click();
        QTRY_VERIFY(ended());

        if (frequency == 37) // back at the start, the view shows the first quarter second
            saveScreenshot(w, "waveform-tone.png");

        // The first channel of the ten seconds played: its peak, and its frequency in each
        // second (rising zero crossings), which for the sweep rises evenly from 1 to 300 Hz.
        const int rate = engine->format().sampleRate();
        const int frameBytes = engine->format().bytesPerFrame();
        const QByteArray out = device->kitSamples();
        QCOMPARE(engine->bufferLength(), qint64(rate) * 10 * frameBytes);
        QVERIFY(out.size() >= engine->bufferLength());
        QVector<qint16> samples(rate * 10);
        int peak = 0;
        for (int i = 0; i < samples.size(); ++i) {
            samples[i] = qFromLittleEndian<qint16>(out.constData() + i * frameBytes);
            peak = qMax(peak, qAbs(int(samples[i])));
        }
        QVERIFY2(qAbs(peak / 32767.0 - amplitude) < 0.01, qPrintable(QString::number(peak)));
        for (int second = 0; second < 10; ++second) {
            int measured = 0;
            for (int i = second * rate + 1; i < (second + 1) * rate; ++i)
                measured += samples[i - 1] < 0 && samples[i] >= 0;
            const double expected = frequency ? frequency : 1.0 + 299.0 * (second + 0.5) / 10;
            QVERIFY2(qAbs(measured - expected) < (frequency ? 1.01 : 2.0),
                     qPrintable(QStringLiteral("%1 s: %2 Hz").arg(second).arg(measured)));
        }
    }

private:
    // The colours of the bar's columns at mid height: 'k' black, 'b' blue, 'g' green.
    static QString colours(ProgressBar &bar, const QList<int> &columns)
    {
        const QImage image = bar.grab().toImage();
        QString seen;
        for (int x : columns) {
            const int i =
                QList<QColor>{Qt::black, Qt::blue, Qt::green}.indexOf(image.pixelColor(x, 15));
            seen += "kbg?"[i < 0 ? 3 : i];
        }
        return seen;
    }

    TestSettings settings;
};

int main(int argc, char **argv)
{
    VirtualAudioDevice virtualDevice;
    device = &virtualDevice;
    QApplication app(argc, argv);
    TestAudioViews test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_audioviews.moc"
