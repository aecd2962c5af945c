#include "app/constants.h"
#include "link/registerstore.h"
#include "link/serialcontroller.h"
#include "registers/registercontroller.h"
#include "registers/registermodel.h"
#include "support/testsettings.h"

#include <QtTest>

#include <memory>

namespace {

PortEnumerator noPorts()
{
    return [] { return QList<PortCandidate>(); };
}

// The values of the whole store, keyed "channel:REGISTER:FIELD".
QMap<QString, int> storeValues()
{
    QMap<QString, int> values;
    for (int channel = 0; channel < channels.size(); ++channel) {
        for (const Register *reg : qAsConst(*channels.at(channel)->registers)) {
            for (const Field &field : reg->fields)
                values.insert(QStringLiteral("%1:%2:%3").arg(channel).arg(reg->name, field.name),
                              field.value);
        }
    }
    return values;
}

int registerCount(int channel)
{
    return channels.at(channel)->registers->size();
}

} // namespace

class TestRegisterController : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void seedsByChipId_data();
    void seedsByChipId();
    void settingsWinOverTables();
    void settingsTree();
    void updateSettingsKeepsEditableAndHidden();
    void commands_data();
    void commands();
    void readBack_data();
    void readBack();
    void newReadDropsStrayTail();
    void readRegistersWritesSettings();
    void identifiers_data();
    void identifiers();
    void malformedSettings_data();
    void malformedSettings();

private:
    void start();

    TestSettings settings;
    std::unique_ptr<SerialController> serial;
    std::unique_ptr<RegisterController> controller;
};

void TestRegisterController::initTestCase()
{
    qRegisterMetaType<ReadType>("ReadType");
}

void TestRegisterController::init()
{
    settings.reset();
}

void TestRegisterController::cleanup()
{
    controller.reset();
    serial.reset();
}

void TestRegisterController::start()
{
    controller.reset();
    serial.reset(new SerialController(noPorts()));
    controller.reset(new RegisterController(serial.get()));
}

void TestRegisterController::seedsByChipId_data()
{
    QTest::addColumn<QVariant>("chipid");
    QTest::addColumn<int>("count");
    QTest::newRow("B") << QVariant(CHIPID_REV_B) << 15;
    QTest::newRow("C") << QVariant(CHIPID_REV_C) << 16;
    QTest::newRow("zero") << QVariant(0) << 16;
    QTest::newRow("unknown letter") << QVariant(int('D')) << 16;
    QTest::newRow("B plus 256") << QVariant(CHIPID_REV_B + 256) << 16;
    QTest::newRow("negative") << QVariant(-190) << 16;
    QTest::newRow("text") << QVariant(QStringLiteral("B")) << 16;
    QTest::newRow("absent") << QVariant() << 16;
}

void TestRegisterController::seedsByChipId()
{
    QFETCH(QVariant, chipid);
    QFETCH(int, count);
    if (chipid.isValid())
        QSettings().setValue(CHIPID_KEY, chipid);
    start();
    QCOMPARE(registerCount(0), count);
    QCOMPARE(registerCount(1), count);
    QCOMPARE(QSettings().value("channels/2/registers/size").toInt(), count);
}

void TestRegisterController::settingsWinOverTables()
{
    QSettings().setValue(CHIPID_KEY, CHIPID_REV_B);
    start();
    {
        QSettings file;
        file.setValue(CHIPID_KEY, CHIPID_REV_C);
        file.setValue("channels/2/registers/3/fields/1/value", 99);
        file.setValue("channels/1/registers/1/name", "MINE");
    }
    start();
    QCOMPARE(registerCount(0), 15);
    QCOMPARE(channels.at(0)->registers->at(0)->name, QStringLiteral("MINE"));
    QCOMPARE(int(findRegister(1, 2)->fields.at(0).value), 99);
    QCOMPARE(int(findRegister(0, 2)->fields.at(0).value), 35);
}

void TestRegisterController::settingsTree()
{
    QSettings().setValue(CHIPID_KEY, CHIPID_REV_C);
    start();
    QSettings file;
    QCOMPARE(file.value("channels/size").toInt(), 2);
    QCOMPARE(file.value("channels/1/registers/1/fields/1/value").toInt(), 0);
    QCOMPARE(file.value("channels/1/registers/1/fields/1/name").toString(), QStringLiteral("FIFO"));
    QCOMPARE(file.value("channels/1/registers/3/name").toString(), QStringLiteral("DEADTIME"));
    QCOMPARE(file.value("channels/1/registers/3/fields/size").toInt(), 2);
    QCOMPARE(file.value("channels/2/registers/3/fields/2/value").toInt(), 10);
    QCOMPARE(file.value("channels/2/registers/3/fields/2/length").toInt(), 5);
    QCOMPARE(file.value("channels/2/registers/3/fields/2/max").toInt(), 31);
    QCOMPARE(file.value("channels/2/registers/14/address").toInt(), 13);
    QCOMPARE(file.value("channels/2/registers/14/editable").toBool(), false);
    QCOMPARE(file.value("channels/2/registers/10/hidden").toBool(), true);
    QCOMPARE(file.value("channels/1/registers/2/fields/3/description").toString(),
             QStringLiteral("Minimum current required to turn ON HS."));
}

