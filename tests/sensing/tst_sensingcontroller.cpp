#include "link/serialcontroller.h"
#include "sensing/sensingcontroller.h"
#include "sensing/sensingparameters.h"
#include "sensing/sensingsettings.h"
#include "support/testsettings.h"

#include <QSettings>
#include <QSignalSpy>
#include <QtTest>

namespace {

QList<PortCandidate> noPorts()
{
    return {};
}

// Nineteen texts in the order of the send signature, all "0" but one.
QStringList textsWith(const QString &key, const QString &text)
{
    QStringList texts;
    for (const SensingParameter *parameter : sensingParametersInWireOrder())
        texts.append(parameter->key == key ? text : QStringLiteral("0"));
    return texts;
}

void callSend(SensingController &controller, const QString &channel, const QStringList &t)
{
    controller.sendSettings(channel, t[0], t[1], t[2], t[3], t[4], t[5], t[6], t[7], t[8], t[9],
                            t[10], t[11], t[12], t[13], t[14], t[15], t[16], t[17], t[18]);
}

QMap<QString, QString> snapshot()
{
    QSettings settings;
    QMap<QString, QString> values;
    for (const QString &key : settings.allKeys())
        values.insert(key, settings.value(key).toString());
    return values;
}

QByteArray bytes(std::initializer_list<int> list)
{
    QByteArray result;
    for (int b : list)
        result.append(char(b));
    return result;
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
        serial = new SerialController(noPorts);
        controller = new SensingController(serial);
    }
    void cleanup()
    {
        delete controller;
        delete serial;
    }

    void sendsNineteenCommandsInWireOrder();
    void encodesEachText_data();
    void encodesEachText();
    void storesRecords_data();
    void storesRecords();
    void staleTailDoesNotJoinNextRead();
    void readAsksAndRefreshes();
    void saveAndEnable();

private:
    TestSettings settings;
    SerialController *serial = nullptr;
    SensingController *controller = nullptr;
};

void TestSensingController::sendsNineteenCommandsInWireOrder()
{
    QSignalSpy spy(controller, &SerialDispatcher::sigSendData);
    QVERIFY(spy.isValid());
    callSend(*controller, QStringLiteral("1"), textsWith(QString(), QString()));
    QCOMPARE(spy.count(), 19);
    QByteArray codes;
    for (const QList<QVariant> &call : qAsConst(spy)) {
        const QByteArray command = call.at(0).toByteArray();
        QCOMPARE(command.size(), 5);
        QCOMPARE(call.at(1).toInt(), 5);
        QCOMPARE(call.at(2).toInt(), 0);
        QCOMPARE(call.at(3).value<ReadType>(), ReadNone);
        QCOMPARE(command.left(2), QByteArray("21"));
        codes.append(command.at(2));
    }
    QCOMPARE(codes, QByteArray("0123456AB79:;<>?!#@"));
}

void TestSensingController::encodesEachText_data()
{
    QTest::addColumn<QString>("channel");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("command");

    QTest::newRow("amplitude 0.75 on A") << "0"
                                         << "low_amp_multiplicator"
                                         << "0.75" << bytes({0x32, 0x30, 0x30, 0x00, 0x4B});
    QTest::newRow("negative vmin on B") << "1"
                                        << "on_vmin"
                                        << "-10.00" << bytes({0x32, 0x31, 0x40, 0xFC, 0x18});
    QTest::newRow("half rounds away from zero") << "0"
                                                << "off_offset"
                                                << "0.125" << bytes({0x32, 0x30, 0x3B, 0x00, 0x0D});
    QTest::newRow("count as word") << "0"
                                   << "high_freq_feedback"
                                   << "180" << bytes({0x32, 0x30, 0x34, 0x00, 0xB4});
    QTest::newRow("count keeps its low 16 bits")
        << "0"
        << "low_freq_feedback"
        << "70000" << bytes({0x32, 0x30, 0x33, 0x11, 0x70});
    QTest::newRow("negative count as word") << "0"
                                            << "nb_prd_long"
                                            << "-1" << bytes({0x32, 0x30, 0x39, 0xFF, 0xFF});
    QTest::newRow("real too large is clamped") << "0"
                                               << "off_vmax"
                                               << "400" << bytes({0x32, 0x30, 0x3C, 0x7F, 0xFF});
    QTest::newRow("real too small is clamped") << "1"
                                               << "on_amplitude"
                                               << "-400" << bytes({0x32, 0x31, 0x3F, 0x80, 0x00});
    QTest::newRow("real text that is no number") << "0"
                                                 << "on_offset"
                                                 << "abc" << bytes({0x32, 0x30, 0x21, 0x00, 0x00});
    QTest::newRow("count text with a fraction") << "0"
                                                << "nb_prd_click"
                                                << "1.5" << bytes({0x32, 0x30, 0x37, 0x00, 0x00});
    QTest::newRow("decimal comma is no number") << "0"
                                                << "high_amp_press"
                                                << "0,75" << bytes({0x32, 0x30, 0x31, 0x00, 0x00});
}

void TestSensingController::encodesEachText()
{
    QFETCH(QString, channel);
    QFETCH(QString, key);
    QFETCH(QString, text);
    QFETCH(QByteArray, command);

    QSignalSpy spy(controller, &SerialDispatcher::sigSendData);
    QVERIFY(spy.isValid());
    callSend(*controller, channel, textsWith(key, text));
    QCOMPARE(spy.count(), 19);
    const QVector<const SensingParameter *> &order = sensingParametersInWireOrder();
    for (int i = 0; i < order.size(); ++i) {
        if (order.at(i)->key == key)
            QCOMPARE(spy.at(i).at(0).toByteArray(), command);
    }
}

