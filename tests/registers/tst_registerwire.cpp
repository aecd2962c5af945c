#include "app/constants.h"
#include "link/registerstore.h"
#include "link/serialcontroller.h"
#include "ptykitpeer.h"
#include "registers/registercontroller.h"
#include "registers/registermodel.h"
#include "registers/registerwidget.h"
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
        if (word.startsWith('+')) {
            delay = word.mid(1).toInt();
            continue;
        }
        pieces.append({QByteArray::fromHex(word.toLatin1()), delay});
        delay = 0;
    }
    return pieces;
}

} // namespace

// The register commands as the kit receives them, and read-backs as a real port
// delivers them: in pieces that need not end on a record.
class TestRegisterWire : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void writeRegister();
    void sendAllOnTheWire_data();
    void sendAllOnTheWire();
    void readBack_data();
    void readBack();

private:
    void start(int chipid);

    TestSettings settings;
    PtyKitPeer peer;
    std::unique_ptr<SerialController> serial;
    std::unique_ptr<RegisterController> controller;
};

void TestRegisterWire::initTestCase()
{
    qRegisterMetaType<ReadType>("ReadType");
    if (!peer.open())
        QSKIP("no pseudo-terminal available");
}

void TestRegisterWire::init()
{
    settings.reset();
    peer.setHandler(nullptr);
}

void TestRegisterWire::cleanup()
{
    controller.reset();
    serial.reset();
}

void TestRegisterWire::start(int chipid)
{
    QSettings().setValue(CHIPID_KEY, chipid);
    controller.reset();
    serial.reset(new SerialController(peer.enumerator()));
    QVERIFY(serial->isConnected());
    controller.reset(new RegisterController(serial.get()));
    peer.clearReceived();
}

void TestRegisterWire::writeRegister()
{
    start(CHIPID_REV_C);
    controller->sendRegister(1, 2, 0x466);
    QVERIFY(peer.waitForBytes(4, 1000));
    QCOMPARE(peer.receivedBytes(), QByteArray::fromHex("30312466"));
}

void TestRegisterWire::sendAllOnTheWire_data()
{
    QTest::addColumn<int>("chipid");
    QTest::addColumn<QString>("deadtime");
    QTest::newRow("B") << CHIPID_REV_B << "2466";
    QTest::newRow("C") << CHIPID_REV_C << "246A";
}

void TestRegisterWire::sendAllOnTheWire()
{
    QFETCH(int, chipid);
    QFETCH(QString, deadtime);
    start(chipid);
    RegisterWidget widget;
    connect(&widget, &RegisterWidget::sigSendRegister, controller.get(),
            &RegisterController::sendRegister);
    widget.setEnabled(true);
    widget.sendAll();

    QVERIFY(peer.waitForBytes(18 * 4, 2000));
    const QByteArray bytes = peer.receivedBytes();
    QCOMPARE(bytes.size(), 18 * 4);
    const QList<int> addresses = {0, 1, 2, 3, 4, 5, 6, 7, 14};
    for (int i = 0; i < 18; ++i) {
        const QByteArray command = bytes.mid(i * 4, 4);
        QCOMPARE(command.left(2), QByteArray(i < 9 ? "00" : "01"));
        QCOMPARE(quint8(command.at(2)) >> 4, addresses.at(i % 9));
    }
    QCOMPARE(bytes.mid(2 * 4 + 2, 2).toHex().toUpper(), deadtime.toLatin1());
    QCOMPARE(bytes.mid(11 * 4 + 2, 2).toHex().toUpper(), deadtime.toLatin1());
}

void TestRegisterWire::readBack_data()
{
    QTest::addColumn<int>("chipid");
    QTest::addColumn<QString>("reply");
    QTest::addColumn<int>("dls");
    QTest::addColumn<int>("trimOsc");
    QTest::newRow("whole records") << CHIPID_REV_B << "00246A 01E1F8" << 10 << 0x3F;
    QTest::newRow("split 2+1") << CHIPID_REV_B << "0024 +20 6A" << 10 << 0;
    QTest::newRow("split across records") << CHIPID_REV_B << "00246A01 +20 E1F8" << 10 << 0x3F;
    QTest::newRow("short tail") << CHIPID_REV_B << "00246A 01E1" << 10 << 0;
    QTest::newRow("address 13 on revision B") << CHIPID_REV_B << "00DFFF" << 6 << 0;
    QTest::newRow("no answer") << CHIPID_REV_C << "" << 10 << 0;
}

void TestRegisterWire::readBack()
{
    QFETCH(int, chipid);
    QFETCH(QString, reply);
    QFETCH(int, dls);
    QFETCH(int, trimOsc);
    start(chipid);
    peer.setHandler([reply](const QByteArray &chunk) {
        return chunk.contains('4') ? piecesOf(reply) : QList<PtyKitPeer::ReplyPiece>();
    });
    const QMap<QString, QVariant> before = [] {
        QMap<QString, QVariant> values;
        QSettings file;
        for (const QString &key : file.allKeys())
            values.insert(key, file.value(key));
        return values;
    }();

    controller->readRegisters();
    QCOMPARE(peer.receivedBytes(), QByteArray("4"));
    QCOMPARE(int(findRegister(0, 2)->fields.at(1).value), dls);
    QCOMPARE(int(findRegister(1, 14)->fields.at(2).value), trimOsc);

    QSettings file;
    QCOMPARE(file.value("channels/1/registers/3/fields/2/value").toInt(), dls);
    const int trimIndex = chipid == CHIPID_REV_B ? 14 : 15;
    QCOMPARE(
        file.value(QStringLiteral("channels/2/registers/%1/fields/3/value").arg(trimIndex)).toInt(),
        trimOsc);
    int changed = 0;
    for (const QString &key : file.allKeys()) {
        if (file.value(key).toString() != before.value(key).toString())
            ++changed;
    }
    QCOMPARE(changed, int(dls != 6 && chipid == CHIPID_REV_B) + int(trimOsc != 0));
}

QTEST_MAIN(TestRegisterWire)
#include "tst_registerwire.moc"
