#include "kitfirmware.h"

#include <QTemporaryDir>
#include <QtTest>

namespace {

// Feeds the bytes one at a time, so that every command has to be put together from
// pieces, and returns all that the kit sent back.
QByteArray replyTo(KitFirmware &firmware, const QByteArray &bytes)
{
    QByteArray reply;
    for (const char byte : bytes) {
        for (const KitFirmware::Exchange &exchange : firmware.feed(QByteArray(1, byte)))
            reply.append(exchange.reply);
    }
    return reply;
}

QByteArray operator""_b(const char *text, size_t size)
{
    return QByteArray(text, int(size));
}

void row(const char *name, quint16 chip, const QByteArray &commands, const char *then,
         const char *read, const QByteArray &record, const QByteArray &absent = {})
{
    QTest::newRow(name) << chip << commands << QString(then) << QByteArray(read) << record
                        << absent;
}

} // namespace

class TestKitFirmware : public QObject
{
    Q_OBJECT

private slots:
    void commandEffects_data();
    void commandEffects();
};

// Each row writes, then reads on the same kit, on it after a power loss ("off") or on a
// new kit of the row's chip from the EEPROM file a rev C kit kept ("file"). The reply,
// cut into the read command's records, must hold `record` (if given) and no record
// starting with `absent`.
void TestKitFirmware::commandEffects_data()
{
    QTest::addColumn<quint16>("chip");
    QTest::addColumn<QByteArray>("commands");
    QTest::addColumn<QString>("then");
    QTest::addColumn<QByteArray>("read");
    QTest::addColumn<QByteArray>("record");
    QTest::addColumn<QByteArray>("absent");

    const quint16 b = KitFirmware::ChipIdRevB;
    const quint16 c = KitFirmware::ChipIdRevC;
    const QByteArray kp1 = "01\x30\xAB"_b;
    const QByteArray sensing = "21!\xFC\x18"_b;
    const QByteArray audio = "6101\x00\x05"_b;
    const QByteArray none;

    row("register write", c, kp1, "", "4", "\x01\x30\xAB"_b);
    row("other channel untouched", c, kp1, "", "4", "\x00\x30\x80"_b);
    row("unknown bytes dropped", c, "xz" + kp1, "", "4", "\x01\x30\xAB"_b);
    row("default DEADTIME, rev B", b, none, "", "4", "\x00\x24\x66"_b);
    row("rev B has no address 13", b, "00\xD1\x23", "", "4", none, "\x00\xD1"_b);
    row("DAC ignores writes", c, "00\x8F\xFF", "", "4", "\x00\x80\x82"_b);
    row("status after power down", c, ">", "", "4", "\x00\xC0\x7F"_b);
    row("status with output off", c, "F", "", "4", "\x00\xC4\x7F"_b);
    row("sensing real, negative", c, sensing, "", "5", "\x01!\xFC\x18");
    // The argument byte '=' is no command of its own: it would be answered.
    row("sensing word", c, "203\x00="_b, "", "5", "\x00\x33\x00="_b);
    row("audio value", c, audio, "", "8", "ch1sw0type1\x00\x05"_b);
    row("audio type 4 ignored", c, "6004\x01\x01"_b, "", "8", none, "ch0sw0type4");
    row("firmware id", c, none, "", "=", "2.3");
    row("chip id B", b, none, "", "H", "\x24\x66");
    row("press after start", c, "A", "", "B", "130");
    row("no measurement started", c, none, "", "B", "0");
    row("saved register kept", c, kp1 + "11", "off", "4", "\x01\x30\xAB"_b);
    row("unsaved register lost", c, kp1 + "10", "off", "4", "\x01\x30\x80"_b);
    row("saved sensing kept", c, sensing + "31", "off", "5", "\x01!\xFC\x18");
    row("other area saved", c, sensing + "30" + "11", "off", "5", "\x01!\x00\x00"_b);
    row("saved audio kept", c, audio + "7", "off", "8", "ch1sw0type1\x00\x05"_b);
    row("saved register in the file", c, kp1 + "11", "file", "4", "\x01\x30\xAB"_b);
    row("unsaved audio not in the file", c, audio + "31", "file", "8", "ch1sw0type1\x00\x00"_b);
    row("file: no registers of another chip", b, kp1 + "11", "file", "4", "\x01\x30\x80"_b);
    row("file: sensing fits any chip", b, sensing + "31", "file", "5", "\x01!\xFC\x18");
    row("output back on at power-up", c, "F", "off", "4", "\x00\xC8\x7F"_b);
}

void TestKitFirmware::commandEffects()
{
    QFETCH(quint16, chip);
    QFETCH(QByteArray, commands);
    QFETCH(QString, then);
    QFETCH(QByteArray, read);
    QFETCH(QByteArray, record);
    QFETCH(QByteArray, absent);

    QTemporaryDir dir;
    const QString file = dir.filePath(QStringLiteral("eeprom.json"));
    KitFirmware firmware(then == "file" ? KitFirmware::ChipIdRevC : chip), fromFile(chip);
    QCOMPARE(firmware.attachEepromFile(file), QString());
    QVERIFY(replyTo(firmware, commands).isEmpty()); // writes are not answered
    if (then == "off")
        firmware.powerCycle();
    QCOMPARE(fromFile.attachEepromFile(file), QString());
    const QByteArray reply = replyTo(then == "file" ? fromFile : firmware, read);
    const int size = read == "4" ? 3 : read == "5" ? 4 : read == "8" ? 13 : reply.size();
    QList<QByteArray> records;
    for (int i = 0; i < reply.size(); i += size)
        records.append(reply.mid(i, size));
    QCOMPARE(reply.size() % qMax(size, 1), 0);
    if (!record.isEmpty())
        QVERIFY2(records.contains(record), reply.toHex(' ').constData());
    for (const QByteArray &each : qAsConst(records))
        QVERIFY(absent.isEmpty() || !each.startsWith(absent));
}

QTEST_GUILESS_MAIN(TestKitFirmware)
#include "tst_kitfirmware.moc"