void TestSensingController::storesRecords_data()
{
    QTest::addColumn<QList<QByteArray>>("pieces");
    QTest::addColumn<int>("readType");
    QTest::addColumn<QString>("changedKey"); // empty: the settings stay as they were
    QTest::addColumn<double>("value");

    const int sensing = ReadSensing;
    QTest::newRow("real into Custom 0") << QList<QByteArray>{bytes({0x00, 0x3A, 0x17, 0x70})}
                                        << sensing << "sensing/1/off_amplitude" << 60.0;
    QTest::newRow("count into Custom 1") << QList<QByteArray>{bytes({0x01, 0x36, 0x00, 0x0F})}
                                         << sensing << "sensing/2/low_sens_press_thresh" << 15.0;
    QTest::newRow("negative real") << QList<QByteArray>{bytes({0x00, 0x3E, 0xFC, 0x18})} << sensing
                                   << "sensing/1/off_vmin" << -10.0;
    QTest::newRow("record split in two pieces")
        << QList<QByteArray>{bytes({0x00, 0x3A}), bytes({0x17, 0x70})} << sensing
        << "sensing/1/off_amplitude" << 60.0;
    QTest::newRow("record split after one byte")
        << QList<QByteArray>{bytes({0x01}), bytes({0x23, 0x25, 0x1C})} << sensing
        << "sensing/2/on_vmax" << 95.0;
    for (int code : {0x38, 0x3D, 0x22, 32, 67})
        QTest::newRow(qPrintable(QStringLiteral("code 0x%1").arg(code, 2, 16, QChar('0'))))
            << QList<QByteArray>{bytes({0x00, code, 0x00, 0x05})} << sensing << QString() << 0.0;
    QTest::newRow("index beyond the array")
        << QList<QByteArray>{bytes({0x04, 0x30, 0x00, 0x05})} << sensing << QString() << 0.0;
    QTest::newRow("negative index")
        << QList<QByteArray>{bytes({0xFF, 0x30, 0x00, 0x05})} << sensing << QString() << 0.0;
    QTest::newRow("piece of three bytes")
        << QList<QByteArray>{bytes({0x00, 0x3A, 0x17})} << sensing << QString() << 0.0;
    QTest::newRow("piece of two bytes")
        << QList<QByteArray>{bytes({0x01, 0x36})} << sensing << QString() << 0.0;
    QTest::newRow("reply of another type") << QList<QByteArray>{bytes({0x00, 0x3A, 0x17, 0x70})}
                                           << int(ReadAudioSettings) << QString() << 0.0;
}

void TestSensingController::storesRecords()
{
    QFETCH(QList<QByteArray>, pieces);
    QFETCH(int, readType);
    QFETCH(QString, changedKey);
    QFETCH(double, value);

    const QMap<QString, QString> before = snapshot();
    for (const QByteArray &piece : pieces)
        controller->Dispatch(piece, 4, ReadType(readType));
    QMap<QString, QString> after = snapshot();

    QCOMPARE(sensingArraySize(), 4);
    if (!changedKey.isEmpty()) {
        QVERIFY(after.contains(changedKey));
        QCOMPARE(QSettings().value(changedKey).toDouble(), value);
        after.insert(changedKey, before.value(changedKey));
    }
    QCOMPARE(after, before);
}

void TestSensingController::staleTailDoesNotJoinNextRead()
{
    controller->Dispatch(bytes({0x00, 0x3A, 0x17}), 4, ReadSensing);
    controller->readSettings();
    controller->Dispatch(bytes({0x00, 0x3E, 0xFC, 0x18}), 4, ReadSensing);

    QSettings settings;
    QCOMPARE(settings.value("sensing/1/off_vmin").toDouble(), -10.0);
    QCOMPARE(settings.value("sensing/1/off_amplitude").toInt(), 0);
}

void TestSensingController::readAsksAndRefreshes()
{
    QSignalSpy sent(controller, &SerialDispatcher::sigSendData);
    QSignalSpy refreshed(controller, &SensingController::sigUpdateUi);
    QVERIFY(sent.isValid());
    QVERIFY(refreshed.isValid());
    controller->readSettings();
    QCOMPARE(sent.count(), 1);
    QCOMPARE(sent.at(0),
             (QList<QVariant>{QByteArray("5"), 1, 4, QVariant::fromValue(ReadSensing)}));
    QCOMPARE(refreshed.count(), 1);
}

void TestSensingController::saveAndEnable()
{
    QSignalSpy spy(controller, &SerialDispatcher::sigSendData);
    QVERIFY(spy.isValid());
    controller->saveSettings();
    controller->enableSensing(1);
    controller->enableSensing(0);
    QCOMPARE(spy.count(), 4);
    QCOMPARE(spy.at(0).at(0).toByteArray(), QByteArray("30"));
    QCOMPARE(spy.at(1).at(0).toByteArray(), QByteArray("31"));
    QCOMPARE(spy.at(2).at(0).toByteArray(), QByteArray("D1"));
    QCOMPARE(spy.at(3).at(0).toByteArray(), QByteArray("D0"));
}

QTEST_MAIN(TestSensingController)
#include "tst_sensingcontroller.moc"
