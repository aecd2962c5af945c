#include "audio/audiowidget.h"
#include "audiosettings/audiosettingskeys.h"
#include "audiosettings/audiosettingswidget.h"
#include "support/testsettings.h"

#include <QDoubleSpinBox>
#include <QGridLayout>
#include <QLabel>
#include <QSettings>
#include <QSignalSpy>
#include <QtTest>

namespace {

QWidget *cell(AudioSettingsWidget &widget, int row, int column)
{
    QLayoutItem *item = widget.findChild<QGridLayout *>()->itemAtPosition(row, column);
    return item ? item->widget() : nullptr;
}

void cellRow(const char *name, int row, int column, const char *heading, const char *key)
{
    QTest::newRow(name) << row << column << QString(heading) << QString(key);
}

} // namespace

class TestAudioSettingsWidget : public QObject
{
    Q_OBJECT

private slots:
    void init() { settings.reset(); }

    void firstStartInstallsZeros()
    {
        QSettings().setValue("other/ch0sw0type0", 3.0);
        AudioSettingsWidget widget(AudioPlaybackGroup);
        QSettings s;
        s.beginGroup(AudioPlaybackGroup);
        QCOMPARE(s.allKeys().size(), 16);
        for (const QString &key : s.allKeys())
            QVERIFY(isAudioSettingKey(key) && s.value(key).toDouble() == 0.0);
        for (QDoubleSpinBox *box : widget.findChildren<QDoubleSpinBox *>())
            QCOMPARE(box->text(), QString("0.00"));
    }

    void cellsCarryTheirKeys_data()
    {
        QTest::addColumn<int>("row");
        QTest::addColumn<int>("column");
        QTest::addColumn<QString>("heading");
        QTest::addColumn<QString>("key");

        cellRow("OFF, A amplitude", 2, 1, "Amplitude", "ch0sw0type0");
        cellRow("OFF, A vmin", 2, 3, "Vmin", "ch0sw0type3");
        cellRow("OFF, B vmin", 2, 7, "Vmin", "ch1sw0type3");
        cellRow("ON, A vmax", 3, 4, "Vmax", "ch0sw1type2");
        cellRow("ON, B offset", 3, 6, "Offset", "ch1sw1type1");
        cellRow("ON, B vmax", 3, 8, "Vmax", "ch1sw1type2");
    }

    void cellsCarryTheirKeys()
    {
        QFETCH(int, row);
        QFETCH(int, column);
        QFETCH(QString, heading);
        QFETCH(QString, key);

        QSettings().setValue(AudioPlaybackGroup + '/' + key, 42.5);
        AudioSettingsWidget widget(AudioPlaybackGroup);
        auto *box = qobject_cast<QDoubleSpinBox *>(cell(widget, row, column));
        QVERIFY(box);
        QCOMPARE(box->value(), 42.5);
        QCOMPARE(qobject_cast<QLabel *>(cell(widget, 1, column))->text(), heading);
        QCOMPARE(qobject_cast<QLabel *>(cell(widget, row, 0))->text(),
                 QString(row == 2 ? "OFF" : "ON"));
    }

    void stepWritesOnce()
    {
        AudioSettingsWidget widget(AudioPlaybackGroup);
        QSignalSpy spy(&widget, &AudioSettingsWidget::sigAudioSettingUpdated);
        QVERIFY(spy.isValid());

        QTest::keyClick(cell(widget, 3, 4), Qt::Key_Up);

        QCOMPARE(spy.count(), 1);
        QCOMPARE(QSettings().value(AudioPlaybackGroup + "/ch0sw1type2").toDouble(), 0.5);
    }

    void initShowsAndRewrites_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QString>("display");
        QTest::addColumn<double>("storedAfter");
        QTest::addColumn<int>("updates");

        QTest::newRow("above range") << QVariant(120.0) << "95.00" << 95.0 << 1;
        QTest::newRow("below range") << QVariant(-300.0f) << "-95.00" << -95.0 << 1;
        QTest::newRow("third decimal") << QVariant("1.126") << "1.13" << 1.13 << 1;
        QTest::newRow("unchanged") << QVariant(0.0) << "0.00" << 0.0 << 0;
    }

    void initShowsAndRewrites()
    {
        QFETCH(QVariant, value);
        QFETCH(QString, display);
        QFETCH(double, storedAfter);
        QFETCH(int, updates);

        AudioSettingsWidget widget(AudioPlaybackGroup);
        QSettings().setValue(AudioPlaybackGroup + "/ch1sw0type3", value);
        QSignalSpy spy(&widget, &AudioSettingsWidget::sigAudioSettingUpdated);
        QVERIFY(spy.isValid());

        widget.init();
        QCOMPARE(qobject_cast<QDoubleSpinBox *>(cell(widget, 2, 7))->text(), display);
        QCOMPARE(QSettings().value(AudioPlaybackGroup + "/ch1sw0type3").toDouble(), storedAfter);
        QCOMPARE(spy.count(), updates);
        widget.init();
        QCOMPARE(spy.count(), updates);
    }

    // The audio page hosts the grid: a refresh reaches it, and its edits come back out.
    void audioPageRelaysTheGrid()
    {
        AudioWidget page;
        QSignalSpy updated(&page, SIGNAL(sigAudioSettingUpdated()));
        QVERIFY(updated.isValid());
        QSettings().setValue(AudioPlaybackGroup + "/ch0sw0type0", 60.0);

        emit page.sigUpdateUi();

        auto *grid = page.findChild<AudioSettingsWidget *>();
        QVERIFY(grid);
        QCOMPARE(qobject_cast<QDoubleSpinBox *>(cell(*grid, 2, 1))->text(), QString("60.00"));
        QCOMPARE(updated.count(), 1);
    }

private:
    TestSettings settings;
};

QTEST_MAIN(TestAudioSettingsWidget)
#include "tst_audiosettingswidget.moc"
