#include "kitoptions.h"
#include "link/portenumerator.h"
#include "link/serialcontroller.h"
#include "simulatedkit.h"
#include "support/datarow.h"
#include "support/kitfixture.h"
#include "support/modalcloser.h"
#include "support/testargv.h"

#include <QTemporaryDir>
#include <QtTest>
#include <functional>

using KitSetup = std::function<void(SimulatedKit &)>;
Q_DECLARE_METATYPE(KitSetup)

namespace {

QByteArray operator""_b(const char *text, size_t size)
{
    return QByteArray(text, int(size));
}

// All the kit sends back for the bytes, fed one at a time to make each command of pieces.
QByteArray replyTo(KitFirmware &firmware, const QByteArray &bytes)
{
    QByteArray reply;
    for (const char byte : bytes)
        for (const KitFirmware::Exchange &exchange : firmware.feed(QByteArray(1, byte)))
            reply.append(exchange.reply);
    return reply;
}

KitSetup chip(quint16 id, const QByteArray &firmware = "2.3")
{
    return [=](SimulatedKit &kit) {
        kit.withFirmware([&](KitFirmware &f) { f.setChipId(id), f.setFirmwareId(firmware); });
    };
}

} // namespace

class TestSimulatedKit : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { qRegisterMetaType<ReadType>("ReadType"); }

    // Each row gives the command line and what was read from it, as
    // "chip firmware press [paced] [port=…] [error] | arguments left for the toolkit".
    void options_data()
    {
        columns<QString, QString, bool>({"line", "read", "simulator"});
        dataRow("chip B", "--chip B", "2466 2.3 130 |", false);
        dataRow("values after =", "--chip=0x1234 --press=7", "1234 2.3 7 |", false);
        dataRow("chip too wide, not read", "--chip 0x12345", "246a 2.3 130 error |", false);
        dataRow("all options, toolkit's kept",
                "-style fusion --firmware 2.2 --press 77 --paced --port /dev/ttyUSB0 -platform x",
                "246a 2.2 77 paced port=/dev/ttyUSB0 | -style fusion -platform x", false);
        dataRow("simulator takes no --port", "--port /dev/x", "246a 2.3 130 | --port /dev/x", true);
    }

    void options()
    {
        const auto [line, read, simulator] =
            fetchRow<QString, QString, bool>("line", "read", "simulator");
        TestArgv args(("program " + line).split(' '));
        const KitOptions options = takeKitOptions(
            args.argc, args.argv(), simulator ? KitOptionSet::Simulator : KitOptionSet::Demo);
        QStringList seen{QString::number(options.chipId, 16), options.firmwareId,
                         QString::number(options.pressValue)};
        if (options.paced)
            seen << "paced";
        if (!options.port.isEmpty())
            seen << "port=" + options.port;
        if (!options.error.isEmpty())
            seen << "error";
        QCOMPARE((seen << "|" << args.rest()).join(' '), read);
        QCOMPARE(args.argv()[args.argc], nullptr);
    }

    // Each row writes, then reads on the same kit, on it after a power loss ("off 4") or on a
    // new kit of the row's chip from the EEPROM file a rev C kit kept ("file 4"). The reply's
    // records must hold `record`, or, for "!prefix", none may start with the prefix.
    void commandEffects_data()
    {
        columns<quint16, QByteArray, QString, QByteArray>({"chip", "commands", "read", "record"});
        const quint16 b = KitFirmware::ChipIdRevB, c = KitFirmware::ChipIdRevC;
        const QByteArray kp1 = "01\x30\xAB"_b, sensing = "21!\xFC\x18"_b, audio = "6101\x00\x05"_b;

        dataRow("other channel untouched", c, kp1, "4", "\x00\x30\x80"_b);
        dataRow("register write, unknown bytes dropped", c, "xz" + kp1, "4", "\x01\x30\xAB"_b);
        dataRow("default DEADTIME, rev B", b, ""_b, "4", "\x00\x24\x66"_b);
        dataRow("rev B has no address 13", b, "00\xD1\x23"_b, "4", "!\x00\xD1"_b);
        dataRow("DAC ignores writes", c, "00\x8F\xFF"_b, "4", "\x00\x80\x82"_b);
        dataRow("status after power down", c, ">"_b, "4", "\x00\xC0\x7F"_b);
        dataRow("status with output off", c, "F"_b, "4", "\x00\xC4\x7F"_b);
        dataRow("sensing real, negative", c, sensing, "5", "\x01!\xFC\x18"_b);
        // The argument byte '=' is no command of its own: it would be answered.
        dataRow("sensing word", c, "203\x00="_b, "5", "\x00\x33\x00="_b);
        dataRow("audio value", c, audio, "8", "ch1sw0type1\x00\x05"_b);
        dataRow("audio type 4 ignored", c, "6004\x01\x01"_b, "8", "!ch0sw0type4"_b);
        dataRow("saved register kept", c, kp1 + "11", "off 4", "\x01\x30\xAB"_b);
        dataRow("unsaved register lost", c, kp1 + "10", "off 4", "\x01\x30\x80"_b);
        dataRow("saved sensing kept", c, sensing + "31", "off 5", "\x01!\xFC\x18"_b);
        dataRow("other area saved", c, sensing + "30" + "11", "off 5", "\x01!\x00\x00"_b);
        dataRow("saved audio kept", c, audio + "7", "off 8", "ch1sw0type1\x00\x05"_b);
        dataRow("saved register in the file", c, kp1 + "11", "file 4", "\x01\x30\xAB"_b);
        dataRow("unsaved audio not in the file", c, audio + "31", "file 8",
                "ch1sw0type1\x00\x00"_b);
        dataRow("file: no registers of another chip", b, kp1 + "11", "file 4", "\x01\x30\x80"_b);
        dataRow("file: sensing fits any chip", b, sensing + "31", "file 5", "\x01!\xFC\x18"_b);
        dataRow("output back on at power-up", c, "F"_b, "off 4", "\x00\xC8\x7F"_b);
    }

    void commandEffects()
    {
        const auto [chip, commands, read, record] =
            fetchRow<quint16, QByteArray, QString, QByteArray>("chip", "commands", "read",
                                                               "record");
        QTemporaryDir dir;
        const bool file = read.startsWith("file");
        KitFirmware firmware(file ? KitFirmware::ChipIdRevC : chip), fromFile(chip);
        QCOMPARE(firmware.attachEepromFile(dir.filePath("eeprom.json")), QString());
        QVERIFY(replyTo(firmware, commands).isEmpty()); // writes are not answered
        if (read.startsWith("off"))
            firmware.powerCycle();
        QCOMPARE(fromFile.attachEepromFile(dir.filePath("eeprom.json")), QString());
        const QByteArray reply = replyTo(file ? fromFile : firmware, read.right(1).toLatin1());
        const int size = kitRead(read.back().toLatin1()).recordSize;
        QVERIFY(size && reply.size() % size == 0);
        bool found = record.startsWith('!');
        for (int i = 0; i < reply.size(); i += size) {
            found = found || reply.mid(i, size) == record;
            QVERIFY(!record.startsWith('!') || !reply.mid(i, size).startsWith(record.mid(1)));
        }
        QVERIFY2(found, reply.toHex(' ').constData());
    }

    // The kit seen by a SerialController. Each row sets a fault up, takes steps ("H3": a
    // command and the bytes to read; "unplug", "plug", "resume": the kit reads again; "idle":
    // 100 ms pass) and expects each read, message box and change of connection, and last the
    // commands received.
    void faults_data()
    {
        columns<QString, QList<QByteArray>, KitSetup>({"steps", "seen", "setup"});
        const auto row = [](const char *name, const char *steps, const QList<QByteArray> &seen,
                            const KitSetup &setup) {
            QTest::newRow(name) << QString(steps) << seen << setup;
        };
        QList<QByteArray> revB{"\x24\x66"};
        const QByteArray registers = KitFirmware(KitFirmware::ChipIdRevB).feed("4").value(0).reply;
        for (int i = 0; i < registers.size(); i += 3)
            revB.append(registers.mid(i, 3));

        row("revision B, register records", "H3 43", revB << "H4", chip(KitFirmware::ChipIdRevB));
        row("firmware 2.30 arrives as two", "=3 H3", {"2.3", "0", "\x24\x6A", "=H"},
            chip(0x246A, "2.30"));
        row("no reply", "=3", {"="}, [](SimulatedKit &kit) { kit.setSilent(true); });
        row("pieces with short gaps", "=3 H3", {"2.", "3", "\x24\x6A", "=H"},
            [](SimulatedKit &kit) { kit.setReplyPieces(2, 30); });
        // After 100 ms of silence the reply is over; the rest is dropped before the next command.
        row("long gap inside a reply", "54", {"\x00\x30\x00\x4B"_b, "\x00\x31"_b, "5"},
            [](SimulatedKit &kit) { kit.setReplyGap(6, 250); });
        row("extra record", "A0 B3", {"130", "77", "AB"},
            [](SimulatedKit &kit) { kit.setReplyExtra('B', "77"); });
        row("stray bytes are dropped before the next command", "G0 idle H3", {"\x24\x6A", "GH"},
            [](SimulatedKit &kit) { kit.setReplyOverride('G', "xyz"); });
        // The stalled command is dropped, so that it cannot reach the kit behind later ones.
        row("stalled write", "G0 resume H3",
            {"There was an error communicating with the dev kit", "\x24\x6A", "H"},
            [](SimulatedKit &kit) { kit.setReading(false); });
        // Power goes with the cable: the measurement started before is gone.
        row("unplug and plug", "A0 B3 unplug plug B3",
            {"130", "<disconnected>", "<connected>", "0", "ABB"}, chip(KitFirmware::ChipIdRevC));
    }

    void faults()
    {
        const auto [steps, seen, setup] =
            fetchRow<QString, QList<QByteArray>, KitSetup>("steps", "seen", "setup");
        SimulatedKit kit;
        QVERIFY(kit.open());
        setup(kit);
        SerialController controller(kit.enumerator());
        QVERIFY(controller.isConnected());
        ModalCloser closer;
        QList<QByteArray> trace;
        connect(&controller, &SerialController::sigDataRead, &controller,
                [&](const QByteArray &data) { trace << data; });
        connect(&controller, &SerialController::sigDeviceConnected, &controller,
                [&](bool on) { trace << (on ? "<connected>" : "<disconnected>"); });
        for (const QString &step : steps.split(' ')) {
            if (step == "unplug")
                kit.unplug();
            else if (step == "plug")
                QVERIFY(kit.plug());
            else if (step == "resume")
                kit.setReading(true);
            else if (step == "idle")
                QTest::qWait(100);
            else
                controller.sendData(step.left(1).toLatin1(), 1, step.mid(1).toInt(),
                                    kitRead(step.at(0).toLatin1()).type);
            controller.isConnected();
            for (const QString &text : closer.texts())
                trace << text.toUtf8();
            closer.clear();
        }
        QCOMPARE(trace << kit.commands().join(), seen);
    }

    // The demo's --port: a device that goes away is seen to go, once, and found again
    // when it comes back under the same path.
    void fixedPortFollowsTheDevice()
    {
        SimulatedKit kit;
        QVERIFY(kit.open());
        QTemporaryDir dir;
        const QString path = dir.filePath("ttyKit");
        QVERIFY(QFile::link(kit.slavePath(), path));
        QVERIFY(fixedPort(dir.filePath("absent"))().isEmpty());
        QVERIFY(fixedPort(dir.path())().isEmpty()); // a folder cannot be the kit
        SerialController controller(fixedPort(path));
        QSignalSpy connection(&controller, &SerialController::sigDeviceConnected);
        QVERIFY(controller.isConnected());
        ModalCloser closer;

        kit.unplug();
        QTRY_VERIFY(fixedPort(path)().isEmpty()); // the node goes once the peer lets go
        for (int i = 0; i < 20; ++i)              // a batch: one message at most, then nothing
            controller.sendData("G", 1, 0, ReadNone);
        QVERIFY(!controller.isConnected());
        QVERIFY2(closer.texts().size() <= 1, qPrintable(closer.texts().join('|')));
        QVERIFY(QFile::remove(path) && kit.plug() && QFile::link(kit.slavePath(), path));
        QVERIFY(controller.isConnected());
        QCOMPARE(connection.count(), 3);
    }
};

QTEST_MAIN(TestSimulatedKit)
#include "tst_simulatedkit.moc"
