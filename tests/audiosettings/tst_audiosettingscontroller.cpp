#include "audiosettings/audiosettingscontroller.h"
#include "audiosettings/audiosettingskeys.h"
#include "link/serialcontroller.h"
#include "support/testsettings.h"

#include <QSettings>
#include <QSignalSpy>
#include <QtTest>

namespace {

QList<PortCandidate> noPorts()
{
    return {};
}

void storeAll(double value)
{
    QSettings settings;
    settings.beginGroup(AudioPlaybackGroup);
    for (int channel = 0; channel < 2; ++channel) {
        for (int sw = 0; sw < 2; ++sw) {
            for (int type = 0; type < 4; ++type)
                settings.setValue(audioSettingKey(channel, sw, type), value);
        }
    }
    settings.endGroup();
}

QByteArray record(const QByteArray &key, const QByteArray &value)
{
    return key + value;
}

} // namespace

class TestAudioSettingsController : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { qRegisterMetaType<ReadType>("ReadType"); }
    void init()
    {
        settings.reset();
        serial = new SerialController(noPorts);
        controller = new AudioSettingsController(serial);
    }
    void cleanup()
    {
        delete controller;
        delete serial;
    }

    void sendsEachValue_data();
    void sendsEachValue();
    void sendsOnlyKeysOfTheGroupsForm();
    void storesRecords_data();
    void storesRecords();
    void staleTailDoesNotJoinNextRead();
    void readAndSaveCommands();

private:
    TestSettings settings;
    SerialController *serial = nullptr;
    AudioSettingsController *controller = nullptr;
};

void TestAudioSettingsController::sendsEachValue_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QByteArray>("command");

    QTest::newRow("vmax of A, ON")
        << "ch0sw1type2" << QVariant(60.0) << QByteArray::fromHex("363031321770");
    QTest::newRow("vmin of B, OFF")
        << "ch1sw0type3" << QVariant(-10.0) << QByteArray::fromHex("36313033FC18");
    QTest::newRow("upper limit") << "ch0sw0type0" << QVariant(95.0)
                                 << QByteArray::fromHex("36303030251C");
    QTest::newRow("lower limit") << "ch1sw1type1" << QVariant(-95.0)
                                 << QByteArray::fromHex("36313131DAE4");
    QTest::newRow("float from a reply")
        << "ch1sw1type0" << QVariant(0.5f) << QByteArray::fromHex("363131300032");
    QTest::newRow("hand-edited value beyond the encoding")
        << "ch0sw0type1" << QVariant("400") << QByteArray::fromHex("363030317FFF");
    QTest::newRow("hand-edited text")
        << "ch0sw0type2" << QVariant("loud") << QByteArray::fromHex("363030320000");
}

void TestAudioSettingsController::sendsEachValue()
{
    QFETCH(QString, key);
    QFETCH(QVariant, value);
    QFETCH(QByteArray, command);

    storeAll(1.0);
    QSettings().setValue(AudioPlaybackGroup + '/' + key, value);
    QSignalSpy spy(controller, &SerialDispatcher::sigSendData);
    QVERIFY(spy.isValid());

    controller->send();

    QCOMPARE(spy.count(), 16);
    QList<QByteArray> commands;
    for (const QList<QVariant> &call : qAsConst(spy)) {
        QCOMPARE(call.at(1).toInt(), 6);
        QCOMPARE(call.at(2).toInt(), 0);
        QCOMPARE(call.at(3).value<ReadType>(), ReadNone);
        commands.append(call.at(0).toByteArray());
    }
    QVERIFY(commands.contains(command));
}

void TestAudioSettingsController::sendsOnlyKeysOfTheGroupsForm()
{
    QSettings settings;
    settings.beginGroup(AudioPlaybackGroup);
    settings.setValue("ch0sw1type3", 2.0);
    for (const char *foreign : {"ch2sw0type0", "ch0sw0type4", "ch0sw0type0x", "c", "volume",
                                "sub/ch0sw0type0", "CH0SW0TYPE0"})
        settings.setValue(QLatin1String(foreign), 1.0);
    settings.endGroup();
    settings.sync();
    QSignalSpy spy(controller, &SerialDispatcher::sigSendData);
    QVERIFY(spy.isValid());

    controller->send();

    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).toByteArray(), QByteArray::fromHex("3630313300C8"));
}

