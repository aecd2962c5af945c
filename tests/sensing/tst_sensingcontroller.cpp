#include "link/serialcontroller.h"
#include "sensing/sensingcontroller.h"
#include "sensing/sensingparameters.h"
#include "sensing/sensingsettings.h"
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

} // namespace

class TestSensingController : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { qRegisterMetaType<ReadType>("ReadType"); }
    void init()
    {
        settings.reset();
        serial = new SerialController([] { return QList<PortCandidate>(); });
        controller = new SensingController(serial);
    }
    void cleanup()
    {
        delete controller;
        delete serial;
    }

    void installsDefaultsOnce();
    void leavesAnExistingArrayAlone();
    void sendsNineteenCommands_data();
    void sendsNineteenCommands();
    void storesRecords_data();
    void storesRecords();
    void otherCommands();

private:
    TestSettings settings;
    SerialController *serial = nullptr;
    SensingController *controller = nullptr;
};

void TestSensingController::installsDefaultsOnce()
{
    const QStringList names{"Custom 0", "Custom 1", "TDK PowerHap 2.5G", "MIDE PPA-2014"};
    QSettings s;
    QCOMPARE(s.value("sensing/size").toInt(), 4);
    for (int i = 0; i < 4; ++i) {
        QCOMPARE(s.value(QStringLiteral("sensing/%1/name").arg(i + 1)).toString(), names.at(i));
        QCOMPARE(s.value(QStringLiteral("sensing/%1/editable").arg(i + 1)).toBool(), i < 2);
    }
    s.setValue("sensing/1/nb_prd_long", "7");
    SensingController second(serial);
    QCOMPARE(snapshot().value("sensing/1/nb_prd_long"), QString("7"));
    QCOMPARE(snapshot().size(), 1 + 4 * 21);
}

void TestSensingController::leavesAnExistingArrayAlone()
{
    settings.reset();
    QSettings().setValue("sensing/1/name", "Old");
    QSettings().setValue("sensing/size", 1);
    installSensingDefaults();
    QCOMPARE(snapshot().keys(), (QStringList{"sensing/1/name", "sensing/size"}));
}

void TestSensingController::sendsNineteenCommands_data()
{
    QTest::addColumn<QString>("channel");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("command");

    QTest::newRow("amplitude on A") << "0"
                                    << "low_amp_multiplicator"
                                    << "0.75" << QByteArray::fromHex("323030004B");
    QTest::newRow("negative vmin on B") << "1"
                                        << "on_vmin"
                                        << "-10.00" << QByteArray::fromHex("323140FC18");
    QTest::newRow("count as word") << "0"
                                   << "high_freq_feedback"
                                   << "180" << QByteArray::fromHex("32303400B4");
    QTest::newRow("count keeps its low 16 bits") << "0"
                                                 << "low_freq_feedback"
                                                 << "70000" << QByteArray::fromHex("3230331170");
    QTest::newRow("real beyond the encoding is clamped")
        << "1"
        << "off_vmax"
        << "400" << QByteArray::fromHex("32313C7FFF");
    QTest::newRow("decimal comma is no number") << "0"
                                                << "high_amp_press"
                                                << "0,75" << QByteArray::fromHex("3230310000");
}

void TestSensingController::sendsNineteenCommands()
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
    controller->sendSettings(channel, t[0], t[1], t[2], t[3], t[4], t[5], t[6], t[7], t[8], t[9],
                             t[10], t[11], t[12], t[13], t[14], t[15], t[16], t[17], t[18]);

    QByteArray codes;
    QList<QByteArray> commands;
    for (const QList<QVariant> &call : qAsConst(spy)) {
        QCOMPARE(call.mid(1), (QList<QVariant>{5, 0, QVariant::fromValue(ReadNone)}));
        commands.append(call.at(0).toByteArray());
        codes.append(commands.last().at(2));
    }
    QCOMPARE(codes, QByteArray("0123456AB79:;<>?!#@"));
    QVERIFY(commands.contains(command));
}

void TestSensingController::storesRecords_data()
{
    QTest::addColumn<QByteArrayList>("pieces");
    QTest::addColumn<bool>("readBetween"); // a new read command after the first piece
    QTest::addColumn<QString>("changedKey");
    QTest::addColumn<double>("value");

    auto hex = [](const char *h) { return QByteArray::fromHex(h); };
    QTest::newRow("real into Custom 0")
        << QByteArrayList{hex("003A1770")} << false << "sensing/1/off_amplitude" << 60.0;
    QTest::newRow("count into Custom 1")
        << QByteArrayList{hex("0136000F")} << false << "sensing/2/low_sens_press_thresh" << 15.0;
    QTest::newRow("negative real")
        << QByteArrayList{hex("003EFC18")} << false << "sensing/1/off_vmin" << -10.0;
    QTest::newRow("record in two pieces")
        << QByteArrayList{hex("01"), hex("23251C")} << false << "sensing/2/on_vmax" << 95.0;
    QTest::newRow("stale tail dropped by a new read")
        << QByteArrayList{hex("003A17"), hex("003EFC18")} << true << "sensing/1/off_vmin" << -10.0;
    for (const char *record : {"00380005", "003D0005", "00220005", "00200005", "00430005"})
        QTest::newRow(qPrintable(QStringLiteral("code %1").arg(QLatin1String(record).mid(2, 2))))
            << QByteArrayList{hex(record)} << false << QString() << 0.0;
    QTest::newRow("index beyond the array")
        << QByteArrayList{hex("04300005")} << false << QString() << 0.0;
    QTest::newRow("negative index") << QByteArrayList{hex("FF300005")} << false << QString() << 0.0;
    QTest::newRow("piece of three bytes")
        << QByteArrayList{hex("003A17")} << false << QString() << 0.0;
}

void TestSensingController::storesRecords()
{
    QFETCH(QByteArrayList, pieces);
    QFETCH(bool, readBetween);
    QFETCH(QString, changedKey);
    QFETCH(double, value);

    const QMap<QString, QString> before = snapshot();
    controller->Dispatch(pieces.first(), 4, ReadSensing);
    if (readBetween)
        controller->readSettings();
    for (const QByteArray &piece : pieces.mid(1))
        controller->Dispatch(piece, 4, ReadSensing);
    controller->Dispatch(pieces.first(), 4, ReadAudioSettings);

    QMap<QString, QString> after = snapshot();
    if (!changedKey.isEmpty()) {
        QCOMPARE(QSettings().value(changedKey).toDouble(), value);
        after.insert(changedKey, before.value(changedKey));
    }
    QCOMPARE(after, before);
}

void TestSensingController::otherCommands()
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

QTEST_MAIN(TestSensingController)
#include "tst_sensingcontroller.moc"
