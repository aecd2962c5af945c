#include "kitfirmware.h"

#include <QTemporaryDir>
#include <QtTest>

namespace {

QByteArray replyTo(KitFirmware &firmware, const QByteArray &commands)
{
    QByteArray reply;
    for (const KitFirmware::Exchange &exchange : firmware.feed(commands))
        reply.append(exchange.reply);
    return reply;
}

// The data of a register as the "4" reply reports it, or -1 if no record names it.
int reportedRegister(KitFirmware &firmware, int channel, int address)
{
    const QByteArray reply = replyTo(firmware, "4");
    for (int i = 0; i + 3 <= reply.size(); i += 3) {
        if (reply.at(i) == channel && (quint8(reply.at(i + 1)) >> 4) == address)
            return ((quint8(reply.at(i + 1)) & 0x0F) << 8) | quint8(reply.at(i + 2));
    }
    return -1;
}

QByteArray sensingRecord(KitFirmware &firmware, int channel, char code)
{
    const QByteArray reply = replyTo(firmware, "5");
    for (int i = 0; i + 4 <= reply.size(); i += 4) {
        if (reply.at(i) == channel && reply.at(i + 1) == code)
            return reply.mid(i, 4);
    }
    return QByteArray();
}

QByteArray audioRecord(KitFirmware &firmware, const QByteArray &key)
{
    const QByteArray reply = replyTo(firmware, "8");
    for (int i = 0; i + 13 <= reply.size(); i += 13) {
        if (reply.mid(i, 11) == key)
            return reply.mid(i, 13);
    }
    return QByteArray();
}

} // namespace

class TestKitFirmware : public QObject
{
    Q_OBJECT

private slots:
    void registerWriteReadBack_data();
    void registerWriteReadBack();
    void registerReplyLayout_data();
    void registerReplyLayout();
    void sensingWriteReadBack_data();
    void sensingWriteReadBack();
    void audioWriteReadBack_data();
    void audioWriteReadBack();
    void identifiers_data();
    void identifiers();
    void forceMeasurement_data();
    void forceMeasurement();
    void kitStates_data();
    void kitStates();
    void streamParsing_data();
    void streamParsing();
    void eepromAcrossPowerLoss_data();
    void eepromAcrossPowerLoss();
    void eepromFileKeepsSavedValues();
    void damagedEepromFile_data();
    void damagedEepromFile();
};

void TestKitFirmware::registerWriteReadBack_data()
{
    QTest::addColumn<quint16>("chip");
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<int>("channel");
    QTest::addColumn<int>("address");
    QTest::addColumn<int>("expected");

    const quint16 b = KitFirmware::ChipIdRevB;
    const quint16 c = KitFirmware::ChipIdRevC;
    QTest::newRow("channel 1, address 3") << c << QByteArray("01\x30\xAB", 4) << 1 << 3 << 0x0AB;
    QTest::newRow("channel 0, address 2") << c << QByteArray("00\x24\x66") << 0 << 2 << 0x466;
    QTest::newRow("other channel untouched") << c << QByteArray("01\x30\xAB", 4) << 0 << 3 << 0x080;
    QTest::newRow("revision B has no address 13") << b << QByteArray("00\xD1\x23") << 0 << 13 << -1;
    QTest::newRow("DAC ignores writes") << c << QByteArray("00\x8F\xFF") << 0 << 8 << 0x082;
    QTest::newRow("channel digit 2 is ignored") << c << QByteArray("02\x3F\xFF") << 0 << 3 << 0x080;
}

void TestKitFirmware::registerWriteReadBack()
{
    QFETCH(quint16, chip);
    QFETCH(QByteArray, command);
    QFETCH(int, channel);
    QFETCH(int, address);
    QFETCH(int, expected);

    KitFirmware firmware(chip);
    QVERIFY(replyTo(firmware, command).isEmpty());
    QCOMPARE(reportedRegister(firmware, channel, address), expected);
}

void TestKitFirmware::registerReplyLayout_data()
{
    QTest::addColumn<quint16>("chip");
    QTest::addColumn<int>("records");
    QTest::addColumn<QByteArray>("deadtimeA");

    QTest::newRow("revision C") << KitFirmware::ChipIdRevC << 32 << QByteArray("\x00\x24\x6A", 3);
    QTest::newRow("revision B") << KitFirmware::ChipIdRevB << 30 << QByteArray("\x00\x24\x66", 3);
    QTest::newRow("unknown chip as C") << quint16(0x1234) << 32 << QByteArray("\x00\x24\x6A", 3);
}

