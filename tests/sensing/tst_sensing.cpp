#include "link/serialcontroller.h"
#include "ptykitpeer.h"
#include "sensing/sensingcontroller.h"
#include "sensing/sensingparameters.h"
#include "sensing/sensingsettings.h"
#include "support/scriptedreplies.h"
#include "support/testsettings.h"

#include <QSettings>
#include <QSignalSpy>
#include <QtTest>

namespace {

QMap<QString, QString> snapshot()
{
    QSettings settings;
    QMap<QString, QString> values;
    for (const QString &key : settings.allKeys())
        values.insert(key, settings.value(key).toString());
    return values;
}

void sendRow(const char *name, const char *channel, const char *key, const char *text,
             const char *hex)
{
    QTest::newRow(name) << QString(channel) << QString(key) << QString(text)
                        << QByteArray::fromHex(hex);
}

// pieces: hex pieces separated by blanks; a "|" stands for a new read command.
void recordRow(const char *name, const char *pieces, const char *changedKey = "", double value = 0)
{
    QTest::newRow(name) << QString(pieces) << QString(changedKey) << value;
}

} // namespace

class TestSensingController : public QObject
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
        controller = new SensingController(serial);
        peer.clearReceived();
    }
    void cleanup()
    {
        delete controller;
        delete serial;
    }

    void installsDefaultsOnce()
    {
        const QStringList names{"Custom 0", "Custom 1", "TDK PowerHap 2.5G", "MIDE PPA-2014"};
        QSettings s;
        QCOMPARE(s.value("sensing/size").toInt(), 4);
        for (int i = 0; i < 4; ++i) {
            QCOMPARE(s.value(QStringLiteral("sensing/%1/name").arg(i + 1)).toString(), names[i]);
            QCOMPARE(s.value(QStringLiteral("sensing/%1/editable").arg(i + 1)).toBool(), i < 2);
        }
        s.setValue("sensing/1/nb_prd_long", "7");
        SensingController second(serial);
        QCOMPARE(snapshot().value("sensing/1/nb_prd_long"), QString("7"));
        QCOMPARE(snapshot().size(), 1 + 4 * 21);
    }

    void leavesAnExistingArrayAlone()
    {
        settings.reset();
        QSettings().setValue("sensing/1/name", "Old");
        QSettings().setValue("sensing/size", 1);
        installSensingDefaults();
        QCOMPARE(snapshot().keys(), (QStringList{"sensing/1/name", "sensing/size"}));
    }

    void sendsNineteenCommands_data()
    {
        QTest::addColumn<QString>("channel");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QByteArray>("command");

        sendRow("amplitude on A", "0", "low_amp_multiplicator", "0.75", "323030004B");
        sendRow("negative vmin on B", "1", "on_vmin", "-10.00", "323140FC18");
        sendRow("count as word", "0", "high_freq_feedback", "180", "32303400B4");
        sendRow("count keeps its low 16 bits", "0", "low_freq_feedback", "70000", "3230331170");
        sendRow("real beyond the encoding is clamped", "1", "off_vmax", "400", "32313C7FFF");
        sendRow("decimal comma is no number", "0", "high_amp_press", "0,75", "3230310000");
    }
    void sendsNineteenCommands()
    {
        QFETCH(QString, channel);
        QFETCH(QString, key);
        QFETCH(QString, text);
        QFETCH(QByteArray, command);

        QStringList t;
        for (const SensingParameter *parameter : sensingParametersInWireOrder())
            t.append(parameter->key == key ? text : QStringLiteral("1"));
        QSignalSpy spy(controller, &SerialDispatcher::sigSendData);
        QVERIFY(spy.isValid());
        controller->sendSettings(channel, t[0], t[1], t[2], t[3], t[4], t[5], t[6], t[7], t[8],
                                 t[9], t[10], t[11], t[12], t[13], t[14], t[15], t[16], t[17],
                                 t[18]);

        QVERIFY(peer.waitForBytes(19 * 5, 1000));
        const QByteArray wire = peer.receivedBytes();
        QCOMPARE(wire.size(), 19 * 5);
        QByteArray codes;
        QList<QByteArray> commands;
        for (int i = 0; i < 19; ++i) {
            QCOMPARE(spy.at(i).mid(1), (QList<QVariant>{5, 0, QVariant::fromValue(ReadNone)}));
            commands.append(wire.mid(i * 5, 5));
            codes.append(commands.last().at(2));
        }
        QCOMPARE(codes, QByteArray("0123456AB79:;<>?!#@"));
        QVERIFY(commands.contains(command));
    }

    void storesRecords_data()
    {
        QTest::addColumn<QString>("replies");
        QTest::addColumn<QString>("changedKey"); // empty: the settings stay as they were
        QTest::addColumn<double>("value");

        recordRow("real into Custom 0", "003A1770", "sensing/1/off_amplitude", 60.0);
        recordRow("count into Custom 1", "0136000F", "sensing/2/low_sens_press_thresh", 15.0);
        recordRow("negative real", "003EFC18", "sensing/1/off_vmin", -10.0);
        recordRow("record in two reads", "01 23251C", "sensing/2/on_vmax", 95.0);
        recordRow("records cut across reads", "003817 70012325 1C", "sensing/2/on_vmax", 95.0);
        recordRow("stale tail does not join the next read", "003A17 | 003EFC18",
                  "sensing/1/off_vmin", -10.0);
        recordRow("short tail stores nothing", "003A17");
        for (const char *code : {"38", "3D", "22", "20", "43"})
            recordRow(code, qPrintable(QStringLiteral("00%10005").arg(code)));
        recordRow("index beyond the array", "04300005");
        recordRow("negative index", "FF300005");
    }
    void storesRecords()
    {
        QFETCH(QString, replies);
        QFETCH(QString, changedKey);
        QFETCH(double, value);

        const QMap<QString, QString> before = snapshot();
        const QStringList answers = replies.split(" | ");
        scriptReplies(peer, '5', answers);
        for (int i = 0; i < answers.size(); ++i)
            controller->readSettings();
        // Every controller sees every reply; only a sensing read is stored.
        controller->Dispatch(QByteArray::fromHex("003A1770"), 4, ReadAudioSettings);

        QMap<QString, QString> after = snapshot();
        if (!changedKey.isEmpty()) {
            QCOMPARE(QSettings().value(changedKey).toDouble(), value);
            after.insert(changedKey, before.value(changedKey));
        }
        QCOMPARE(after, before);
    }

    void damagedSizeIsNeverWritten()
    {
        QSettings().setValue("sensing/size", 100000000);
        const QMap<QString, QString> before = snapshot();
        scriptReplies(peer, '5', {"003A1770"});
        controller->readSettings();
        QCOMPARE(snapshot(), before);
    }

    void otherCommands()
    {
        QSignalSpy sent(controller, &SerialDispatcher::sigSendData);
        QSignalSpy refreshed(controller, &SensingController::sigUpdateUi);
        QVERIFY(sent.isValid());
        QVERIFY(refreshed.isValid());
        controller->readSettings();
        QCOMPARE(refreshed.count(), 1);
        controller->saveSettings();
        controller->enableSensing(1);
        controller->enableSensing(0);

        QList<QByteArray> commands;
        for (const QList<QVariant> &call : qAsConst(sent))
            commands.append(call.at(0).toByteArray());
        QCOMPARE(commands, (QList<QByteArray>{"5", "30", "31", "D1", "D0"}));
        QCOMPARE(sent.at(0).mid(1), (QList<QVariant>{1, 4, QVariant::fromValue(ReadSensing)}));
    }

private:
    TestSettings settings;
    PtyKitPeer peer;
    SerialController *serial = nullptr;
    SensingController *controller = nullptr;
};

QTEST_MAIN(TestSensingController)
#include "tst_sensingcontroller.moc"
