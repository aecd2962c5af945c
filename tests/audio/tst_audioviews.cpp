#include "audio/audioutils.h"
#include "audio/frequencyspectrum.h"
#include "audio/spectrograph.h"
#include "audio/tonegeneratordialog.h"
#include "audio/waveform.h"
#include "support/datarow.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QPushButton>
#include <QSlider>
#include <QSpinBox>
#include <QtTest>

namespace {

// Where the rendered widgets are written, for a person to look at.
QString screenshotPath(const QString &name)
{
    QDir dir(QCoreApplication::applicationDirPath());
    dir.mkpath(QStringLiteral("screenshots"));
    return dir.filePath(QStringLiteral("screenshots/") + name);
}

// The view logs each tile it draws; the count is what tile reuse is judged by.
int tileDraws = 0;
QtMessageHandler forwardMessage = nullptr;
void countTileDraws(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (!message.startsWith(QLatin1String("Waveform::")))
        forwardMessage(type, context, message);
    else if (message.startsWith(QLatin1String("Waveform::paintTile ")))
        ++tileDraws;
}

QAudioFormat pcm16(int rate, int channels)
{
    QAudioFormat format;
    format.setCodec(QStringLiteral("audio/pcm"));
    format.setSampleRate(rate);
    format.setChannelCount(channels);
    format.setSampleSize(16);
    format.setSampleType(QAudioFormat::SignedInt);
    format.setByteOrder(QAudioFormat::LittleEndian);
    return format;
}

// bytes of a sine rising linearly from startHz to endHz, full scale, 8 kHz mono.
QByteArray sine(double startHz, double endHz, int bytes, double amplitude = 1.0)
{
    QByteArray buffer(bytes, 0);
    generateTone({startHz, endHz, amplitude}, pcm16(8000, 1), buffer);
    return buffer;
}

// The rows of column x that are white; anything neither white nor black fails.
QVector<int> whiteRows(const QImage &image, int x)
{
    QVector<int> rows;
    for (int y = 0; y < image.height(); ++y) {
        const QRgb pixel = image.pixel(x, y) & 0xffffff;
        if (pixel == 0xffffff)
            rows << y;
        else if (pixel != 0)
            return {-1};
    }
    return rows;
}

bool isBlack(const QImage &image)
{
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (image.pixel(x, y) & 0xffffff)
                return false;
    return true;
}

// A 400 x 100 view of 8 kHz mono, 100 ms (1600 bytes, 4 bytes a column) wide, in
// tiles of tileBytes: with the default 400 bytes, five tiles of 100 columns.
struct WaveformView
{
    explicit WaveformView(qint64 tileBytes = 400, int width = 400, qint64 windowUs = 100000,
                          int channels = 1)
    {
        view.resize(width, 100);
        view.show();
        // Shown, so that the size is settled before the tiles are made.
        (void)QTest::qWaitForWindowExposed(&view);
        tileDraws = 0;
        view.initialize(pcm16(8000, channels), tileBytes, windowUs);
    }
    QImage image() { return view.grab().toImage(); }
    Waveform view;
};

// A spectrum from "frequency:amplitude[:c]" items, c for clipped.
FrequencySpectrum spectrumOf(const QString &items)
{
    const QStringList parts = items.split(' ', Qt::SkipEmptyParts);
    FrequencySpectrum spectrum(parts.size());
    for (int i = 0; i < parts.size(); ++i) {
        const QStringList fields = parts[i].split(':');
        spectrum[i].frequency = fields[0].toDouble();
        spectrum[i].amplitude = fields[1].toDouble();
        spectrum[i].clipped = fields.size() > 2;
    }
    return spectrum;
}

enum Shade
{
    Dark,
    Lit,
    Clip,
    Selection,
    Grid
};
Shade shade(QRgb pixel)
{
    const int r = qRed(pixel), g = qGreen(pixel), b = qBlue(pixel);
    if ((pixel & 0xffffff) == 0)
        return Dark;
    if (QColor(pixel) == QColor(202, 202, 64))
        return Selection;
    if (r > 150 && g > 150 && b < 40)
        return Clip;
    return g > 150 && g - r > 60 ? Lit : Grid;
}

// A 400 x 200 spectrograph of ten bars, 40 columns a bar: each bar read in its middle
// column, '.' dark, 'b' a bar, 'c' a clipped bar, with the top row of the last bar lit.
QString barsShown(const QImage &image, int *top = nullptr)
{
    QString bars;
    for (int x = 20; x < 400; x += 40) {
        const Shade bottom = shade(image.pixel(x, 190));
        bars += bottom == Lit ? 'b' : bottom == Clip ? 'c' : bottom == Dark ? '.' : '?';
        for (int y = 0; top && bottom != Dark && y < 200; ++y) {
            if (shade(image.pixel(x, y)) == bottom) {
                *top = y;
                break;
            }
        }
    }
    return bars;
}

} // namespace