void TestKitFirmware::registerReplyLayout()
{
    QFETCH(quint16, chip);
    QFETCH(int, records);
    QFETCH(QByteArray, deadtimeA);

    KitFirmware firmware(chip);
    const QByteArray reply = replyTo(firmware, "4");
    QCOMPARE(reply.size(), records * 3);
    QCOMPARE(reply.mid(2 * 3, 3), deadtimeA);
    QCOMPARE(int(reply.at(0)), 0);
    QCOMPARE(int(reply.at(reply.size() - 3)), 1);
}

void TestKitFirmware::sensingWriteReadBack_data()
{
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<int>("channel");
    QTest::addColumn<char>("code");
    QTest::addColumn<QByteArray>("record");

    QTest::newRow("negative real, channel 1")
        << QByteArray("21!\xFC\x18") << 1 << '!' << QByteArray("\x01!\xFC\x18");
    QTest::newRow("word 180, channel 0") << QByteArray("203\x00\xB4", 5) << 0 << '3'
                                         << QByteArray("\x00"
                                                       "3\x00\xB4",
                                                       4);
    QTest::newRow("letter code A") << QByteArray("20A\x01\x02") << 0 << 'A'
                                   << QByteArray("\x00"
                                                 "A\x01\x02",
                                                 4);
    QTest::newRow("code 8 is no parameter") << QByteArray("208\x01\x02") << 0 << '0'
                                            << QByteArray("\x00"
                                                          "0\x00\x4B",
                                                          4);
}

void TestKitFirmware::sensingWriteReadBack()
{
    QFETCH(QByteArray, command);
    QFETCH(int, channel);
    QFETCH(char, code);
    QFETCH(QByteArray, record);

    KitFirmware firmware;
    replyTo(firmware, command);
    QCOMPARE(sensingRecord(firmware, channel, code), record);
    QCOMPARE(replyTo(firmware, "5").size(), 2 * KitFirmware::SensingParameterCount * 4);
}

void TestKitFirmware::audioWriteReadBack_data()
{
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<QByteArray>("key");
    QTest::addColumn<QByteArray>("value");

    QTest::newRow("ch0 sw1 amplitude 95")
        << QByteArray("6010\x25\x1C") << QByteArray("ch0sw1type0") << QByteArray("\x25\x1C");
    QTest::newRow("ch1 sw0 offset -10")
        << QByteArray("6101\xFC\x18") << QByteArray("ch1sw0type1") << QByteArray("\xFC\x18");
    QTest::newRow("type 4 is ignored")
        << QByteArray("6004\x01\x01") << QByteArray("ch0sw0type0") << QByteArray("\x17\x70");
}

void TestKitFirmware::audioWriteReadBack()
{
    QFETCH(QByteArray, command);
    QFETCH(QByteArray, key);
    QFETCH(QByteArray, value);

    KitFirmware firmware;
    replyTo(firmware, command);
    QCOMPARE(audioRecord(firmware, key), key + value);
    QCOMPARE(replyTo(firmware, "8").size(), KitFirmware::AudioValueCount * 13);
}

void TestKitFirmware::identifiers_data()
{
    QTest::addColumn<quint16>("chip");
    QTest::addColumn<QByteArray>("firmwareId");
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<QByteArray>("reply");

    QTest::newRow("firmware 2.3") << KitFirmware::ChipIdRevC << QByteArray("2.3") << QByteArray("=")
                                  << QByteArray("2.3");
    QTest::newRow("firmware 2.30")
        << KitFirmware::ChipIdRevC << QByteArray("2.30") << QByteArray("=") << QByteArray("2.30");
    QTest::newRow("chip C") << KitFirmware::ChipIdRevC << QByteArray("2.3") << QByteArray("H")
                            << QByteArray("\x24\x6A");
    QTest::newRow("chip B") << KitFirmware::ChipIdRevB << QByteArray("2.3") << QByteArray("H")
                            << QByteArray("\x24\x66");
    QTest::newRow("unknown chip") << quint16(0x0100) << QByteArray("2.3") << QByteArray("H")
                                  << QByteArray("\x01\x00", 2);
}

void TestKitFirmware::identifiers()
{
    QFETCH(quint16, chip);
    QFETCH(QByteArray, firmwareId);
    QFETCH(QByteArray, command);
    QFETCH(QByteArray, reply);

    KitFirmware firmware(chip, firmwareId);
    QCOMPARE(replyTo(firmware, command), reply);
}

