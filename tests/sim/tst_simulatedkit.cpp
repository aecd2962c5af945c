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

void row(const char *name, const char *steps, const QList<QByteArray> &seen,
         const QByteArray &received, const KitSetup &setup = {},
         quint16 chip = KitFirmware::ChipIdRevC, const QByteArray &firmware = "2.3")
{
    QTest::newRow(name) << QString(steps) << seen << received << setup << chip << firmware;
}

} // namespace

class TestSimulatedKit : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { qRegisterMetaType<ReadType>("ReadType"); }
    void faults_data();
    void faults();
};

// Each row sets a fault up and takes steps: a command byte with the count of bytes to
// read back ("H3"), or "unplug", "plug", "resume" (the kit reads again). It expects
// what the program saw, in order (each read, message box and change of connection),
// and the commands that reached the kit.
void TestSimulatedKit::faults_data()
{
    QTest::addColumn<QString>("steps");
    QTest::addColumn<QList<QByteArray>>("seen");
    QTest::addColumn<QByteArray>("received");
    QTest::addColumn<KitSetup>("setup");
    QTest::addColumn<quint16>("chip");
    QTest::addColumn<QByteArray>("firmware");

    QList<QByteArray> revB{"\x24\x66"};
    const QByteArray registers = KitFirmware(KitFirmware::ChipIdRevB).feed("4").value(0).reply;
    for (int i = 0; i < registers.size(); i += 3)
        revB.append(registers.mid(i, 3));

    row("revision C", "=3 H3", {"2.3", "\x24\x6A"}, "=H");
    row("revision B, register records", "H3 43", revB, "H4", {}, KitFirmware::ChipIdRevB);
    row("unknown chip", "H3", {"\x12\x34"}, "H", {}, 0x1234);
    row("firmware 2.30 arrives as two", "=3 H3", {"2.3", "0", "\x24\x6A"}, "=H", {}, 0x246A,
        "2.30");
    row("no reply", "=3", {}, "=", [](SimulatedKit &kit) { kit.setSilent(true); });
    row("pieces with short gaps", "=3 H3", {"2.", "3", "\x24\x6A"}, "=H",
        [](SimulatedKit &kit) { kit.setReplyPieces(2, 30); });
    // The program stops listening after 100 ms of silence; the rest of the reply is
    // left on the line and comes first in the next exchange.
    row("long gap inside a reply", "54",
        {QByteArray::fromHex("0030004B"), QByteArray::fromHex("0031")}, "5",
        [](SimulatedKit &kit) { kit.setReplyGap(6, 250); });
    row("extra record", "A0 B3", {"130", "77"}, "AB",
        [](SimulatedKit &kit) { kit.setReplyExtra('B', "77"); });
    row("stray bytes reach the next exchange", "G0 H3", {"xyz", "\x24\x6A"}, "GH",
        [](SimulatedKit &kit) { kit.setReplyOverride('G', "xyz"); });
    // The stalled command is dropped, so that it cannot reach the kit behind later ones.
    row("stalled write", "G0 resume H3",
        {"There was an error communicating with the dev kit", "\x24\x6A"}, "H",
        [](SimulatedKit &kit) { kit.setReading(false); });
    // Power goes with the cable: the measurement started before is gone.
    row("unplug and plug", "A0 B3 unplug plug B3", {"130", "<disconnected>", "<connected>", "0"},
        "ABB");
}

void TestSimulatedKit::faults()
{
    QFETCH(QString, steps);
    QFETCH(QList<QByteArray>, seen);
    QFETCH(QByteArray, received);
    QFETCH(KitSetup, setup);
    QFETCH(quint16, chip);
    QFETCH(QByteArray, firmware);

    SimulatedKit kit(chip, firmware);
    QVERIFY(kit.open());
    if (setup)
        setup(kit);
    SerialController controller(kit.enumerator());
    QVERIFY(controller.isConnected());
    ModalCloser closer;
    QList<QByteArray> trace;
    connect(&controller, &SerialController::sigDataRead,
            [&](const QByteArray &data) { trace << data; });
    connect(&controller, &SerialController::sigDeviceConnected,
            [&](bool on) { trace << (on ? "<connected>" : "<disconnected>"); });
    for (const QString &step : steps.split(QLatin1Char(' '))) {
        if (step == QLatin1String("unplug"))
            kit.unplug();
        else if (step == QLatin1String("plug"))
            QVERIFY(kit.plug());
        else if (step == QLatin1String("resume"))
            kit.setReading(true);
        else
            controller.sendData(step.left(1).toLatin1(), 1, step.mid(1).toInt(), ReadNone);
        controller.isConnected();
        for (const QString &text : closer.texts())
            trace << text.toUtf8();
        closer.clear();
    }
    QCOMPARE(trace, seen);
    QCOMPARE(kit.commands().join(), received);
}

QTEST_MAIN(TestSimulatedKit)
#include "tst_simulatedkit.moc"
