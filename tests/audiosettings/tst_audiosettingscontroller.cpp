#include "audiosettings/audiosettingscontroller.h"
#include "audiosettings/audiosettingskeys.h"
#include "link/serialcontroller.h"
#include "support/testsettings.h"

#include <QSettings>
#include <QSignalSpy>
#include <QtTest>

class TestAudioSettingsController : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { qRegisterMetaType<ReadType>("ReadType"); }
    void init()
    {
        settings.reset();
        serial = new SerialController([] { return QList<PortCandidate>(); });
        controller = new AudioSettingsController(serial);
    }
    void cleanup()
    {
        delete controller;
        delete serial;
    }

    void sendsValidKeysOnly_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QByteArray>("command"); // empty: nothing is sent

        QTest::newRow("vmax of A, ON")
            << "ch0sw1type2" << QVariant(60.0) << QByteArray::fromHex("363031321770");
        QTest::newRow("vmin of B, OFF")
            << "ch1sw0type3" << QVariant(-10.0) << QByteArray::fromHex("36313033FC18");
        QTest::newRow("float from a reply")
            << "ch1sw1type1" << QVariant(-95.0f) << QByteArray::fromHex("36313131DAE4");
        QTest::newRow("hand-edited value beyond the encoding")
            << "ch0sw0type1" << QVariant("400") << QByteArray::fromHex("363030317FFF");
        for (const char *foreign :
             {"ch2sw0type0", "ch0sw0type4", "ch0sw0type0x", "c", "sub/ch0sw0type0", "CH0SW0TYPE0"})
            QTest::newRow(foreign) << foreign << QVariant(1.0) << QByteArray();
    }

    void sendsValidKeysOnly()
    {
        QFETCH(QString, key);
        QFETCH(QVariant, value);
        QFETCH(QByteArray, command);

        QSettings().setValue(AudioPlaybackGroup + '/' + key, value);
        QSignalSpy spy(controller, &SerialDispatcher::sigSendData);
        QVERIFY(spy.isValid());
        controller->send();

        QCOMPARE(spy.count(), command.isEmpty() ? 0 : 1);
        if (!command.isEmpty()) {
            QCOMPARE(spy.at(0), (QList<QVariant>{command, 6, 0, QVariant::fromValue(ReadNone)}));
        }
    }

    void storesRecords_data()
    {
        QTest::addColumn<QByteArrayList>("pieces");
        QTest::addColumn<QStringList>("keys"); // what the group holds afterwards
        QTest::addColumn<double>("value");     // of the first key

        const QByteArray key("ch0sw0type0");
        const QByteArray sixty = QByteArray::fromHex("1770");
        QTest::newRow("whole record") << QByteArrayList{key + sixty} << QStringList{key} << 60.0;
        QTest::newRow("record in two pieces")
            << QByteArrayList{key.left(5), key.mid(5) + sixty} << QStringList{key} << 60.0;
        QTest::newRow("two records in one piece")
            << QByteArrayList{key + sixty + "ch1sw0type3" + QByteArray::fromHex("FC18")}
            << QStringList{key, "ch1sw0type3"} << 60.0;
        QTest::newRow("piece of twelve bytes")
            << QByteArrayList{key + sixty.left(1)} << QStringList() << 0.0;
        QTest::newRow("channel out of range")
            << QByteArrayList{"ch2sw0type0" + sixty} << QStringList() << 0.0;
        QTest::newRow("zero byte inside the key")
            << QByteArrayList{QByteArray("ch0sw0\0ype0", 11) + sixty} << QStringList() << 0.0;
    }

    void storesRecords()
    {
        QFETCH(QByteArrayList, pieces);
        QFETCH(QStringList, keys);
        QFETCH(double, value);

        QSignalSpy spy(controller, &AudioSettingsController::sigUpdateUi);
        QVERIFY(spy.isValid());
        controller->Dispatch(pieces.first(), 13, ReadSensing);
        for (const QByteArray &piece : pieces)
            controller->Dispatch(piece, 13, ReadAudioSettings);

        QSettings settings;
        settings.beginGroup(AudioPlaybackGroup);
        QCOMPARE(settings.allKeys(), keys);
        if (!keys.isEmpty())
            QCOMPARE(settings.value(keys.first()).toDouble(), value);
        QCOMPARE(spy.count(), keys.size());
    }

    void readAndSave()
    {
        QSignalSpy sent(controller, &SerialDispatcher::sigSendData);
        QVERIFY(sent.isValid());
        controller->Dispatch("ch0sw0typ", 13, ReadAudioSettings);
        controller->read();
        controller->Dispatch("ch0sw1type1" + QByteArray::fromHex("0096"), 13, ReadAudioSettings);
        controller->save();

        QCOMPARE(QSettings().value(AudioPlaybackGroup + "/ch0sw1type1").toDouble(), 1.5);
        QCOMPARE(sent.count(), 2);
        QCOMPARE(sent.at(0).mid(0, 3), (QList<QVariant>{QByteArray("8"), 1, 13}));
        QCOMPARE(sent.at(0).at(3).value<ReadType>(), ReadAudioSettings);
        QCOMPARE(sent.at(1).at(0).toByteArray(), QByteArray("7"));
    }

private:
    TestSettings settings;
    SerialController *serial = nullptr;
    AudioSettingsController *controller = nullptr;
};

QTEST_MAIN(TestAudioSettingsController)
#include "tst_audiosettingscontroller.moc"
