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
    auto *grid = widget.findChild<QGridLayout *>();
    QLayoutItem *item = grid ? grid->itemAtPosition(row, column) : nullptr;
    return item ? item->widget() : nullptr;
}

QVariant stored(const QString &key)
{
    return QSettings().value(AudioPlaybackGroup + '/' + key);
}

} // namespace

class TestAudioSettingsWidget : public QObject
{
    Q_OBJECT

private slots:
    void init() { settings.reset(); }

    void firstStartInstallsZeros();
    void cellsCarryTheirKeys_data();
    void cellsCarryTheirKeys();
    void headings_data();
    void headings();
    void stepWritesOnce();
    void valueBeyondRangeIsRewritten_data();
    void valueBeyondRangeIsRewritten();
    void existingGroupIsNotCompleted();

private:
    TestSettings settings;
};

void TestAudioSettingsWidget::firstStartInstallsZeros()
{
    AudioSettingsWidget widget(AudioPlaybackGroup);
    QSettings s;
    s.beginGroup(AudioPlaybackGroup);
    QCOMPARE(s.allKeys().size(), 16);
    for (const QString &key : s.allKeys()) {
        QVERIFY(isAudioSettingKey(key));
        QCOMPARE(s.value(key).toDouble(), 0.0);
    }
    const QList<QDoubleSpinBox *> boxes = widget.findChildren<QDoubleSpinBox *>();
    QCOMPARE(boxes.size(), 16);
    for (QDoubleSpinBox *box : boxes)
        QCOMPARE(box->text(), QString("0.00"));
}

void TestAudioSettingsWidget::cellsCarryTheirKeys_data()
{
    QTest::addColumn<int>("row");
    QTest::addColumn<int>("column");
    QTest::addColumn<QString>("key");

    QTest::newRow("OFF, A amplitude") << 2 << 1 << "ch0sw0type0";
    QTest::newRow("OFF, A vmin") << 2 << 3 << "ch0sw0type3";
    QTest::newRow("OFF, B offset") << 2 << 6 << "ch1sw0type1";
    QTest::newRow("OFF, B vmin") << 2 << 7 << "ch1sw0type3";
    QTest::newRow("ON, A vmax") << 3 << 4 << "ch0sw1type2";
    QTest::newRow("ON, B amplitude") << 3 << 5 << "ch1sw1type0";
    QTest::newRow("ON, B vmax") << 3 << 8 << "ch1sw1type2";
}

void TestAudioSettingsWidget::cellsCarryTheirKeys()
{
    QFETCH(int, row);
    QFETCH(int, column);
    QFETCH(QString, key);

    QSettings().setValue(AudioPlaybackGroup + '/' + key, 42.5);
    AudioSettingsWidget widget(AudioPlaybackGroup);
    auto *box = qobject_cast<QDoubleSpinBox *>(cell(widget, row, column));
    QVERIFY(box);
    QCOMPARE(box->value(), 42.5);
    QCOMPARE(QStringLiteral("ch%1sw%2type%3")
                 .arg(box->property("channel").toInt())
                 .arg(box->property("sw").toInt())
                 .arg(box->property("type").toInt()),
             key);
}

void TestAudioSettingsWidget::headings_data()
{
    QTest::addColumn<int>("row");
    QTest::addColumn<int>("column");
    QTest::addColumn<QString>("text");

    QTest::newRow("switch") << 0 << 0 << "SW1";
    QTest::newRow("channel A") << 0 << 1 << "Channel A";
    QTest::newRow("channel B") << 0 << 5 << "Channel B";
    QTest::newRow("A vmin before vmax") << 1 << 3 << "Vmin";
    QTest::newRow("A vmax") << 1 << 4 << "Vmax";
    QTest::newRow("B amplitude") << 1 << 5 << "Amplitude";
    QTest::newRow("B vmin before vmax") << 1 << 7 << "Vmin";
    QTest::newRow("OFF row") << 2 << 0 << "OFF";
    QTest::newRow("ON row") << 3 << 0 << "ON";
}

void TestAudioSettingsWidget::headings()
{
    QFETCH(int, row);
    QFETCH(int, column);
    QFETCH(QString, text);

    AudioSettingsWidget widget(AudioPlaybackGroup);
    auto *label = qobject_cast<QLabel *>(cell(widget, row, column));
    QVERIFY(label);
    QCOMPARE(label->text(), text);
}

void TestAudioSettingsWidget::stepWritesOnce()
{
    AudioSettingsWidget widget(AudioPlaybackGroup);
    QSignalSpy spy(&widget, &AudioSettingsWidget::sigAudioSettingUpdated);
    QVERIFY(spy.isValid());

    QTest::keyClick(cell(widget, 3, 4), Qt::Key_Up);

    QCOMPARE(spy.count(), 1);
    QCOMPARE(stored("ch0sw1type2").toDouble(), 0.5);
    QCOMPARE(stored("ch0sw1type3").toDouble(), 0.0);
}

void TestAudioSettingsWidget::valueBeyondRangeIsRewritten_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("display");
    QTest::addColumn<double>("storedAfter");
    QTest::addColumn<int>("updates");

    QTest::newRow("above range") << QVariant(120.0) << "95.00" << 95.0 << 1;
    QTest::newRow("below range") << QVariant(-300.0f) << "-95.00" << -95.0 << 1;
    QTest::newRow("third decimal") << QVariant("1.126") << "1.13" << 1.13 << 1;
    QTest::newRow("within range, field changes") << QVariant(12.5) << "12.50" << 12.5 << 1;
    QTest::newRow("unchanged zero") << QVariant(0.0) << "0.00" << 0.0 << 0;
}

// The second init runs as after a read from the kit: the fields showed zeros before.
void TestAudioSettingsWidget::valueBeyondRangeIsRewritten()
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
    QCOMPARE(stored("ch1sw0type3").toDouble(), storedAfter);
    QCOMPARE(spy.count(), updates);

    widget.init();
    QCOMPARE(spy.count(), updates);
}

void TestAudioSettingsWidget::existingGroupIsNotCompleted()
{
    QSettings().setValue(AudioPlaybackGroup + "/ch0sw0type0", 5.0);
    AudioSettingsWidget widget(AudioPlaybackGroup);
    QSettings s;
    s.beginGroup(AudioPlaybackGroup);
    QCOMPARE(s.allKeys(), QStringList{"ch0sw0type0"});
    QCOMPARE(qobject_cast<QDoubleSpinBox *>(cell(widget, 2, 1))->value(), 5.0);
    QCOMPARE(qobject_cast<QDoubleSpinBox *>(cell(widget, 2, 2))->value(), 0.0);
}

QTEST_MAIN(TestAudioSettingsWidget)
#include "tst_audiosettingswidget.moc"
