#include "app/constants.h"
#include "link/registerstore.h"
#include "link/serialcontroller.h"
#include "ptykitpeer.h"
#include "registers/registercontroller.h"
#include "registers/registermodel.h"
#include "support/testsettings.h"

#include <QtTest>

#include <memory>

namespace {

// Reply pieces as hex, blank-separated; "+N" before a piece delays it by N ms.
QList<PtyKitPeer::ReplyPiece> piecesOf(const QString &text)
{
    QList<PtyKitPeer::ReplyPiece> pieces;
    int delay = 0;
    for (const QString &word : text.split(' ', Qt::SkipEmptyParts)) {
        if (word.startsWith('+'))
            delay = word.mid(1).toInt();
        else
            pieces.append({QByteArray::fromHex(word.toLatin1()), std::exchange(delay, 0)});
    }
    return pieces;
}

QMap<QString, QString> fileContents()
{
    QMap<QString, QString> values;
    QSettings file;
    for (const QString &key : file.allKeys())
        values.insert(key, file.value(key).toString());
    return values;
}

int registerCount(int channel)
{
    return channels.at(channel)->registers->size();
}

} // namespace

// The register commands as the kit receives them, and read-backs as a real port
// delivers them: in pieces that need not end on a record.
class TestRegisterController : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init() { settings.reset(); }
    void cleanup();

    void seedsByChipId_data();
    void seedsByChipId();
    void settingsWinAndKeepTheirFlags();
    void commands_data();
    void commands();
    void readBack_data();
    void readBack();
    void identifiers();
    void malformedSettings_data();
    void malformedSettings();

private:
    void start(const QVariant &chipid = CHIPID_REV_C, const QStringList &edits = {});

    TestSettings settings;
    PtyKitPeer peer;
    std::unique_ptr<SerialController> serial;
    std::unique_ptr<RegisterController> controller;
};

void TestRegisterController::initTestCase()
{
    qRegisterMetaType<ReadType>("ReadType");
    QVERIFY(peer.open());
}

void TestRegisterController::cleanup()
{
    controller.reset();
    serial.reset();
    peer.setHandler(nullptr);
}

// Starts a pass on the given settings; edits ("key=value", or "-key" to remove)
// change the file after a first seeding, as a hand would.
void TestRegisterController::start(const QVariant &chipid, const QStringList &edits)
{
    if (chipid.isValid())
        QSettings().setValue(CHIPID_KEY, chipid);
    for (int pass = edits.isEmpty() ? 1 : 0; pass < 2; ++pass) {
        controller.reset();
        serial.reset(new SerialController(peer.enumerator()));
        controller.reset(new RegisterController(serial.get()));
        QSettings file;
        for (const QString &edit : edits) {
            if (pass > 0)
                break;
            if (edit.startsWith('-'))
                file.remove(edit.mid(1));
            else
                file.setValue(edit.section('=', 0, 0), edit.section('=', 1));
        }
    }
    QVERIFY(serial->isConnected());
    peer.clearReceived();
}

void TestRegisterController::seedsByChipId_data()
{
    QTest::addColumn<QVariant>("chipid");
    QTest::addColumn<int>("count");
    QTest::newRow("B") << QVariant(CHIPID_REV_B) << 15;
    QTest::newRow("C") << QVariant(CHIPID_REV_C) << 16;
    QTest::newRow("zero") << QVariant(0) << 16;
    QTest::newRow("B plus 256") << QVariant(CHIPID_REV_B + 256) << 16;
    QTest::newRow("absent") << QVariant() << 16;
}

void TestRegisterController::seedsByChipId()
{
    QFETCH(QVariant, chipid);
    QFETCH(int, count);
    start(chipid);
    QCOMPARE(registerCount(0), count);
    QCOMPARE(registerCount(1), count);
    QSettings file;
    QCOMPARE(file.value("channels/size").toInt(), 2);
    QCOMPARE(file.value("channels/2/registers/size").toInt(), count);
    QCOMPARE(file.value("channels/1/registers/1/fields/1/name").toString(), QStringLiteral("FIFO"));
    QCOMPARE(file.value("channels/2/registers/3/fields/2/value").toInt(), count == 15 ? 6 : 10);
}

