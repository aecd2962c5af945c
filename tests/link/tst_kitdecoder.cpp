#include "link/kitdecoder.h"
#include "link/wire.h"
#include "registers/registermap.h"
#include "sensing/sensingparameters.h"
#include "simulatedkit.h"

#include <QtTest>

namespace {

// Register names from the revision C table, as the simulator reads them.
const Register *revC(int channel, int address)
{
    for (const Register &reg : registers_rev_c) {
        if (channel >= 0 && channel <= 1 && int(reg.address) == address)
            return &reg;
    }
    return nullptr;
}

} // namespace

class TestKitDecoder : public QObject
{
    Q_OBJECT

private slots:
    void words_data();
    void words();
    void recordsCutAcrossTheReply();
    void simulatorSpeaksAsTheProgram();
};

void TestKitDecoder::words_data()
{
    QTest::addColumn<bool>("named"); // lookups given
    QTest::addColumn<char>("reply"); // 0: bytes are a command, else a record of its reply
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("words");

    auto row = [](const char *name, bool named, char reply, const QByteArray &bytes,
                  const char *words) {
        QTest::newRow(name) << named << reply << bytes << QString::fromUtf8(words);
    };
    row("register write", true, 0, QByteArray::fromHex("30302466"),
        "write register, channel A, DEADTIME (address 2), 0x466: DHS = 35, DLS = 6");
    row("register write unnamed", false, 0, QByteArray::fromHex("303130AB"),
        "write register, channel B, address 3, 0x0AB");
    row("count parameter", true, 0, QByteArray::fromHex("3231330064"),
        "write sensing parameter, channel B, low_freq_feedback = 100");
    row("fixed-100 parameter", true, 0, QByteArray::fromHex("32303EFC18"),
        "write sensing parameter, channel A, off_vmin = -10");
    row("no such parameter", true, 0, QByteArray::fromHex("3230380001"),
        "write sensing parameter, channel A, parameter 0x38 = 0x0001");
    row("audio value", true, 0, QByteArray::fromHex("363031320096"),
        "write audio setting, ch0sw1type2 = 1.5");
    row("oscillator", true, 0, "C11", "SDO oscillator, channel B, on");
    row("sensing off", true, 0, "D0", "sensing off");
    row("read sensing", true, 0, "5", "read sensing parameters");
    row("cut command", true, 0, "00", "write register, cut short: 2 of 4 bytes");
    row("a byte too many", true, 0, "8x", "read audio settings, 1 extra byte");
    row("unknown byte", true, 0, "9", "unknown command 0x39");
    row("register record", true, '4', QByteArray::fromHex("012466"),
        "channel B, DEADTIME (address 2), 0x466: DHS = 35, DLS = 6");
    row("record of no channel", true, '4', QByteArray::fromHex("053ABC"),
        "channel 5, address 3, 0xABC");
    row("sensing record", true, '5', QByteArray::fromHex("01330064"),
        "channel B, low_freq_feedback = 100");
    row("audio record", true, '8', QByteArray("ch0sw1type2\x00\x96", 13), "ch0sw1type2 = 1.5");
    row("firmware", true, '=', "2.3", "firmware identifier \"2.3\"");
    row("chip", true, 'H', QByteArray::fromHex("246A00"), "chip identifier 0x246A (revision C)");
    row("chip of one byte", true, 'H', QByteArray::fromHex("24"),
        "chip identifier 0x2400 (no known chip)");
    row("threshold", true, 'B', "123", "maximum threshold 123");
    row("short record", true, '5', QByteArray::fromHex("0133"), "incomplete record 01 33");
}

void TestKitDecoder::words()
{
    QFETCH(bool, named);
    QFETCH(char, reply);
    QFETCH(QByteArray, bytes);
    QFETCH(QString, words);

    const KitDecoder decoder = named ? KitDecoder(revC, sensingNameByCode) : KitDecoder();
    QCOMPARE(reply ? decoder.record(reply, bytes) : decoder.command(bytes), words);
}

void TestKitDecoder::recordsCutAcrossTheReply()
{
    const KitDecoder decoder;
    QByteArray rest;
    const QByteArray reply = QByteArray::fromHex("00300064013000");
    QCOMPARE(decoder.records('5', reply, &rest), QStringList{"channel A, parameter 0x30 = 0x0064"});
    QCOMPARE(rest, QByteArray::fromHex("013000"));
    QCOMPARE(decoder.records('5', reply).last(), QString("incomplete record 01 30 00"));
    QCOMPARE(decoder.records('=', "2.30"), QStringList{"firmware identifier \"2.30\""});
}

// The simulator's log and the program's kit log read one decoder; the lookups that
// name registers (the chip's table there, the session's store here) must agree too.
void TestKitDecoder::simulatorSpeaksAsTheProgram()
{
    SimulatedKit kit;
    const KitDecoder simulator = kit.decoder();
    QList<Register *> registers;
    for (const Register &reg : registers_rev_c)
        registers.append(new Register(reg));
    Channel a{&registers}, b{&registers};
    const QList<Channel *> kept = channels;
    channels = {&a, &b};
    const KitDecoder program(KitDecoder::registerStore(), sensingNameByCode);
    for (int channel = 0; channel < 2; ++channel) {
        for (int address = 0; address < 16; ++address) {
            const QByteArray write =
                "0" + QByteArray::number(channel) + intToBytes(quint16(address << 12 | 0x123));
            QCOMPARE(program.command(write), simulator.command(write));
            QVERIFY2(!program.command(write).contains("address " + QString::number(address) + ","),
                     qPrintable(program.command(write))); // named, not by its address alone
        }
    }
    const QByteArray replies =
        kit.withFirmware([](KitFirmware &f) { return f.feed("5").value(0).reply; });
    QCOMPARE(program.records('5', replies), simulator.records('5', replies));
    channels = kept;
    qDeleteAll(registers);
}

QTEST_GUILESS_MAIN(TestKitDecoder)
#include "tst_kitdecoder.moc"
