#include "link/serialcontroller.h"
#include "simulatedkit.h"
#include "support/modalcloser.h"

#include <QtTest>
#include <functional>

// The simulated kit seen from the program's side: a real SerialController on the
// pseudo-terminal, with each fault switched on from the test.

using KitSetup = std::function<void(SimulatedKit &)>;
Q_DECLARE_METATYPE(KitSetup)

namespace {

struct Command
{
    QByteArray bytes;
    int readCount = 0;
};

QList<QByteArray> pieces(const QByteArray &bytes, int size)
{
    QList<QByteArray> list;
    for (int i = 0; i < bytes.size(); i += size)
        list.append(bytes.mid(i, size));
    return list;
}

QByteArray registerReply(quint16 chip)
{
    KitFirmware firmware(chip);
    return firmware.feed("4").value(0).reply;
}

} // namespace

Q_DECLARE_METATYPE(Command)

class TestSimulatedKit : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void replies_data();
    void replies();
    void stalledWriteIsReported();
    void unplugLosesUnsavedState();

private:
    QList<QByteArray> exchange(SerialController &controller, const QList<Command> &commands);
};

void TestSimulatedKit::initTestCase()
{
    qRegisterMetaType<ReadType>("ReadType");
}

QList<QByteArray> TestSimulatedKit::exchange(SerialController &controller,
                                             const QList<Command> &commands)
{
    QSignalSpy spy(&controller, &SerialController::sigDataRead);
    if (!spy.isValid())
        return {};
    for (const Command &command : commands)
        controller.sendData(command.bytes, command.bytes.size(), command.readCount, ReadNone);
    QList<QByteArray> reads;
    for (const QList<QVariant> &arguments : qAsConst(spy))
        reads.append(arguments.at(0).toByteArray());
    return reads;
}

void TestSimulatedKit::replies_data()
{
    QTest::addColumn<KitSetup>("setup");
    QTest::addColumn<QList<Command>>("commands");
    QTest::addColumn<QList<QByteArray>>("reads");

    using L = QList<QByteArray>;
    const KitSetup none = [](SimulatedKit &) {};
    const auto firmwareId = [](const QByteArray &id) {
        return KitSetup([id](SimulatedKit &kit) {
            kit.withFirmware([&id](KitFirmware &firmware) {
                firmware.setFirmwareId(id);
                return 0;
            });
        });
    };
    const QList<Command> identify{{"=", 3}, {"H", 3}};

    QTest::newRow("identifiers") << none << identify << L{"2.3", "\x24\x6A"};
    QTest::newRow("firmware 2.30 arrives as two")
        << firmwareId("2.30") << identify << L{"2.3", "0", "\x24\x6A"};
    QTest::newRow("one-byte chip id")
        << KitSetup([](SimulatedKit &kit) { kit.setReplyOverride('H', "\x24"); }) << identify
        << L{"2.3", "\x24"};
    QTest::newRow("no reply") << KitSetup([](SimulatedKit &kit) { kit.setSilent(true); })
                              << identify << L{};
    QTest::newRow("pieces with short gaps")
        << KitSetup([](SimulatedKit &kit) { kit.setReplyPieces(2, 30); }) << identify
        << L{"2.", "3", "\x24\x6A"};
    QTest::newRow("register records")
        << none << QList<Command>{{"4", 3}} << pieces(registerReply(KitFirmware::ChipIdRevC), 3);
    // The program stops listening after 100 ms of silence; the rest of the reply is
    // left on the line and comes first in the next exchange.
    QTest::newRow("long gap inside a reply")
        << KitSetup([](SimulatedKit &kit) { kit.setReplyGap(6, 250); }) << QList<Command>{{"5", 4}}
        << L{QByteArray::fromHex("0030004B"), QByteArray::fromHex("0031")};
    QTest::newRow("extra record") << KitSetup(
                                         [](SimulatedKit &kit) { kit.setReplyExtra('B', "77"); })
                                  << QList<Command>{{"A", 0}, {"B", 3}} << L{"130", "77"};
    QTest::newRow("garbage after the identifier")
        << KitSetup([](SimulatedKit &kit) { kit.setReplyExtra('=', "\xFF\xFF"); })
        << QList<Command>{{"=", 3}} << L{"2.3", "\xFF\xFF"};
    QTest::newRow("stray bytes reach the next exchange")
        << KitSetup([](SimulatedKit &kit) { kit.setReplyOverride('G', "xyz"); })
        << QList<Command>{{"G", 0}, {"H", 3}} << L{"xyz", "\x24\x6A"};
}

void TestSimulatedKit::replies()
{
    QFETCH(KitSetup, setup);
    QFETCH(QList<Command>, commands);
    QFETCH(QList<QByteArray>, reads);

    SimulatedKit kit;
    QVERIFY(kit.open());
    setup(kit);
    SerialController controller(kit.enumerator());
    QVERIFY(controller.isConnected());

    QCOMPARE(exchange(controller, commands), reads);
    QList<QByteArray> sent;
    for (const Command &command : commands)
        sent.append(command.bytes);
    QCOMPARE(kit.commands(), sent);
}

void TestSimulatedKit::stalledWriteIsReported()
{
    SimulatedKit kit;
    QVERIFY(kit.open());
    SerialController controller(kit.enumerator());
    QVERIFY(controller.isConnected());
    ModalCloser closer;

    kit.setReading(false);
    controller.sendData("G", 1, 0, ReadNone);
    QCOMPARE(closer.texts(), QStringList{"There was an error communicating with the dev kit"});
    QVERIFY(controller.isConnected());

    kit.setReading(true);
    closer.clear();
    QCOMPARE(exchange(controller, {{"H", 3}}), QList<QByteArray>{"\x24\x6A"});
    QVERIFY(closer.texts().isEmpty());
}

void TestSimulatedKit::unplugLosesUnsavedState()
{
    SimulatedKit kit;
    QVERIFY(kit.open());
    SerialController controller(kit.enumerator());
    QSignalSpy connected(&controller, &SerialController::sigDeviceConnected);
    QVERIFY(connected.isValid());
    QVERIFY(controller.isConnected());

    // Channel 0's KP register is saved, channel 1's is not; so is one audio value.
    exchange(controller, {{QByteArray("00\x30\x11"), 0},
                          {"10", 0},
                          {QByteArray("01\x30\x22"), 0},
                          {QByteArray("6000\x00\x05", 6), 0},
                          {"7", 0},
                          {QByteArray("6001\x00\x06", 6), 0},
                          {"F", 0}});
    QVERIFY(kit.waitForCommands(7, 2000));

    kit.unplug();
    QVERIFY(!controller.isConnected());
    QVERIFY(kit.plug());
    QVERIFY(controller.isConnected());
    QCOMPARE(connected.size(), 3);
    QCOMPARE(connected.at(1).at(0).toBool(), false);
    QCOMPARE(connected.at(2).at(0).toBool(), true);

    const QList<QByteArray> records = exchange(controller, {{"4", 3}});
    QVERIFY(records.contains(QByteArray("\x00\x30\x11", 3)));
    QVERIFY(records.contains(QByteArray("\x01\x30\x80", 3)));
    const QList<QByteArray> audio = exchange(controller, {{"8", 13}});
    QVERIFY(audio.contains(QByteArray("ch0sw0type0\x00\x05", 13)));
    QVERIFY(audio.contains(QByteArray("ch0sw0type1\x00\x00", 13)));
    QVERIFY(kit.withFirmware([](KitFirmware &firmware) { return firmware.isOutputEnabled(); }));
}

QTEST_MAIN(TestSimulatedKit)
#include "tst_simulatedkit.moc"
