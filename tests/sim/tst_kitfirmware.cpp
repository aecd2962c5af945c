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

// The records of a reply, cut at the record size of the command that asked for it.
QList<QByteArray> records(const QByteArray &read, const QByteArray &reply)
{
    const int size = read == "4" ? 3 : read == "5" ? 4 : read == "8" ? 13 : reply.size();
    QList<QByteArray> list;
    for (int i = 0; i < reply.size(); i += qMax(1, size))
        list.append(reply.mid(i, size));
    return list;
}

} // namespace

class TestKitFirmware : public QObject
{
    Q_OBJECT

private slots:
    void commandEffects_data();
    void commandEffects();
    void streamParsing_data();
    void streamParsing();
    void eepromFile();
    void damagedEepromFile_data();
    void damagedEepromFile();
};

void TestKitFirmware::commandEffects_data()
{
    QTest::addColumn<quint16>("chip");
    QTest::addColumn<QByteArray>("commands");
    QTest::addColumn<bool>("powerLoss");
    QTest::addColumn<QByteArray>("read");
    QTest::addColumn<QByteArray>("record"); // empty: no record may start like `absent`
    QTest::addColumn<QByteArray>("absent");

    const quint16 b = KitFirmware::ChipIdRevB;
    const quint16 c = KitFirmware::ChipIdRevC;
    const QByteArray kp1 = QByteArray("01\x30\xAB", 4);
    const QByteArray sensing = QByteArray("21!\xFC\x18", 5);
    const QByteArray audio = QByteArray("6101\x00\x05", 6);
    const auto row = [](const char *name) -> QTestData & { return QTest::newRow(name); };
    const QByteArray none;

    row("register write, channel 1")
        << c << kp1 << false << QByteArray("4") << QByteArray("\x01\x30\xAB", 3) << none;
    row("other channel untouched")
        << c << kp1 << false << QByteArray("4") << QByteArray("\x00\x30\x80", 3) << none;
    row("default DEADTIME, rev C")
        << c << none << false << QByteArray("4") << QByteArray("\x00\x24\x6A", 3) << none;
    row("default DEADTIME, rev B")
        << b << none << false << QByteArray("4") << QByteArray("\x00\x24\x66", 3) << none;
    row("rev B has no address 13") << b << QByteArray("00\xD1\x23") << false << QByteArray("4")
                                   << none << QByteArray("\x00\xD1", 2);
    row("DAC ignores writes") << c << QByteArray("00\x8F\xFF") << false << QByteArray("4")
                              << QByteArray("\x00\x80\x82", 3) << none;
    row("channel digit 2 ignored") << c << QByteArray("02\x3F\xFF") << false << QByteArray("4")
                                   << none << QByteArray("\x00\x3F", 2);
    row("status after power down") << c << QByteArray(">") << false << QByteArray("4")
                                   << QByteArray("\x00\xC0\x7F", 3) << none;
    row("status with output off") << c << QByteArray("F") << false << QByteArray("4")
                                  << QByteArray("\x00\xC4\x7F", 3) << none;
    row("sensing real, negative") << c << sensing << false << QByteArray("5")
                                  << QByteArray("\x01!\xFC\x18") << none;
    row("sensing word") << c << QByteArray("203\x00\xB4", 5) << false << QByteArray("5")
                        << QByteArray::fromHex("003300B4") << none;
    row("code 8 is no parameter") << c << QByteArray("208\x01\x02") << false << QByteArray("5")
                                  << none << QByteArray::fromHex("0038");
    row("audio value") << c << audio << false << QByteArray("8")
                       << QByteArray("ch1sw0type1\x00\x05", 13) << none;
    row("audio type 4 ignored") << c << QByteArray("6004\x01\x01") << false << QByteArray("8")
                                << none << QByteArray("ch0sw0type4");
    row("firmware id") << c << none << false << QByteArray("=") << QByteArray("2.3") << none;
    row("chip id B") << b << none << false << QByteArray("H") << QByteArray("\x24\x66") << none;
    row("press after start") << c << QByteArray("A") << false << QByteArray("B")
                             << QByteArray("130") << none;
    row("no measurement started") << c << none << false << QByteArray("B") << QByteArray("0")
                                  << none;
    row("saved register kept") << c << kp1 + "11" << true << QByteArray("4")
                               << QByteArray("\x01\x30\xAB", 3) << none;
    row("unsaved register lost") << c << kp1 + "10" << true << QByteArray("4")
                                 << QByteArray("\x01\x30\x80", 3) << none;
    row("saved sensing kept") << c << sensing + "31" << true << QByteArray("5")
                              << QByteArray("\x01!\xFC\x18") << none;
    row("unsaved sensing lost") << c << sensing + "30" + "11" << true << QByteArray("5")
                                << QByteArray("\x01!\x00\x00", 4) << none;
    row("saved audio kept") << c << audio + "7" << true << QByteArray("8")
                            << QByteArray("ch1sw0type1\x00\x05", 13) << none;
    row("unsaved audio lost") << c << audio + "31" << true << QByteArray("8")
                              << QByteArray("ch1sw0type1\x00\x00", 13) << none;
    row("output back on at power-up")
        << c << QByteArray("F") << true << QByteArray("4") << QByteArray("\x00\xC8\x7F", 3) << none;
}

