#include "link/kitdecoder.h"
#include "link/wire.h"
#include "registers/registermap.h"
#include "sensing/sensingparameters.h"
#include "simulatedkit.h"
#include "support/datarow.h"

#include <QtTest>

class TestKitDecoder : public QObject
{
    Q_OBJECT

private slots:
    void words_data()
    {
        // reply: 0 when the bytes are a command, else the command whose reply holds them
        columns<char, QByteArray, QString>({"reply", "bytes", "words"});
        const auto hex = [](const char *text) { return QByteArray::fromHex(text); };
        dataRow("register write", '\0', hex("30302466"),
                "write register, channel A, DEADTIME (address 2), 0x466: DHS = 35, DLS = 6");
        dataRow("count parameter", '\0', hex("3231330064"),
                "write sensing parameter, channel B, low_freq_feedback = 100");
        dataRow("fixed-100 parameter", '\0', hex("32303EFC18"),
                "write sensing parameter, channel A, off_vmin = -10");
        dataRow("no such parameter", '\0', hex("3230380001"),
                "write sensing parameter, channel A, parameter 0x38 = 0x0001");
        dataRow("audio value", '\0', hex("363031320096"), "write audio setting, ch0sw1type2 = 1.5");
        dataRow("sensing off", '\0', QByteArray("D0"), "sensing off");
        dataRow("cut command", '\0', QByteArray("00"), "write register, cut short: 2 of 4 bytes");
        dataRow("a byte too many", '\0', QByteArray("8x"), "read audio settings, 1 extra byte");
        dataRow("unknown byte", '\0', QByteArray("9"), "unknown command 0x39");
        dataRow("register record", '4', hex("012466"),
                "channel B, DEADTIME (address 2), 0x466: DHS = 35, DLS = 6");
        dataRow("record of no channel", '4', hex("053ABC"), "channel 5, address 3, 0xABC");
        dataRow("sensing record", '5', hex("01330064"), "channel B, low_freq_feedback = 100");
        dataRow("audio record", '8', QByteArray("ch0sw1type2\x00\x96", 13), "ch0sw1type2 = 1.5");
        dataRow("firmware", '=', QByteArray("2.3"), "firmware identifier \"2.3\"");
        dataRow("chip", 'H', hex("246A00"), "chip identifier 0x246A (revision C)");
        dataRow("chip of one byte", 'H', hex("24"), "chip identifier 0x2400 (no known chip)");
        dataRow("threshold", 'B', QByteArray("123"), "maximum threshold 123");
        dataRow("short record", '5', hex("0133"), "incomplete record 01 33");
    }

    void words()
    {
        const auto [reply, bytes, words] =
            fetchRow<char, QByteArray, QString>("reply", "bytes", "words");
        // Register names from the revision C table, as the simulator reads them.
        const KitDecoder decoder(
            [](int channel, int address) -> const Register * {
                for (const Register &reg : registers_rev_c)
                    if (channel >= 0 && channel <= 1 && int(reg.address) == address)
                        return &reg;
                return nullptr;
            },
            sensingNameByCode);
        QCOMPARE(reply ? decoder.record(reply, bytes) : decoder.command(bytes), words);
    }

    // The simulator's log and the program's kit log read one decoder; the lookups that
    // name registers (the chip's table there, the session's store here) must agree too.
    void simulatorSpeaksAsTheProgram()
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
                QVERIFY2(
                    !program.command(write).contains(QStringLiteral("address %1,").arg(address)),
                    qPrintable(program.command(write))); // named, not by its address alone
            }
        }
        const QByteArray replies =
            kit.withFirmware([](KitFirmware &f) { return f.feed("5").value(0).reply; });
        QCOMPARE(program.records('5', replies), simulator.records('5', replies));
        channels = kept;
        qDeleteAll(registers);
    }
};

QTEST_GUILESS_MAIN(TestKitDecoder)
#include "tst_kitdecoder.moc"