void TestRegisterController::updateSettingsKeepsEditableAndHidden()
{
    start();
    {
        QSettings file;
        file.setValue("channels/1/registers/1/editable", false);
        file.setValue("channels/2/registers/10/hidden", false);
        file.remove("channels/1/registers/2/hidden");
    }
    start();
    findRegister(0, 0)->fields[0].value = 1234;
    findRegister(1, 9)->fields[0].value = 7;
    controller->updateSettings();

    QSettings file;
    QCOMPARE(file.value("channels/1/registers/1/editable").toBool(), false);
    QCOMPARE(file.value("channels/2/registers/10/hidden").toBool(), false);
    QVERIFY(!file.contains("channels/1/registers/2/hidden"));
    QCOMPARE(file.value("channels/1/registers/3/editable").toBool(), true);
    QCOMPARE(file.value("channels/1/registers/1/fields/1/value").toInt(), 1234);
    QCOMPARE(file.value("channels/2/registers/10/fields/1/value").toInt(), 7);
    QCOMPARE(file.value("channels/size").toInt(), 2);
}

void TestRegisterController::commands_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QList<QByteArray>>("bytes");
    QTest::addColumn<int>("readCount");
    QTest::addColumn<int>("readType");
    QTest::newRow("write channel 1 address 2")
        << "write 1 2 1126" << QList<QByteArray>{QByteArray("01\x24\x66", 4)} << 0 << 0;
    QTest::newRow("write channel 1 address 3")
        << "write 1 3 171" << QList<QByteArray>{QByteArray("01\x30\xAB", 4)} << 0 << 0;
    QTest::newRow("write channel 0 address 15 zero")
        << "write 0 15 0" << QList<QByteArray>{QByteArray("00\xF0\x00", 4)} << 0 << 0;
    QTest::newRow("save") << "save" << QList<QByteArray>{"10", "11"} << 0 << 0;
    QTest::newRow("read") << "read" << QList<QByteArray>{"4"} << 3 << int(ReadRegisters);
    QTest::newRow("power down") << "powerDown" << QList<QByteArray>{">"} << 0 << 0;
    QTest::newRow("power up") << "powerUp" << QList<QByteArray>{"<"} << 0 << 0;
    QTest::newRow("oscillator B on") << "sdo 1 1" << QList<QByteArray>{"C11"} << 0 << 0;
    QTest::newRow("oscillator A off") << "sdo 0 0" << QList<QByteArray>{"C00"} << 0 << 0;
    QTest::newRow("output off") << "output 0" << QList<QByteArray>{"F"} << 0 << 0;
    QTest::newRow("output on") << "output 1" << QList<QByteArray>{"G"} << 0 << 0;
}

void TestRegisterController::commands()
{
    QFETCH(QString, operation);
    QFETCH(QList<QByteArray>, bytes);
    QFETCH(int, readCount);
    QFETCH(int, readType);
    start();
    QSignalSpy spy(controller.get(), &SerialDispatcher::sigSendData);
    QVERIFY(spy.isValid());

    const QStringList words = operation.split(' ');
    const auto arg = [&words](int i) { return words.at(i).toInt(); };
    if (words.first() == "write")
        controller->sendRegister(arg(1), arg(2), arg(3));
    else if (words.first() == "save")
        controller->saveRegisters();
    else if (words.first() == "read")
        controller->readRegisters();
    else if (words.first() == "powerDown")
        controller->powerDown();
    else if (words.first() == "powerUp")
        controller->powerUp();
    else if (words.first() == "sdo")
        controller->sdoOscillator(arg(1), arg(2));
    else if (words.first() == "output")
        controller->setOutput(arg(1) != 0);

    QCOMPARE(spy.count(), bytes.size());
    for (int i = 0; i < bytes.size(); ++i) {
        const QList<QVariant> call = spy.at(i);
        QCOMPARE(call.at(0).toByteArray(), bytes.at(i));
        QCOMPARE(call.at(1).toInt(), bytes.at(i).size());
        QCOMPARE(call.at(2).toInt(), readCount);
        QCOMPARE(int(call.at(3).value<ReadType>()), readType);
    }
}