void TestKitFirmware::commandEffects()
{
    QFETCH(quint16, chip);
    QFETCH(QByteArray, commands);
    QFETCH(bool, powerLoss);
    QFETCH(QByteArray, read);
    QFETCH(QByteArray, record);
    QFETCH(QByteArray, absent);

    KitFirmware firmware(chip);
    QVERIFY(replyTo(firmware, commands).isEmpty() || commands.contains('B'));
    if (powerLoss)
        firmware.powerCycle();
    const QList<QByteArray> reply = records(read, replyTo(firmware, read));
    if (!record.isEmpty())
        QVERIFY2(reply.contains(record), reply.join(' ').toHex(' ').constData());
    for (const QByteArray &each : reply)
        QVERIFY(absent.isEmpty() || !each.startsWith(absent));
}

void TestKitFirmware::streamParsing_data()
{
    QTest::addColumn<QList<QByteArray>>("pieces");
    QTest::addColumn<QList<QByteArray>>("commands");
    QTest::addColumn<int>("pending");

    using L = QList<QByteArray>;
    QTest::newRow("command in three pieces")
        << L{"0", "1\x30", "\xAB"} << L{QByteArray("01\x30\xAB")} << 0;
    QTest::newRow("three commands in one piece") << L{"=H4"} << L{"=", "H", "4"} << 0;
    QTest::newRow("unknown bytes dropped") << L{"xz=", "\x01H"} << L{"=", "H"} << 0;
    QTest::newRow("half a command waits") << L{"=", "21@"} << L{"="} << 3;
    QTest::newRow("argument bytes are no commands")
        << L{QByteArray("20<\x00\x3D", 5)} << L{QByteArray("20<\x00\x3D", 5)} << 0;
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

void TestKitFirmware::eepromFile()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("eeprom.json"));
    {
        KitFirmware firmware;
        QCOMPARE(firmware.attachEepromFile(path), QString());
        replyTo(firmware, QByteArray("00\x30\x12", 4) + "10" + QByteArray("21:\x01\x02") + "31");
    }
    KitFirmware firmware;
    QCOMPARE(firmware.attachEepromFile(path), QString());
    QCOMPARE(firmware.registerData(0, 3), quint16(0x012));
    QCOMPARE(firmware.sensingValue(1, ':'), quint16(0x0102));

    // Registers saved for another chip do not fit this one; the rest does.
    KitFirmware otherChip(KitFirmware::ChipIdRevB);
    QCOMPARE(otherChip.attachEepromFile(path), QString());
    QCOMPARE(otherChip.registerData(0, 3), quint16(0x080));
    QCOMPARE(otherChip.sensingValue(1, ':'), quint16(0x0102));
}

void TestKitFirmware::damagedEepromFile_data()
{
    QTest::addColumn<QByteArray>("content");

    QTest::newRow("not JSON") << QByteArray("\x01\x02garbage");
    QTest::newRow("audio missing") << QByteArray(R"({"chipid": 9322, "sensing": [[], []]})");
    QTest::newRow("value out of range")
        << QByteArray(R"({"sensing": [[0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0],
                                      [0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0]],
                          "audio": [0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,70000]})");
}

void TestKitFirmware::damagedEepromFile()
{
    QFETCH(QByteArray, content);

    QTemporaryDir dir;
    QFile file(dir.filePath(QStringLiteral("eeprom.json")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
    file.close();

    KitFirmware firmware;
    QVERIFY(!firmware.attachEepromFile(file.fileName()).isEmpty());
    QCOMPARE(firmware.sensingValue(0, '0'), quint16(75));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), content);
}

QTEST_GUILESS_MAIN(TestKitFirmware)
#include "tst_kitfirmware.moc"