void TestRegisterController::settingsWinAndKeepTheirFlags()
{
    start(CHIPID_REV_B,
          {"chipid=67", "channels/2/registers/3/fields/1/value=99",
           "channels/1/registers/1/editable=false", "-channels/1/registers/2/hidden"});
    QCOMPARE(registerCount(0), 15);
    QCOMPARE(int(findRegister(1, 2)->fields.at(0).value), 99);
    QCOMPARE(int(findRegister(0, 2)->fields.at(0).value), 35);
    QVERIFY(!findRegister(0, 0)->editable);

    findRegister(1, 9)->fields[0].value = 7;
    controller->updateSettings();
    QSettings file;
    QCOMPARE(file.value("channels/2/registers/10/fields/1/value").toInt(), 7);
    QCOMPARE(file.value("channels/1/registers/1/editable").toBool(), false);
    QVERIFY(!file.contains("channels/1/registers/2/hidden"));
}

void TestRegisterController::commands_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("write B 2") << "write 1 2 1126" << QByteArray::fromHex("30312466");
    QTest::newRow("write B 3") << "write 1 3 171" << QByteArray::fromHex("303130AB");
    QTest::newRow("write A 15") << "write 0 15 0" << QByteArray::fromHex("3030F000");
    QTest::newRow("save") << "save" << QByteArray("1011");
    QTest::newRow("power down") << "powerDown" << QByteArray(">");
    QTest::newRow("power up") << "powerUp" << QByteArray("<");
    QTest::newRow("oscillator B on") << "sdo 1 1" << QByteArray("C11");
    QTest::newRow("oscillator A off") << "sdo 0 0" << QByteArray("C00");
    QTest::newRow("output off") << "output 0" << QByteArray("F");
    QTest::newRow("output on") << "output 1" << QByteArray("G");
}

void TestRegisterController::commands()
{
    QFETCH(QString, operation);
    QFETCH(QByteArray, bytes);
    start();
    const QStringList words = operation.split(' ');
    const auto arg = [&words](int i) { return words.at(i).toInt(); };
    if (words.first() == "write")
        controller->sendRegister(arg(1), arg(2), arg(3));
    else if (words.first() == "save")
        controller->saveRegisters();
    else if (words.first() == "powerDown")
        controller->powerDown();
    else if (words.first() == "powerUp")
        controller->powerUp();
    else if (words.first() == "sdo")
        controller->sdoOscillator(arg(1), arg(2));
    else
        controller->setOutput(arg(1) != 0);
    QVERIFY(peer.waitForBytes(bytes.size(), 1000));
    QCOMPARE(peer.receivedBytes(), bytes);
}

void TestRegisterController::readBack_data()
{
    QTest::addColumn<int>("chipid");
    QTest::addColumn<QString>("reply");
    QTest::addColumn<QStringList>("changes"); // settings keys and their new values
    const QString dls = "channels/1/registers/3/fields/2/value=10";
    QTest::newRow("DEADTIME") << CHIPID_REV_B << "00246A" << QStringList{dls};
    QTest::newRow("split 2+1") << CHIPID_REV_B << "0024 +20 6A" << QStringList{dls};
    QTest::newRow("split across records")
        << CHIPID_REV_B << "00246A01 +20 E1F8"
        << QStringList{dls, "channels/2/registers/14/fields/3/value=63"};
    QTest::newRow("short tail") << CHIPID_REV_B << "00246A 01E1" << QStringList{dls};
    QTest::newRow("short record") << CHIPID_REV_B << "0024" << QStringList{};
    QTest::newRow("address 13 on revision B") << CHIPID_REV_B << "00DFFF" << QStringList{};
    QTest::newRow("address 13 on revision C")
        << CHIPID_REV_C << "01DBFF"
        << QStringList{"channels/2/registers/14/fields/1/value=2",
                       "channels/2/registers/14/fields/2/value=1023"};
    QTest::newRow("channel byte 2") << CHIPID_REV_C << "02246A" << QStringList{};
    QTest::newRow("read-only register") << CHIPID_REV_C << "00C03F"
                                        << QStringList{"channels/1/registers/13/fields/5/value=0",
                                                       "channels/1/registers/13/fields/6/value=63"};
    QTest::newRow("no answer") << CHIPID_REV_C << "" << QStringList{};
}