void TestAudioSettingsController::storesRecords_data()
{
    QTest::addColumn<QList<QByteArray>>("pieces");
    QTest::addColumn<int>("readType");
    QTest::addColumn<QStringList>("keys"); // what the group holds afterwards
    QTest::addColumn<double>("value");     // of the first key
    QTest::addColumn<int>("refreshes");

    const int audio = ReadAudioSettings;
    const QByteArray key("ch0sw0type0");
    const QByteArray sixty = QByteArray::fromHex("1770");
    QTest::newRow("whole record") << QList<QByteArray>{record(key, sixty)} << audio
                                  << QStringList{"ch0sw0type0"} << 60.0 << 1;
    QTest::newRow("negative value")
        << QList<QByteArray>{record("ch1sw1type3", QByteArray::fromHex("FC18"))} << audio
        << QStringList{"ch1sw1type3"} << -10.0 << 1;
    QTest::newRow("record in two pieces") << QList<QByteArray>{key.left(5), key.mid(5) + sixty}
                                          << audio << QStringList{"ch0sw0type0"} << 60.0 << 1;
    QTest::newRow("two records in one piece")
        << QList<QByteArray>{record(key, sixty) + record("ch1sw0type2", sixty)} << audio
        << QStringList{"ch0sw0type0", "ch1sw0type2"} << 60.0 << 2;
    QTest::newRow("piece of twelve bytes")
        << QList<QByteArray>{record(key, sixty).left(12)} << audio << QStringList() << 0.0 << 0;
    QTest::newRow("piece of the key alone")
        << QList<QByteArray>{key} << audio << QStringList() << 0.0 << 0;
    QTest::newRow("channel out of range")
        << QList<QByteArray>{record("ch2sw0type0", sixty)} << audio << QStringList() << 0.0 << 0;
    QTest::newRow("type out of range")
        << QList<QByteArray>{record("ch0sw0type4", sixty)} << audio << QStringList() << 0.0 << 0;
    QTest::newRow("zero byte inside the key")
        << QList<QByteArray>{record(QByteArray("ch0sw0\0ype0", 11), sixty)} << audio
        << QStringList() << 0.0 << 0;
    QTest::newRow("upper case key")
        << QList<QByteArray>{record("CH0SW0TYPE0", sixty)} << audio << QStringList() << 0.0 << 0;
    QTest::newRow("reply of another type")
        << QList<QByteArray>{record(key, sixty)} << int(ReadSensing) << QStringList() << 0.0 << 0;
}

void TestAudioSettingsController::storesRecords()
{
    QFETCH(QList<QByteArray>, pieces);
    QFETCH(int, readType);
    QFETCH(QStringList, keys);
    QFETCH(double, value);
    QFETCH(int, refreshes);

    QSignalSpy spy(controller, &AudioSettingsController::sigUpdateUi);
    QVERIFY(spy.isValid());
    for (const QByteArray &piece : pieces)
        controller->Dispatch(piece, 13, ReadType(readType));

    QSettings settings;
    settings.beginGroup(AudioPlaybackGroup);
    QCOMPARE(settings.allKeys(), keys);
    if (!keys.isEmpty())
        QCOMPARE(settings.value(keys.first()).toDouble(), value);
    QCOMPARE(spy.count(), refreshes);
}

void TestAudioSettingsController::staleTailDoesNotJoinNextRead()
{
    controller->Dispatch(QByteArray("ch0sw0typ"), 13, ReadAudioSettings);
    controller->read();
    controller->Dispatch(record("ch0sw1type1", QByteArray::fromHex("0096")), 13, ReadAudioSettings);

    QSettings settings;
    settings.beginGroup(AudioPlaybackGroup);
    QCOMPARE(settings.allKeys(), QStringList{"ch0sw1type1"});
    QCOMPARE(settings.value("ch0sw1type1").toDouble(), 1.5);
}

void TestAudioSettingsController::readAndSaveCommands()
{
    QSignalSpy sent(controller, &SerialDispatcher::sigSendData);
    QSignalSpy refreshed(controller, &AudioSettingsController::sigUpdateUi);
    QVERIFY(sent.isValid());
    QVERIFY(refreshed.isValid());

    controller->read();
    controller->save();

    QCOMPARE(sent.count(), 2);
    QCOMPARE(sent.at(0),
             (QList<QVariant>{QByteArray("8"), 1, 13, QVariant::fromValue(ReadAudioSettings)}));
    QCOMPARE(sent.at(1), (QList<QVariant>{QByteArray("7"), 1, 0, QVariant::fromValue(ReadNone)}));
    QCOMPARE(refreshed.count(), 0);
}

QTEST_MAIN(TestAudioSettingsController)
#include "tst_audiosettingscontroller.moc"