void TestKitFirmware::forceMeasurement_data()
{
    QTest::addColumn<int>("press");
    QTest::addColumn<QByteArray>("commands");
    QTest::addColumn<QByteArray>("reply");

    QTest::newRow("press 130") << 130 << QByteArray("AB") << QByteArray("130");
    QTest::newRow("one digit") << 1 << QByteArray("AB") << QByteArray("1");
    QTest::newRow("capped at three digits") << 1500 << QByteArray("AB") << QByteArray("999");
    QTest::newRow("negative press") << -5 << QByteArray("AB") << QByteArray("0");
    QTest::newRow("no measurement started") << 130 << QByteArray("B") << QByteArray("0");
    QTest::newRow("power loss clears it") << 130 << QByteArray("A") << QByteArray("0");
}

void TestKitFirmware::forceMeasurement()
{
    QFETCH(int, press);
    QFETCH(QByteArray, commands);
    QFETCH(QByteArray, reply);

    KitFirmware firmware;
    firmware.setPressValue(press);
    QByteArray answer = replyTo(firmware, commands);
    if (!commands.endsWith('B')) {
        firmware.powerCycle();
        answer = replyTo(firmware, "B");
    }
    QCOMPARE(answer, reply);
}

void TestKitFirmware::kitStates_data()
{
    QTest::addColumn<QByteArray>("commands");
    QTest::addColumn<bool>("powered");
    QTest::addColumn<bool>("output");
    QTest::addColumn<bool>("oscillatorB");
    QTest::addColumn<bool>("sensing");
    QTest::addColumn<int>("statusState");

    QTest::newRow("power-up") << QByteArray() << true << true << false << true << 2;
    QTest::newRow("power down") << QByteArray(">") << false << true << false << true << 0;
    QTest::newRow("power down and up") << QByteArray("><") << true << true << false << true << 2;
    QTest::newRow("output off") << QByteArray("F") << true << false << false << true << 1;
    QTest::newRow("output off and on") << QByteArray("FG") << true << true << false << true << 2;
    QTest::newRow("oscillator B") << QByteArray("C11") << true << true << true << true << 3;
    QTest::newRow("oscillator bad flag") << QByteArray("C12") << true << true << false << true << 2;
    QTest::newRow("sensing off") << QByteArray("D0") << true << true << false << false << 2;
    QTest::newRow("sensing bad flag") << QByteArray("D0D7") << true << true << false << false << 2;
}

void TestKitFirmware::kitStates()
{
    QFETCH(QByteArray, commands);
    QFETCH(bool, powered);
    QFETCH(bool, output);
    QFETCH(bool, oscillatorB);
    QFETCH(bool, sensing);
    QFETCH(int, statusState);

    KitFirmware firmware;
    replyTo(firmware, commands);
    QCOMPARE(firmware.isPowered(), powered);
    QCOMPARE(firmware.isOutputEnabled(), output);
    QCOMPARE(firmware.isOscillatorRunning(1), oscillatorB);
    QCOMPARE(firmware.isOscillatorRunning(0), false);
    QCOMPARE(firmware.isSensingActive(), sensing);
    QCOMPARE(reportedRegister(firmware, 0, 12) >> 10, statusState);
}

void TestKitFirmware::streamParsing_data()
{
    QTest::addColumn<QList<QByteArray>>("pieces");
    QTest::addColumn<QList<QByteArray>>("commands");
    QTest::addColumn<int>("pending");

    using L = QList<QByteArray>;
    QTest::newRow("one command") << L{"="} << L{"="} << 0;
    QTest::newRow("command in three pieces")
        << L{"0", "1\x30", "\xAB"} << L{QByteArray("01\x30\xAB")} << 0;
    QTest::newRow("three commands in one piece") << L{"=H4"} << L{"=", "H", "4"} << 0;
    QTest::newRow("unknown bytes dropped") << L{"xz=", "\x01H"} << L{"=", "H"} << 0;
    QTest::newRow("half a command waits") << L{"=", "21@"} << L{"="} << 3;
    QTest::newRow("argument bytes are not commands")
        << L{QByteArray("20<\x00\x3D", 5)} << L{QByteArray("20<\x00\x3D", 5)} << 0;
    QTest::newRow("D then C split") << L{"D", "1C", "01"} << L{"D1", "C01"} << 0;
}

void TestKitFirmware::streamParsing()
{
    QFETCH(QList<QByteArray>, pieces);
    QFETCH(QList<QByteArray>, commands);
    QFETCH(int, pending);

    KitFirmware firmware;
    QList<QByteArray> seen;
    for (const QByteArray &piece : pieces) {
        for (const KitFirmware::Exchange &exchange : firmware.feed(piece))
            seen.append(exchange.command);
    }
    QCOMPARE(seen, commands);
    QCOMPARE(firmware.pendingBytes(), pending);
}