void TestRegisterController::readBack()
{
    QFETCH(int, chipid);
    QFETCH(QString, reply);
    QFETCH(QStringList, changes);
    start(chipid);
    peer.setHandler([reply](const QByteArray &chunk) {
        return chunk == "4" ? piecesOf(reply) : QList<PtyKitPeer::ReplyPiece>();
    });
    QMap<QString, QString> expected = fileContents();
    for (const QString &change : changes)
        expected.insert(change.section('=', 0, 0), change.section('=', 1));

    controller->readRegisters();
    QCOMPARE(peer.receivedBytes(), QByteArray("4"));
    QCOMPARE(fileContents(), expected);
    // The store and the file agree after a fresh load.
    start(QVariant());
    QCOMPARE(fileContents(), expected);
}

void TestRegisterController::identifiers()
{
    start();
    QSignalSpy firmware(controller.get(), &RegisterController::sigSetFirmwareId);
    QSignalSpy chip(controller.get(), &RegisterController::sigSetChipId);
    QVERIFY(firmware.isValid());
    QVERIFY(chip.isValid());
    controller->Dispatch(QByteArray("2.3"), 3, ReadFirmwareId);
    controller->Dispatch(QByteArray("\xE9\0x", 3), 3, ReadFirmwareId);
    controller->Dispatch(QByteArray("\x24\x6A\0", 3), 3, ReadChipId);
    controller->Dispatch(QByteArray("2.3"), 3, ReadSensing);
    QCOMPARE(firmware.count(), 2);
    QCOMPARE(firmware.at(0).at(0).toString(), QStringLiteral("2.3"));
    QCOMPARE(firmware.at(1).at(0).toString(), QString(QChar(0xE9)));
    QCOMPARE(chip.count(), 1);
    QCOMPARE(chip.at(0).at(0).toByteArray(), QByteArray("\x24\x6A\0", 3));
}

void TestRegisterController::malformedSettings_data()
{
    QTest::addColumn<QStringList>("edits");
    QTest::addColumn<int>("countB");
    QTest::newRow("channel B without registers") << QStringList{"-channels/2"} << 0;
    QTest::newRow("one channel") << QStringList{"-channels/2", "channels/size=1"} << 0;
    QTest::newRow("register without keys")
        << QStringList{"-channels/2/registers/3", "channels/2/registers/3/x=1"} << 16;
    QTest::newRow("lengths beyond twelve")
        << QStringList{"channels/2/registers/3/fields/1/length=12",
                       "channels/2/registers/4/fields/2/length=40"}
        << 16;
    QTest::newRow("huge counts") << QStringList{"channels/2/registers/size=100000",
                                                "channels/2/registers/1/fields/size=100000"}
                                 << 16;
    QTest::newRow("numbers out of range")
        << QStringList{"channels/2/registers/3/fields/1/value=-4",
                       "channels/2/registers/3/fields/2/value=99999",
                       "channels/2/registers/3/address=77"}
        << 16;
    QTest::newRow("channel B shorter") << QStringList{"channels/2/registers/size=5"} << 5;
}

void TestRegisterController::malformedSettings()
{
    QFETCH(QStringList, edits);
    QFETCH(int, countB);
    start(CHIPID_REV_C, edits);
    QCOMPARE(registerCount(0), 16);
    QCOMPARE(registerCount(1), countB);
    for (const Register *reg : qAsConst(*channels.at(1)->registers))
        QVERIFY(reg->fields.size() <= RegisterController::MaxFields);

    // Every record a kit could send, then a write-back: nothing may go astray.
    for (int channel = 0; channel < 3; ++channel) {
        for (int address = 0; address < 16; ++address) {
            const char record[3] = {char(channel), char(address << 4 | 0xF), char(0xFF)};
            controller->Dispatch(QByteArray(record, 3), 3, ReadRegisters);
        }
    }
    controller->updateSettings();
    start(QVariant());
    QCOMPARE(registerCount(0), 16);
    QCOMPARE(registerCount(1), countB);
}

QTEST_MAIN(TestRegisterController)
#include "tst_registercontroller.moc"
