#include "audio/audiowidget.h"
#include "audiosettings/audiosettingscontroller.h"
#include "audiosettings/audiosettingskeys.h"
#include "audiosettings/audiosettingswidget.h"
#include "support/datarow.h"
#include "support/kitfixture.h"

#include <QDoubleSpinBox>
#include <QGridLayout>
#include <QtTest>

namespace {

// A record as hex: the key's characters, then the value's two bytes.
QString record(const QByteArray &key, const char *value)
{
    return QString::fromLatin1(key.toHex()) + value;
}

QDoubleSpinBox *cell(AudioSettingsWidget &widget, int row, int column)
{
    QGridLayout *grid = widget.findChild<QGridLayout *>();
    return qobject_cast<QDoubleSpinBox *>(grid->itemAtPosition(row, column)->widget());
}

} // namespace

// The controller over a pseudo-terminal kit, and the grid of sixteen fields.
class TestAudioSettings : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        if (!kit.open())
            QSKIP("no pseudo-terminal for the kit");
    }
    void init() { QVERIFY(kit.restart()); }

    void sendsValidKeysOnly_data()
    {
        columns<QString, QVariant, QString>({"key", "value", "command"}); // no command: not sent
        dataRow("vmax of A, ON", "ch0sw1type2", QVariant(60.0), "363031321770");
        dataRow("float from a reply", "ch1sw1type1", QVariant(-95.0f), "36313131DAE4");
        dataRow("beyond the encoding", "ch0sw0type1", QVariant("400"), "363030317FFF");
        for (const char *foreign :
             {"ch2sw0type0", "ch0sw0type4", "ch0sw0type0x", "c", "sub/ch0sw0type0", "CH0SW0TYPE0"})
            dataRow(foreign, foreign, QVariant(1.0), "");
    }
    void sendsValidKeysOnly()
    {
        const auto [key, value, command] =
            fetchRow<QString, QVariant, QString>("key", "value", "command");
        QSettings().setValue(AudioPlaybackGroup + '/' + key, value);
        kit.controller->send();
        kit.peer.waitForBytes(6, command.isEmpty() ? 200 : 1000);
        QCOMPARE(kit.peer.receivedBytes(), QByteArray::fromHex(command.toLatin1()));
    }

    // replies: the kit's answers to successive reads, separated by "|", each in pieces.
    void storesRecords_data()
    {
        columns<QString, QStringList>({"replies", "keys"}); // keys: what the group holds afterwards
        const QString a = record("ch0sw0type0", "1770");
        const QString b = record("ch1sw0type3", "FC18");
        const QStringList none, first{"ch0sw0type0"}, second{"ch1sw0type3"};
        dataRow("whole record", a, first);
        dataRow("records cut across reads", a + b.left(6) + ' ' + b.mid(6), first + second);
        dataRow("a short tail stores and joins nothing", a.left(24) + " | " + b, second);
        dataRow("first record cut, another follows", a.left(24) + ' ' + b, none);
        dataRow("channel out of range", record("ch2sw0type0", "1770"), none);
        dataRow("zero byte inside the key", record(QByteArray("ch0sw0\0ype0", 11), "1770"), none);
    }
    void storesRecords()
    {
        const auto [replies, keys] = fetchRow<QString, QStringList>("replies", "keys");
        QSignalSpy refreshed(kit.controller.get(), &AudioSettingsController::sigUpdateUi);
        const QStringList answers = replies.split(" | ");
        kit.script('8', answers);
        for (int i = 0; i < answers.size(); ++i)
            kit.controller->read();
        // Every controller sees every reply; only an audio settings read is stored.
        kit.controller->Dispatch(QByteArray::fromHex(record("ch1sw1type1", "1770").toLatin1()), 13,
                                 ReadSensing);

        QSettings settings;
        settings.beginGroup(AudioPlaybackGroup);
        QCOMPARE(settings.allKeys(), keys);
        for (const QString &key : keys)
            QCOMPARE(settings.value(key).toDouble(), key == "ch0sw0type0" ? 60.0 : -10.0);
        QCOMPARE(refreshed.count(), keys.size());
    }

    // Stored after the grid was built, then refreshed twice: what cannot show is rewritten once.
    void fieldsShowTheirKeys_data()
    {
        columns<int, int, QString, QVariant, QString>({"row", "column", "key", "value", "display"});
        dataRow("OFF, A vmin unchanged", 2, 3, "ch0sw0type3", QVariant(0.0), "0.00");
        dataRow("OFF, B vmin above range", 2, 7, "ch1sw0type3", QVariant(120.0), "95.00");
        dataRow("ON, B offset below range", 3, 6, "ch1sw1type1", QVariant(-300.0f), "-95.00");
        dataRow("ON, B vmax third decimal", 3, 8, "ch1sw1type2", QVariant("1.126"), "1.13");
    }
    void fieldsShowTheirKeys()
    {
        const auto [row, column, key, value, display] =
            fetchRow<int, int, QString, QVariant, QString>("row", "column", "key", "value",
                                                           "display");
        AudioSettingsWidget widget(AudioPlaybackGroup);
        QSettings().setValue(AudioPlaybackGroup + '/' + key, value);
        QSignalSpy spy(&widget, &AudioSettingsWidget::sigAudioSettingUpdated);
        widget.init();
        widget.init();

        QCOMPARE(cell(widget, row, column)->text(), display);
        QCOMPARE(QSettings().value(AudioPlaybackGroup + '/' + key).toDouble(), display.toDouble());
        QCOMPARE(spy.count(), display == "0.00" ? 0 : 1); // a field that changes writes
    }

    // The audio page hosts the grid: a refresh reaches it, and each edit comes back out.
    void audioPageRelaysTheGrid()
    {
        AudioWidget page;
        AudioSettingsWidget *grid = page.findChild<AudioSettingsWidget *>();
        QSignalSpy updated(&page, SIGNAL(sigAudioSettingUpdated()));
        QSettings().setValue(AudioPlaybackGroup + "/ch0sw0type0", 60.0);
        emit page.sigUpdateUi();
        QCOMPARE(cell(*grid, 2, 1)->text(), QString("60.00"));
        QTest::keyClick(cell(*grid, 3, 4), Qt::Key_Up); // a step writes once
        QCOMPARE(QSettings().value(AudioPlaybackGroup + "/ch0sw1type2").toDouble(), 0.5);
        QCOMPARE(updated.count(), 2);
    }

private:
    KitFixture<AudioSettingsController> kit;
};

QTEST_MAIN(TestAudioSettings)
#include "tst_audiosettings.moc"
