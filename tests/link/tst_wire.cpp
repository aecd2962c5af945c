#include "link/wire.h"

#include <QtTest>

const int Encode = 1, Decode = 2, Both = 3, Fixed = 0, Word = 1;

class TestWire : public QObject
{
    Q_OBJECT

private slots:
    void encodings_data();
    void encodings();
    void everyFixedValueSurvivesARoundTrip();
};

void TestWire::encodings_data()
{
    QTest::addColumn<bool>("word"); // else fixed-100, the real value times 100
    QTest::addColumn<float>("value");
    QTest::addColumn<QByteArray>("hex");
    QTest::addColumn<int>("ways");
    const auto row = [](const char *name, bool word, float value, const char *hex, int ways) {
        QTest::newRow(name) << word << value << QByteArray(hex) << ways;
    };

    row("-1.5", Fixed, -1.5f, "ff6a", Both);
    row("1.5", Fixed, 1.5f, "0096", Both);
    row("0.125 rounds away from zero", Fixed, 0.125f, "000d", Encode);
    row("0.75", Fixed, 0.75f, "004b", Both);
    row("-10", Fixed, -10.0f, "fc18", Both);
    row("95", Fixed, 95.0f, "251c", Both);
    row("-95", Fixed, -95.0f, "dae4", Both);
    row("0.005 rounds up", Fixed, 0.005f, "0001", Encode);
    row("-0.005 rounds down", Fixed, -0.005f, "ffff", Encode);
    row("above the range clamps", Fixed, 327.7f, "7fff", Encode);
    row("below the range clamps", Fixed, -327.7f, "8000", Encode);
    row("word 180", Word, 180, "00b4", Both);
    row("no bytes", Word, 0, "", Decode);
    row("one byte 0x24 is the high byte", Word, 0x2400, "24", Decode);
    row("a third byte is ignored", Word, 0x2466, "246601", Decode);
}

void TestWire::encodings()
{
    QFETCH(bool, word);
    QFETCH(float, value);
    QFETCH(QByteArray, hex);
    QFETCH(int, ways);
    const QByteArray bytes = QByteArray::fromHex(hex);
    if (ways & Encode)
        QCOMPARE((word ? ::intToBytes(quint16(value)) : ::floatToBytes(value)).toHex(), hex);
    if (ways & Decode)
        QCOMPARE(word ? float(::bytesToInt(bytes)) : ::bytesToFloat(bytes), value);
}

// A value read from the kit and sent back must give the same bytes.
void TestWire::everyFixedValueSurvivesARoundTrip()
{
    for (int raw = 0; raw <= 0xFFFF; ++raw) {
        const QByteArray bytes = ::intToBytes(quint16(raw));
        QVERIFY2(::floatToBytes(::bytesToFloat(bytes)) == bytes, bytes.toHex());
    }
}

QTEST_APPLESS_MAIN(TestWire)
#include "tst_wire.moc"
