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
    void simulatorSpeaksAsTheProgram();
};

void TestKitDecoder::words_data()
{
    QTest::addColumn<char>("reply"); // 0: bytes are a command, else a record of its reply
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("words");

    auto row = [](const char *name, char reply, const QByteArray &bytes, const char *words) {
        QTest::newRow(name) << reply << bytes << QString::fromUtf8(words);
    };
    row("register write", 0, QByteArray::fromHex("30302466"),
        "write register, channel A, DEADTIME (address 2), 0x466: DHS = 35, DLS = 6");
    row("count parameter", 0, QByteArray::fromHex("3231330064"),
        "write sensing parameter, channel B, low_freq_feedback = 100");
    row("fixed-100 parameter", 0, QByteArray::fromHex("32303EFC18"),
        "write sensing parameter, channel A, off_vmin = -10");
    row("no such parameter", 0, QByteArray::fromHex("3230380001"),
        "write sensing parameter, channel A, parameter 0x38 = 0x0001");
    row("audio value", 0, QByteArray::fromHex("363031320096"),
        "write audio setting, ch0sw1type2 = 1.5");
    row("sensing off", 0, "D0", "sensing off");
    row("cut command", 0, "00", "write register, cut short: 2 of 4 bytes");
    row("a byte too many", 0, "8x", "read audio settings, 1 extra byte");
    row("unknown byte", 0, "9", "unknown command 0x39");
    row("register record", '4', QByteArray::fromHex("012466"),
        "channel B, DEADTIME (address 2), 0x466: DHS = 35, DLS = 6");
    row("record of no channel", '4', QByteArray::fromHex("053ABC"), "channel 5, address 3, 0xABC");
    row("sensing record", '5', QByteArray::fromHex("01330064"),
        "channel B, low_freq_feedback = 100");
    row("audio record", '8', QByteArray("ch0sw1type2\x00\x96", 13), "ch0sw1type2 = 1.5");
    row("firmware", '=', "2.3", "firmware identifier \"2.3\"");
    row("chip", 'H', QByteArray::fromHex("246A00"), "chip identifier 0x246A (revision C)");
    row("chip of one byte", 'H', QByteArray::fromHex("24"),
        "chip identifier 0x2400 (no known chip)");
    row("threshold", 'B', "123", "maximum threshold 123");
    row("short record", '5', QByteArray::fromHex("0133"), "incomplete record 01 33");
}

void TestKitDecoder::words()
{
    QFETCH(char, reply);
    QFETCH(QByteArray, bytes);
    QFETCH(QString, words);

    const KitDecoder decoder(revC, sensingNameByCode);
    QCOMPARE(reply ? decoder.record(reply, bytes) : decoder.command(bytes), words);
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
