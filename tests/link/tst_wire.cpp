#include "link/wire.h"

#include <QtTest>

#include <limits>

class TestWire : public QObject
{
    Q_OBJECT

private slots:
    void floatToBytes_data();
    void floatToBytes();
    void bytesToFloat_data();
    void bytesToFloat();
    void intToBytes_data();
    void intToBytes();
    void bytesToInt_data();
    void bytesToInt();
    void everyFixedValueSurvivesARoundTrip();
};

void TestWire::floatToBytes_data()
{
    QTest::addColumn<float>("value");
    QTest::addColumn<QByteArray>("bytes");

    QTest::newRow("-1.5") << -1.5f << QByteArray::fromHex("FF6A");
    QTest::newRow("0.125 rounds half away from zero") << 0.125f << QByteArray::fromHex("000D");
    QTest::newRow("-0.125 rounds half away from zero") << -0.125f << QByteArray::fromHex("FFF3");
    QTest::newRow("0.75") << 0.75f << QByteArray::fromHex("004B");
    QTest::newRow("1.0") << 1.0f << QByteArray::fromHex("0064");
    QTest::newRow("-10.0") << -10.0f << QByteArray::fromHex("FC18");
    QTest::newRow("95.0") << 95.0f << QByteArray::fromHex("251C");
    QTest::newRow("-95.0") << -95.0f << QByteArray::fromHex("DAE4");
    QTest::newRow("0.005") << 0.005f << QByteArray::fromHex("0001");
    QTest::newRow("-0.005") << -0.005f << QByteArray::fromHex("FFFF");
    QTest::newRow("0.004 rounds to zero") << 0.004f << QByteArray::fromHex("0000");
    QTest::newRow("zero") << 0.0f << QByteArray::fromHex("0000");
    QTest::newRow("largest") << 327.67f << QByteArray::fromHex("7FFF");
    QTest::newRow("smallest") << -327.68f << QByteArray::fromHex("8000");
    QTest::newRow("above the range clamps") << 327.7f << QByteArray::fromHex("7FFF");
    QTest::newRow("far above the range clamps") << 1000.0f << QByteArray::fromHex("7FFF");
    QTest::newRow("below the range clamps") << -327.7f << QByteArray::fromHex("8000");
    QTest::newRow("far below the range clamps") << -1e9f << QByteArray::fromHex("8000");
    QTest::newRow("infinity clamps")
        << std::numeric_limits<float>::infinity() << QByteArray::fromHex("7FFF");
    QTest::newRow("not a number is zero")
        << std::numeric_limits<float>::quiet_NaN() << QByteArray::fromHex("0000");
}

void TestWire::floatToBytes()
{
    QFETCH(float, value);
    QFETCH(QByteArray, bytes);
    QCOMPARE(::floatToBytes(value).toHex(), bytes.toHex());
}

void TestWire::bytesToFloat_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<float>("value");

    QTest::newRow("00 96") << QByteArray::fromHex("0096") << 1.5f;
    QTest::newRow("FF 6A") << QByteArray::fromHex("FF6A") << -1.5f;
    QTest::newRow("FF FF") << QByteArray::fromHex("FFFF") << -0.01f;
    QTest::newRow("7F FF") << QByteArray::fromHex("7FFF") << 327.67f;
    QTest::newRow("80 00") << QByteArray::fromHex("8000") << -327.68f;
    QTest::newRow("empty") << QByteArray() << 0.0f;
    QTest::newRow("one byte is the high byte") << QByteArray::fromHex("FF") << -2.56f;
    QTest::newRow("third byte ignored") << QByteArray::fromHex("251C7F") << 95.0f;
}

void TestWire::bytesToFloat()
{
    QFETCH(QByteArray, bytes);
    QFETCH(float, value);
    QCOMPARE(::bytesToFloat(bytes), value);
}

void TestWire::intToBytes_data()
{
    QTest::addColumn<quint16>("value");
    QTest::addColumn<QByteArray>("bytes");

    QTest::newRow("180") << quint16(180) << QByteArray::fromHex("00B4");
    QTest::newRow("register word") << quint16(0x30AB) << QByteArray::fromHex("30AB");
    QTest::newRow("zero") << quint16(0) << QByteArray::fromHex("0000");
    QTest::newRow("largest") << quint16(0xFFFF) << QByteArray::fromHex("FFFF");
}

void TestWire::intToBytes()
{
    QFETCH(quint16, value);
    QFETCH(QByteArray, bytes);
    QCOMPARE(::intToBytes(value).toHex(), bytes.toHex());
}

void TestWire::bytesToInt_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<quint16>("value");

    QTest::newRow("empty") << QByteArray() << quint16(0);
    QTest::newRow("one byte 0x24") << QByteArray::fromHex("24") << quint16(0x2400);
    QTest::newRow("two bytes") << QByteArray::fromHex("246A") << quint16(0x246A);
    QTest::newRow("three bytes") << QByteArray::fromHex("246601") << quint16(0x2466);
    QTest::newRow("high bit set") << QByteArray::fromHex("FF80") << quint16(0xFF80);
}

void TestWire::bytesToInt()
{
    QFETCH(QByteArray, bytes);
    QFETCH(quint16, value);
    QCOMPARE(::bytesToInt(bytes), value);
}

// Reading a value from the kit and sending it back must give the same bytes,
// which single-precision hundredths make less obvious than it looks.
void TestWire::everyFixedValueSurvivesARoundTrip()
{
    for (int raw = 0; raw <= 0xFFFF; ++raw) {
        const QByteArray bytes = ::intToBytes(quint16(raw));
        const QByteArray again = ::floatToBytes(::bytesToFloat(bytes));
        if (again != bytes)
            QFAIL(qPrintable(
                QStringLiteral("%1 came back as %2")
                    .arg(QString::fromLatin1(bytes.toHex()), QString::fromLatin1(again.toHex()))));
    }
}

QTEST_APPLESS_MAIN(TestWire)
#include "tst_wire.moc"
