#include "audio/progressbar.h"
#include "support/datarow.h"

#include <QtTest>

// What the bar paints: black, a blue bar up to the play position, a green window.
class TestProgressBar : public QObject
{
    Q_OBJECT

private slots:
    void paints_data()
    {
        QTest::addColumn<qint64>("length");
        QTest::addColumn<qint64>("play");
        QTest::addColumn<qint64>("windowStart");
        QTest::addColumn<qint64>("windowLength");
        QTest::addColumn<QString>("columns"); // colour of columns 0, 24, 25, 50, 75, 99
        dataRow("nothing loaded", qint64(0), qint64(50), qint64(0), qint64(10), "kkkkkk");
        dataRow("at the start", qint64(1000), qint64(0), qint64(0), qint64(0), "kkkkkk");
        dataRow("a quarter played", qint64(1000), qint64(250), qint64(0), qint64(0), "bbkkkk");
        dataRow("all played", qint64(1000), qint64(1000), qint64(0), qint64(0), "bbbbbb");
        dataRow("a window", qint64(1000), qint64(0), qint64(500), qint64(300), "kkkggk");
    }
    void paints()
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
        const QImage image = bar.grab().toImage();
        QString seen;
        for (int x : {0, 24, 25, 50, 75, 99}) {
            const QColor colour = image.pixelColor(x, 15);
            seen += colour == Qt::black           ? 'k'
                    : colour == QColor(0, 0, 255) ? 'b'
                    : colour == QColor(0, 255, 0) ? 'g'
                                                  : '?';
        }
        QCOMPARE(seen, columns);
    }

    // A new length clears the positions; reset clears the length.
    void newLengthClearsPositions()
    {
        ProgressBar bar;
        bar.resize(100, 30);
        bar.bufferLengthChanged(1000);
        bar.playPositionChanged(900);
        bar.bufferLengthChanged(2000);
        QCOMPARE(bar.grab().toImage().pixelColor(50, 15), QColor(Qt::black));
        bar.playPositionChanged(2000);
        QCOMPARE(bar.grab().toImage().pixelColor(50, 15), QColor(0, 0, 255));
        bar.reset();
        QCOMPARE(bar.grab().toImage().pixelColor(50, 15), QColor(Qt::black));
    }
};

QTEST_MAIN(TestProgressBar)
#include "tst_progressbar.moc"