void TestKitFirmware::eepromAcrossPowerLoss_data()
{
    QTest::addColumn<QByteArray>("commands");
    QTest::addColumn<char>("kind"); // r register, s sensing, a audio
    QTest::addColumn<int>("channel");
    QTest::addColumn<int>("key"); // address, parameter code or audio index
    QTest::addColumn<int>("expected");

    const QByteArray writeReg = QByteArray("01\x30\xAB", 4);
    const QByteArray writeSensing = QByteArray("214\x01\x23", 5);
    const QByteArray writeAudio = QByteArray("6103\x00\x01", 6);
    QTest::newRow("saved register kept") << writeReg + "11" << 'r' << 1 << 3 << 0x0AB;
    QTest::newRow("unsaved register lost") << writeReg << 'r' << 1 << 3 << 0x080;
    QTest::newRow("other channel saved") << writeReg + "10" << 'r' << 1 << 3 << 0x080;
    QTest::newRow("saved sensing kept") << writeSensing + "31" << 's' << 1 << int('4') << 0x123;
    QTest::newRow("unsaved sensing lost") << writeSensing + "11" << 's' << 1 << int('4') << 180;
    QTest::newRow("sensing saved on channel 0")
        << writeSensing + "30" << 's' << 1 << int('4') << 180;
    QTest::newRow("saved audio kept") << writeAudio + "7" << 'a' << 1 << 11 << 1;
    QTest::newRow("unsaved audio lost") << writeAudio + "31" << 'a' << 1 << 11 << 0xFC18;
}

void TestKitFirmware::eepromAcrossPowerLoss()
{
    QFETCH(QByteArray, commands);
    QFETCH(char, kind);
    QFETCH(int, channel);
    QFETCH(int, key);
    QFETCH(int, expected);

    KitFirmware firmware;
    replyTo(firmware, commands);
    firmware.powerCycle();
    int value = -1;
    if (kind == 'r')
        value = reportedRegister(firmware, channel, key);
    else if (kind == 's')
        value = firmware.sensingValue(channel, char(key));
    else
        value = firmware.audioValue(key / 8, key / 4 % 2, key % 4);
    QCOMPARE(value, expected);
}

void TestKitFirmware::eepromFileKeepsSavedValues()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("eeprom.json"));
    {
        KitFirmware firmware;
        QCOMPARE(firmware.attachEepromFile(path), QString());
        replyTo(firmware, QByteArray("00\x30\x12", 4) + "10" + QByteArray("21:\x01\x02") + "31" +
                              QByteArray("6000\x03\x04", 6) + "7");
        replyTo(firmware, QByteArray("00\x40\x34", 4));
    }
    KitFirmware firmware;
    QCOMPARE(firmware.attachEepromFile(path), QString());
    QCOMPARE(reportedRegister(firmware, 0, 3), 0x012);
    QCOMPARE(reportedRegister(firmware, 0, 4), 0x2A0);
    QCOMPARE(firmware.sensingValue(1, ':'), quint16(0x0102));
    QCOMPARE(firmware.audioValue(0, 0, 0), quint16(0x0304));

    KitFirmware otherChip(KitFirmware::ChipIdRevB);
    QCOMPARE(otherChip.attachEepromFile(path), QString());
    QCOMPARE(reportedRegister(otherChip, 0, 3), 0x080);
    QCOMPARE(otherChip.sensingValue(1, ':'), quint16(0x0102));
}

void TestKitFirmware::damagedEepromFile_data()
{
    QTest::addColumn<QByteArray>("content");

    QTest::newRow("not JSON") << QByteArray("\x01\x02garbage");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("audio missing") << QByteArray(R"({"chipid": 9322, "sensing": [[], []]})");
    QTest::newRow("sensing too short")
        << QByteArray(R"({"sensing": [[1,2,3], [1]], "audio": [0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0]})");
    QTest::newRow("value out of range")
        << QByteArray(R"({"sensing": [[0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0],
                                      [0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0]],
                          "audio": [0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,70000]})");
}

void TestKitFirmware::damagedEepromFile()
{
    QFETCH(QByteArray, content);

    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("eeprom.json"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
    file.close();

    KitFirmware firmware;
    QVERIFY(!firmware.attachEepromFile(path).isEmpty());
    QCOMPARE(firmware.sensingValue(0, '0'), quint16(75));
    QCOMPARE(firmware.audioValue(1, 1, 3), quint16(0xFC18));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), content);
}

QTEST_GUILESS_MAIN(TestKitFirmware)
#include "tst_kitfirmware.moc"
