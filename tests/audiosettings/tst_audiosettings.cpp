#include "audiosettings/audiosettingscontroller.h"
#include "audiosettings/audiosettingskeys.h"
#include "link/serialcontroller.h"
#include "ptykitpeer.h"
#include "support/scriptedreplies.h"
#include "support/testsettings.h"

#include <QSettings>
#include <QSignalSpy>
#include <QtTest>

namespace {

void sendRow(const char *name, const char *key, const QVariant &value, const char *hex)
{
    QTest::newRow(name) << QString(key) << value << QByteArray::fromHex(hex);
}

// A record as hex: the key's characters, then the value's two bytes.
QString record(const char *key, const char *value)
{
    return QString::fromLatin1(QByteArray(key).toHex()) + value;
}

// replies: the kit's answers to successive reads, separated by "|", each in pieces.
void recordRow(const char *name, const QString &replies, const QStringList &keys = {},
               double value = 0)
{
    QTest::newRow(name) << replies << keys << value;
}

} // namespace

class TestAudioSettingsController : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        qRegisterMetaType<ReadType>("ReadType");
        if (!peer.open())
            QSKIP("no pseudo-terminal for the kit");
    }
    void init()
    {
        settings.reset();
        serial = new SerialController(peer.enumerator());
        QVERIFY(serial->isConnected());
        controller = new AudioSettingsController(serial);
        peer.clearReceived();
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

        sendRow("vmax of A, ON", "ch0sw1type2", 60.0, "363031321770");
        sendRow("vmin of B, OFF", "ch1sw0type3", -10.0, "36313033FC18");
        sendRow("float from a reply", "ch1sw1type1", -95.0f, "36313131DAE4");
        sendRow("hand-edited value beyond the encoding", "ch0sw0type1", "400", "363030317FFF");
        for (const char *foreign :
             {"ch2sw0type0", "ch0sw0type4", "ch0sw0type0x", "c", "sub/ch0sw0type0", "CH0SW0TYPE0"})
            sendRow(foreign, foreign, 1.0, "");
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
            QCOMPARE(spy.at(0).mid(1), (QList<QVariant>{6, 0, QVariant::fromValue(ReadNone)}));
            QVERIFY(peer.waitForBytes(6, 1000));
            QCOMPARE(peer.receivedBytes(), command);
        }
    }

    void storesRecords_data()
    {
        QTest::addColumn<QString>("replies");
        QTest::addColumn<QStringList>("keys"); // what the group holds afterwards
        QTest::addColumn<double>("value");     // of the first key

        const QString a = record("ch0sw0type0", "1770");
        const QString b = record("ch1sw0type3", "FC18");
        recordRow("whole record", a, {"ch0sw0type0"}, 60.0);
        recordRow("key cut across reads", a.left(10) + ' ' + a.mid(10), {"ch0sw0type0"}, 60.0);
        recordRow("records cut across reads", a + b.left(6) + ' ' + b.mid(6),
                  {"ch0sw0type0", "ch1sw0type3"}, 60.0);
        recordRow("stale tail does not join the next read", a.left(24) + " | " + b, {"ch1sw0type3"},
                  -10.0);
        recordRow("short tail stores nothing", a.left(24));
        recordRow("channel out of range", record("ch2sw0type0", "1770"));
        recordRow("zero byte inside the key",
                  QString::fromLatin1(QByteArray("ch0sw0\0ype0", 11).toHex()) + "1770");
    }
    void storesRecords()
    {
        QFETCH(QString, replies);
        QFETCH(QStringList, keys);
        QFETCH(double, value);

        QSignalSpy refreshed(controller, &AudioSettingsController::sigUpdateUi);
        QVERIFY(refreshed.isValid());
        const QStringList answers = replies.split(" | ");
        scriptReplies(peer, '8', answers);
        for (int i = 0; i < answers.size(); ++i)
            controller->read();
        // Every controller sees every reply; only an audio settings read is stored.
        controller->Dispatch(QByteArray::fromHex(record("ch1sw1type1", "1770").toLatin1()), 13,
                             ReadSensing);

        QSettings settings;
        settings.beginGroup(AudioPlaybackGroup);
        QCOMPARE(settings.allKeys(), keys);
        if (!keys.isEmpty())
            QCOMPARE(settings.value(keys.first()).toDouble(), value);
        QCOMPARE(refreshed.count(), keys.size());
    }

    void readAndSaveCommands()
    {
        QSignalSpy sent(controller, &SerialDispatcher::sigSendData);
        QVERIFY(sent.isValid());
        controller->read();
        controller->save();
        QCOMPARE(sent.count(), 2);
        QCOMPARE(sent.at(0).mid(1),
                 (QList<QVariant>{1, 13, QVariant::fromValue(ReadAudioSettings)}));
        QVERIFY(peer.waitForBytes(2, 1000));
        QCOMPARE(peer.receivedBytes(), QByteArray("87"));
    }

private:
    TestSettings settings;
    PtyKitPeer peer;
    SerialController *serial = nullptr;
    AudioSettingsController *controller = nullptr;
};

QTEST_MAIN(TestAudioSettingsController)
#include "tst_audiosettingscontroller.moc"