// The tone dialog, the waveform view and the spectrograph, judged by what they
// draw and do.
class TestAudioViews : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { forwardMessage = qInstallMessageHandler(countTileDraws); }
    void cleanupTestCase() { qInstallMessageHandler(forwardMessage); }

    void waveformDrawsSilenceAsItsCentreLine()
    {
        WaveformView w;
        QCOMPARE(w.view.sizePolicy().horizontalPolicy(), QSizePolicy::Preferred);
        QCOMPARE(w.view.sizePolicy().verticalPolicy(), QSizePolicy::Fixed);
        QCOMPARE(w.view.minimumHeight(), 50);
        w.view.bufferChanged(0, 2000, QByteArray(2000, 0));
        QCOMPARE(tileDraws, 5);
        const QImage image = w.image();
        for (int x = 0; x < 400; ++x)
            QCOMPARE(whiteRows(image, x), QVector<int>{50});
    }

    void waveformDrawsAFullScaleSine()
    {
        WaveformView w;
        w.view.bufferChanged(0, 2000, sine(200, 200, 2000)); // 40 frames, 20 columns a period
        const QImage image = w.image();
        for (int tile = 0; tile < 4; ++tile) {
            QVector<int> rows;
            for (int x = tile * 100; x < tile * 100 + 100; ++x)
                rows += whiteRows(image, x);
            QVERIFY(!rows.contains(-1));
            QVERIFY2(rows.contains(0) && rows.contains(99), qPrintable(QString::number(tile)));
        }
        // Zero crossings every 20 frames, 10 columns; the peaks halfway between them,
        // positive samples at the bottom.
        for (int x = 0; x < 400; x += 10) {
            QVERIFY(whiteRows(image, x).contains(50));
            const QVector<int> peak = whiteRows(image, x + 5);
            QVERIFY(!peak.contains(50));
            QVERIFY(peak.contains(x % 20 ? 0 : 99));
        }

        WaveformView sweep;
        sweep.view.bufferChanged(0, 4000, sine(50, 800, 4000, 0.8));
        sweep.view.audioPositionChanged(1000);
        sweep.image().save(screenshotPath(QStringLiteral("waveform.png")));
    }

    // The first buffer holds 6400 bytes of a sweep from bufferStart on; positions are
    // handed to the view in turn; shownFrom is where its window ends up.
    void waveformScrollsOverItsTiles_data()
    {
        QTest::addColumn<qint64>("bufferStart");
        QTest::addColumn<QList<qint64>>("positions");
        QTest::addColumn<qint64>("shownFrom");
        QTest::addColumn<int>("draws"); // tiles drawn after the first buffer's
        using L = QList<qint64>;
        dataRow("less than a tile: tiles reused", 0LL, L{200}, 200LL, 0);
        dataRow("past one tile: that one redrawn", 0LL, L{500}, 500LL, 1);
        dataRow("small steps", 0LL, L{100, 200, 300, 404, 800}, 800LL, 2);
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

        // The whole sweep in one window of the same scale is what any window must show.
        const QByteArray audio = sine(50, 600, 6400);
        WaveformView whole(400, 1600, 400000);
        whole.view.bufferChanged(0, audio.size(), audio);
        const QImage expected = whole.image().copy(int(shownFrom / 4), 0, 400, 100);

        WaveformView w;
        w.view.bufferChanged(bufferStart, audio.size() - bufferStart, audio.mid(bufferStart));
        const int firstDraws = tileDraws;
        for (qint64 position : positions)
            w.view.audioPositionChanged(position);
        QCOMPARE(tileDraws - firstDraws, draws);
        QCOMPARE(w.image(), expected);
    }

    void waveformTileCount_data()
    {
        QTest::addColumn<qint64>("tileBytes");
        QTest::addColumn<qint64>("windowUs");
        QTest::addColumn<int>("tiles");
        dataRow("tile longer than the window", 2000LL, 100000LL, 2);
        dataRow("window of two tiles", 800LL, 100000LL, 3);
        dataRow("window of two and a half", 640LL, 100000LL, 4);
        dataRow("no tile length: inactive", 0LL, 100000LL, 0);
        dataRow("no window: inactive", 400LL, 0LL, 0);
    }
    void waveformTileCount()
    {
        QFETCH(qint64, tileBytes);
        QFETCH(qint64, windowUs);
        QFETCH(int, tiles);

        WaveformView w(tileBytes, 400, windowUs);
        w.view.bufferChanged(0, 8000, sine(300, 300, 8000));
        w.view.audioPositionChanged(400);
        QCOMPARE(tileDraws, tiles);
        QCOMPARE(isBlack(w.image()), tiles == 0);
    }

    void waveformDrawsWholeTilesOnly()
    {
        WaveformView w;
        const QByteArray audio = sine(200, 200, 2000);
        w.view.bufferChanged(0, 300, audio.left(300));
        QCOMPARE(tileDraws, 0);
        QVERIFY(isBlack(w.image()));

        // Data shorter than the window: the view stays at 0 and ends where the data does.
        w.view.bufferChanged(0, 1000, audio.left(1000));
        w.view.audioPositionChanged(300);
        QCOMPARE(tileDraws, 2);
        QImage image = w.image();
        for (int x = 0; x < 400; ++x)
            QCOMPARE(whiteRows(image, x).isEmpty(), x >= 200);

        // A new size drops the tiles until the next buffer.
        w.view.resize(400, 60);
        QVERIFY(isBlack(w.image()));
        w.view.bufferChanged(0, 1000, audio.left(1000));
        QCOMPARE(tileDraws, 4);
        QCOMPARE(whiteRows(w.image(), 5).last(), 59);

        w.view.reset();
        w.view.bufferChanged(0, 1000, audio.left(1000));
        QCOMPARE(tileDraws, 4);
        QVERIFY(isBlack(w.image()));
    }

    void waveformDrawsTheFirstChannelOfANewFormat()
    {
        const QByteArray audio = sine(100, 700, 2000);
        WaveformView mono;
        mono.view.bufferChanged(0, audio.size(), audio);

        WaveformView w;
        w.view.bufferChanged(0, audio.size(), audio);
        w.view.initialize(pcm16(8000, 2), 800, 100000);
        QVERIFY(isBlack(w.image()));
        QByteArray stereo; // the sweep on the left, inverted on the right
        for (int i = 0; i < audio.size(); i += 2) {
            const qint16 inverted = qint16(-qFromLittleEndian<qint16>(audio.constData() + i));
            stereo += audio.mid(i, 2);
            stereo += QByteArray(reinterpret_cast<const char *>(&inverted), 2);
        }
        w.view.bufferChanged(0, stereo.size(), stereo);
        QCOMPARE(w.image(), mono.image());
    }

    void spectrographLightsTheBarsOfItsSpectrum_data()
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
        dataRow("two in a band: the larger, still clipped", "550:0.3:c 560:0.8", "....c.....", 44);
        dataRow("above full scale: kept in the field", "750:1.5", "......b...", 8);
    }
    void spectrographLightsTheBarsOfItsSpectrum()
    {
        QFETCH(QString, elements);
        QFETCH(QString, bars);
        QFETCH(int, top);

        QString items = elements;
        for (int hz = 0; hz < 2000; hz += 10)
            items += QStringLiteral(" %1:0").arg(hz);
        Spectrograph graph;
        graph.resize(400, 200);
        QCOMPARE(graph.minimumHeight(), 100);
        graph.setParams(10, 100, 1100);
        graph.spectrumChanged(spectrumOf(items));
        int shownTop = -1;
        QCOMPARE(barsShown(graph.grab().toImage(), &shownTop), bars);
        QCOMPARE(shownTop, top);
    }

    void spectrographSelectsABarForTwoSeconds()
    {
        Spectrograph graph;
        graph.resize(400, 200);
        graph.show();
        QVERIFY(QTest::qWaitForWindowExposed(&graph));
        graph.setParams(10, 0, 1000);
        graph.spectrumChanged(spectrumOf("50:0.4 250:1:c 350:0.7 620:0.2 990:0.95"));
        QSignalSpy messages(&graph, SIGNAL(infoMessage(QString, int)));
        const auto selected = [&graph](int bar) {
            return shade(graph.grab().toImage().pixel(bar * 40 + 1, 10)) == Selection;
        };

        QElapsedTimer clock;
        clock.start();
        QTest::mouseClick(&graph, Qt::LeftButton, {}, QPoint(140, 100));
        QCOMPARE(messages.count(), 1);
        QCOMPARE(messages.last(), QVariantList({"300 - 400 Hz", 2000}));
        QVERIFY(selected(3));
        QCOMPARE(barsShown(graph.grab().toImage()), "b.cb..b..b");
        graph.grab().save(screenshotPath(QStringLiteral("spectrograph.png")));
        QTRY_VERIFY_WITH_TIMEOUT(!selected(3), 4000);
        QVERIFY(clock.elapsed() >= 1800);

        // A second click within the 2 s starts them again.
        QTest::mouseClick(&graph, Qt::LeftButton, {}, QPoint(140, 100));
        clock.restart();
        QTest::qWait(1000);
        QTest::mouseClick(&graph, Qt::LeftButton, {}, QPoint(299, 100));
        QCOMPARE(messages.last(), QVariantList({"700 - 800 Hz", 2000}));
        QVERIFY(selected(7) && !selected(3));
        QTRY_VERIFY_WITH_TIMEOUT(!selected(7), 5000);
        QVERIFY(clock.elapsed() >= 2800);

        graph.setParams(3, 0, 1000);
        QTest::mouseClick(&graph, Qt::LeftButton, {}, QPoint(200, 100));
        QCOMPARE(messages.last(), QVariantList({"333.333 - 666.667 Hz", 2000}));
    }

    void spectrographWithNothingToShow()
    {
        Spectrograph graph;
        graph.resize(400, 200);
        graph.setParams(10, 0, 1000);
        graph.spectrumChanged(spectrumOf("550:0.9"));
        graph.spectrumChanged(FrequencySpectrum(0));
        QCOMPARE(barsShown(graph.grab().toImage()), "..........");
        graph.spectrumChanged(spectrumOf("550:0.9"));
        graph.reset();
        QCOMPARE(barsShown(graph.grab().toImage()), "..........");

        // No bars: the black field, its outline and its nine horizontal lines.
        graph.setParams(0, 0, 1000);
        QSignalSpy messages(&graph, SIGNAL(infoMessage(QString, int)));
        QTest::mouseClick(&graph, Qt::LeftButton, {}, QPoint(200, 100));
        QCOMPARE(messages.count(), 0);
        const QImage image = graph.grab().toImage();
        for (int y = 0; y < 200; ++y) {
            QCOMPARE(shade(image.pixel(0, y)), Grid);
            QCOMPARE(shade(image.pixel(399, y)), Grid);
            QCOMPARE(shade(image.pixel(201, y)), y % 20 == 0 || y == 199 ? Grid : Dark);
        }
    }

    void toneDialogStartsAtItsDefaults()
    {
        ToneGeneratorDialog dialog;
        auto *sweep = dialog.findChild<QCheckBox *>(QStringLiteral("frequencySweepCheckBox"));
        auto *slider = dialog.findChild<QSlider *>(QStringLiteral("frequencySlider"));
        auto *spinBox = dialog.findChild<QSpinBox *>(QStringLiteral("frequencySpinBox"));
        auto *amplitude = dialog.findChild<QDoubleSpinBox *>(QStringLiteral("amplitudeSpinBox"));
        QVERIFY(sweep && slider && spinBox && amplitude);

        QCOMPARE(sweep->text(), QStringLiteral("Frequency sweep"));
        QVERIFY(!dialog.isFrequencySweepEnabled());
        QCOMPARE(dialog.frequency(), 100.0);
        QCOMPARE(dialog.amplitude(), 1.0);
        QCOMPARE(slider->orientation(), Qt::Horizontal);
        QCOMPARE(qMakePair(slider->minimum(), slider->maximum()), qMakePair(1, 300));
        QCOMPARE(qMakePair(spinBox->minimum(), spinBox->maximum()), qMakePair(1, 300));
        QCOMPARE(qMakePair(amplitude->minimum(), amplitude->maximum()), qMakePair(0.0, 1.0));
        QCOMPARE(amplitude->decimals(), 2);
        QCOMPARE(amplitude->singleStep(), 0.1);
        QVERIFY(dialog.windowTitle().isEmpty());

        // The frequency controls sit in their own panel, which the sweep box does not.
        QWidget *panel = dialog.findChild<QWidget *>(QStringLiteral("frequencyPanel"));
        QVERIFY(panel && panel->isEnabled());
        QCOMPARE(slider->parentWidget(), panel);
        QCOMPARE(spinBox->parentWidget(), panel);
        QVERIFY(sweep->parentWidget() != panel);
        QStringList labels;
        for (QLabel *label : dialog.findChildren<QLabel *>())
            labels << label->text();
        labels.sort();
        QCOMPARE(labels, QStringList({"Amplitude", "Frequency (Hz)"}));
    }

    // control: the one that the user moves; value: what it is given.
    void toneDialogFrequencyControlsMoveTogether_data()
    {
        QTest::addColumn<QString>("control");
        QTest::addColumn<int>("value");
        QTest::addColumn<double>("frequency");
        dataRow("slider", "frequencySlider", 250, 250.0);
        dataRow("spin box", "frequencySpinBox", 7, 7.0);
        dataRow("slider to its top", "frequencySlider", 300, 300.0);
        dataRow("spin box beyond the range", "frequencySpinBox", 1000, 300.0);
        dataRow("slider below the range", "frequencySlider", 0, 1.0);
    }
    void toneDialogFrequencyControlsMoveTogether()
    {
        QFETCH(QString, control);
        QFETCH(int, value);
        QFETCH(double, frequency);

        ToneGeneratorDialog dialog;
        auto *slider = dialog.findChild<QSlider *>(QStringLiteral("frequencySlider"));
        auto *spinBox = dialog.findChild<QSpinBox *>(QStringLiteral("frequencySpinBox"));
        QMetaObject::invokeMethod(dialog.findChild<QWidget *>(control), "setValue",
                                  Q_ARG(int, value));
        QCOMPARE(dialog.frequency(), frequency);
        QCOMPARE(slider->value(), int(frequency));
        QCOMPARE(spinBox->value(), int(frequency));
    }

    void toneDialogSweepDisablesTheFrequencyPanel()
    {
        ToneGeneratorDialog dialog;
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        auto *sweep = dialog.findChild<QCheckBox *>(QStringLiteral("frequencySweepCheckBox"));
        QWidget *panel = dialog.findChild<QWidget *>(QStringLiteral("frequencyPanel"));
        auto *amplitude = dialog.findChild<QDoubleSpinBox *>(QStringLiteral("amplitudeSpinBox"));

        QTest::mouseClick(sweep, Qt::LeftButton);
        QVERIFY(dialog.isFrequencySweepEnabled());
        QVERIFY(!panel->isEnabled());
        QVERIFY(amplitude->isEnabled());
        dialog.grab().save(screenshotPath(QStringLiteral("tonegeneratordialog-sweep.png")));

        QTest::mouseClick(sweep, Qt::LeftButton);
        QVERIFY(!dialog.isFrequencySweepEnabled());
        QVERIFY(panel->isEnabled());
        dialog.grab().save(screenshotPath(QStringLiteral("tonegeneratordialog.png")));
    }

    void toneDialogButtonsCloseIt_data()
    {
        QTest::addColumn<int>("button");
        QTest::addColumn<int>("result");
        dataRow("Ok", int(QDialogButtonBox::Ok), int(QDialog::Accepted));
        dataRow("Cancel", int(QDialogButtonBox::Cancel), int(QDialog::Rejected));
    }
    void toneDialogButtonsCloseIt()
    {
        QFETCH(int, button);
        QFETCH(int, result);

        ToneGeneratorDialog dialog;
        auto *box = dialog.findChild<QDialogButtonBox *>();
        QTimer::singleShot(0, &dialog, [box, button] {
            box->button(QDialogButtonBox::StandardButton(button))->click();
        });
        QCOMPARE(dialog.exec(), result);
    }
};

QTEST_MAIN(TestAudioViews)
#include "tst_audioviews.moc"