void TestRegisterController::readBack_data()
{
    QTest::addColumn<int>("chipid");
    QTest::addColumn<QList<QByteArray>>("pieces");
    QTest::addColumn<QStringList>("changes");
    const int b = CHIPID_REV_B;
    const int c = CHIPID_REV_C;
    using Pieces = QList<QByteArray>;
    QTest::newRow("DEADTIME channel A")
        << b << Pieces{QByteArray("\x00\x24\x6A", 3)} << QStringList{"0:DEADTIME:DLS=10"};
    QTest::newRow("split 2+1") << b << Pieces{QByteArray("\x00\x24", 2), QByteArray("\x6A", 1)}
                               << QStringList{"0:DEADTIME:DLS=10"};
    QTest::newRow("split 1+1+1") << b
                                 << Pieces{QByteArray("\x00", 1), QByteArray("\x24", 1),
                                           QByteArray("\x6A", 1)}
                                 << QStringList{"0:DEADTIME:DLS=10"};
    QTest::newRow("short record") << b << Pieces{QByteArray("\x00\x24", 2)} << QStringList{};
    QTest::newRow("short tail after a record")
        << b << Pieces{QByteArray("\x00\x24\x6A\x01", 4)} << QStringList{"0:DEADTIME:DLS=10"};
    QTest::newRow("address 13 on revision B")
        << b << Pieces{QByteArray("\x00\xD3\xFF", 3)} << QStringList{};
    QTest::newRow("address 13 on revision C")
        << c << Pieces{QByteArray("\x01\xDB\xFF", 3)}
        << QStringList{"1:SENSE:STATE=2", "1:SENSE:VFEEDBACK=1023"};
    QTest::newRow("channel byte 2") << c << Pieces{QByteArray("\x02\x24\x6A", 3)} << QStringList{};
    QTest::newRow("channel B KP") << c << Pieces{QByteArray("\x01\x3A\xBC", 3)}
                                  << QStringList{"1:KP:SQ=1", "1:KP:KP=700"};
    QTest::newRow("two records in one piece")
        << b << Pieces{QByteArray("\x00\x24\x6A\x01\x5F\xFF", 6)}
        << QStringList{"0:DEADTIME:DLS=10", "1:CONFIG:BC=31", "1:CONFIG:LOCK=1", "1:CONFIG:RST=1",
                       "1:CONFIG:OE=1",     "1:CONFIG:DS=1",  "1:CONFIG:PLAY=7"};
    QTest::newRow("read-only register")
        << c << Pieces{QByteArray("\x00\xC0\x3F", 3)}
        << QStringList{"0:IC_STATUS:EMPTY=0", "0:IC_STATUS:FIFO_SPACE=63"};
}

void TestRegisterController::readBack()
{
    QFETCH(int, chipid);
    QFETCH(QList<QByteArray>, pieces);
    QFETCH(QStringList, changes);
    QSettings().setValue(CHIPID_KEY, chipid);
    start();
    QMap<QString, int> expected = storeValues();
    for (const QString &change : changes) {
        const QStringList parts = change.split('=');
        QVERIFY2(expected.contains(parts.at(0)), qPrintable(change));
        expected.insert(parts.at(0), parts.at(1).toInt());
    }
    for (const QByteArray &piece : pieces)
        controller->Dispatch(piece, 3, ReadRegisters);
    QCOMPARE(storeValues(), expected);
}

void TestRegisterController::newReadDropsStrayTail()
{
    QSettings().setValue(CHIPID_KEY, CHIPID_REV_B);
    start();
    const QMap<QString, int> before = storeValues();
    controller->Dispatch(QByteArray("\x00", 1), 3, ReadRegisters);
    controller->readRegisters();
    controller->Dispatch(QByteArray("\x24\x6A\x00", 3), 3, ReadRegisters);
    QCOMPARE(storeValues(), before);
}

void TestRegisterController::readRegistersWritesSettings()
{
    start();
    findRegister(1, 14)->fields[2].value = 33;
    controller->readRegisters();
    QCOMPARE(QSettings().value("channels/2/registers/15/fields/3/value").toInt(), 33);
}

void TestRegisterController::identifiers_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<int>("type");
    QTest::addColumn<QVariant>("firmware");
    QTest::addColumn<QVariant>("chip");
    QTest::newRow("firmware") << QByteArray("2.3") << int(ReadFirmwareId) << QVariant("2.3")
                              << QVariant();
    QTest::newRow("firmware up to zero")
        << QByteArray("2\0x", 3) << int(ReadFirmwareId) << QVariant("2") << QVariant();
    QTest::newRow("firmware latin-1") << QByteArray("\xE9") << int(ReadFirmwareId)
                                      << QVariant(QString(QChar(0xE9))) << QVariant();
    QTest::newRow("chip as it came") << QByteArray("\x24\x6A\x00", 3) << int(ReadChipId)
                                     << QVariant() << QVariant(QByteArray("\x24\x6A\x00", 3));
    QTest::newRow("chip one byte")
        << QByteArray("\x24") << int(ReadChipId) << QVariant() << QVariant(QByteArray("\x24"));
    QTest::newRow("other type") << QByteArray("2.3") << int(ReadSensing) << QVariant()
                                << QVariant();
}

void TestRegisterController::identifiers()
{
    QFETCH(QByteArray, reply);
    QFETCH(int, type);
    QFETCH(QVariant, firmware);
    QFETCH(QVariant, chip);
    start();
    QSignalSpy firmwareSpy(controller.get(), &RegisterController::sigSetFirmwareId);
    QSignalSpy chipSpy(controller.get(), &RegisterController::sigSetChipId);
    QVERIFY(firmwareSpy.isValid());
    QVERIFY(chipSpy.isValid());
    const QMap<QString, int> before = storeValues();
    controller->Dispatch(reply, 3, ReadType(type));
    QCOMPARE(firmwareSpy.count(), firmware.isValid() ? 1 : 0);
    if (firmware.isValid())
        QCOMPARE(firmwareSpy.first().first().toString(), firmware.toString());
    QCOMPARE(chipSpy.count(), chip.isValid() ? 1 : 0);
    if (chip.isValid())
        QCOMPARE(chipSpy.first().first().toByteArray(), chip.toByteArray());
    QCOMPARE(storeValues(), before);
}

void TestRegisterController::malformedSettings_data()
{
    QTest::addColumn<QStringList>("edits");
    QTest::addColumn<int>("countA");
    QTest::addColumn<int>("countB");
    QTest::newRow("channel B without registers") << QStringList{"-channels/2"} << 16 << 0;
    QTest::newRow("one channel") << QStringList{"-channels/2", "channels/size=1"} << 16 << 0;
    QTest::newRow("register without keys")
        << QStringList{"-channels/1/registers/3", "channels/1/registers/3/x=1"} << 16 << 16;
    QTest::newRow("lengths beyond twelve")
        << QStringList{"channels/1/registers/3/fields/1/length=12",
                       "channels/2/registers/3/fields/2/length=40"}
        << 16 << 16;
    QTest::newRow("huge register count")
        << QStringList{"channels/2/registers/size=100000"} << 16 << 16;
    QTest::newRow("huge field count")
        << QStringList{"channels/1/registers/1/fields/size=100000"} << 16 << 16;
    QTest::newRow("values out of range")
        << QStringList{"channels/1/registers/3/fields/1/value=-4",
                       "channels/1/registers/3/fields/2/value=99999",
                       "channels/1/registers/3/address=77"}
        << 16 << 16;
    QTest::newRow("channel B shorter") << QStringList{"channels/2/registers/size=5"} << 16 << 5;
}

void TestRegisterController::malformedSettings()
{
    QFETCH(QStringList, edits);
    QFETCH(int, countA);
    QFETCH(int, countB);
    start();
    {
        QSettings file;
        for (const QString &edit : edits) {
            if (edit.startsWith('-')) {
                file.remove(edit.mid(1));
            } else {
                const QStringList parts = edit.split('=');
                file.setValue(parts.at(0), parts.at(1));
            }
        }
    }
    start();
    QCOMPARE(registerCount(0), countA);
    QCOMPARE(registerCount(1), countB);
    for (int channel = 0; channel < 2; ++channel) {
        for (const Register *reg : qAsConst(*channels.at(channel)->registers))
            QVERIFY(reg->fields.size() <= RegisterController::MaxFields);
    }

    // Every record a kit could send, then a write-back: nothing may go astray.
    for (int channel = 0; channel < 3; ++channel) {
        for (int address = 0; address < 16; ++address) {
            const char record[3] = {char(channel), char(address << 4 | 0xF), char(0xFF)};
            controller->Dispatch(QByteArray(record, 3), 3, ReadRegisters);
        }
    }
    controller->updateSettings();
    start();
    QCOMPARE(registerCount(0), countA);
    QCOMPARE(registerCount(1), countB);
}

QTEST_MAIN(TestRegisterController)
#include "tst_registercontroller.moc"
