#include "link/registerstore.h"
#include "registers/registermap.h"
#include "registers/registermodel.h"

#include <QtTest>

Q_DECLARE_METATYPE(QList<FieldBits>)

class TestRegisterModel : public QObject
{
    Q_OBJECT

private slots:
    void defaultTables_data();
    void defaultTables();
    void findRegister();
    void wordToFields_data();
    void wordToFields();
    void fieldsToWord_data();
    void fieldsToWord();
};

void TestRegisterModel::defaultTables_data()
{
    QTest::addColumn<QString>("revision");
    QTest::addColumn<QList<int>>("data"); // default data word per address, -1: no register
    QTest::newRow("B") << "B" << QList<int>{0x000, 0x0A0, 0x466, 0x080, 0x2A0, 0x000, 0x73A, 0x167,
                                            0x082, 0x000, 0x000, 0x000, 0x040, -1,    0x000, 0x000};
    QTest::newRow("C") << "C" << QList<int>{0x000, 0x3A0, 0x46A, 0x080, 0x2A0, 0x100, 0x73A, 0x167,
                                            0x082, 0x000, 0x000, 0x000, 0x040, 0x000, 0x000, 0x000};
}

void TestRegisterModel::defaultTables()
{
    QFETCH(QString, revision);
    QFETCH(QList<int>, data);
    const QList<Register> &table = revision == "B" ? registers_rev_b : registers_rev_c;
    QList<int> actual = QVector<int>(16, -1).toList();
    int previous = -1;
    for (const Register &reg : table) {
        QVERIFY2(int(reg.address) > previous, qPrintable(reg.name));
        previous = int(reg.address);
        QList<FieldBits> bits;
        int total = 0;
        for (const Field &field : reg.fields) {
            QVERIFY2(field.min <= field.value && field.value <= field.max, qPrintable(field.name));
            QVERIFY2(field.max >> field.length == 0, qPrintable(field.name));
            bits.append({field.value, field.length});
            total += field.length;
        }
        QCOMPARE(total, 12);
        actual[reg.address] = int(fieldsToData(bits));
    }
    QCOMPARE(actual, data);
}

void TestRegisterModel::findRegister()
{
    while (channels.size() < 2)
        channels.append(new Channel);
    for (Channel *channel : qAsConst(channels)) {
        channel->registers = new QList<Register *>;
        for (const Register &reg : registers_rev_b)
            channel->registers->append(new Register(reg));
    }
    QVERIFY(!::findRegister(0, 13));
    QVERIFY(!::findRegister(2, 0));
    QCOMPARE(::findRegister(1, 14), channels.at(1)->registers->at(13));
    channels.at(0)->registers->append(new Register(registers_rev_c.at(13)));
    QCOMPARE(::findRegister(0, 13)->name, QStringLiteral("SENSE"));
}

void TestRegisterModel::wordToFields_data()
{
    QTest::addColumn<QList<int>>("lengths");
    QTest::addColumn<int>("data");
    QTest::addColumn<QList<int>>("values");
    QTest::newRow("CONFIG all ones")
        << QList<int>{5, 1, 1, 1, 1, 3} << 0xFFF << QList<int>{31, 1, 1, 1, 1, 7};
    QTest::newRow("DEADTIME") << QList<int>{7, 5} << 0x46A << QList<int>{35, 10};
    QTest::newRow("TRIM") << QList<int>{2, 1, 6, 3} << 0xA5D << QList<int>{2, 1, 11, 5};
    // A map edited by hand: a field that does not fit keeps its old value, 99.
    QTest::newRow("lengths beyond twelve") << QList<int>{8, 8} << 0xABC << QList<int>{0xAB, 99};
    QTest::newRow("oversized field") << QList<int>{40, 4} << 0xABC << QList<int>{99, 99};
}

void TestRegisterModel::wordToFields()
{
    QFETCH(QList<int>, lengths);
    QFETCH(int, data);
    QFETCH(QList<int>, values);
    Register reg;
    for (int length : lengths)
        reg.fields.append({QString(), 99, quint16(length), 0, 0, QString()});
    ::wordToFields(&reg, quint16(data));
    QList<int> actual;
    for (const Field &field : reg.fields)
        actual.append(field.value);
    QCOMPARE(actual, values);
}

void TestRegisterModel::fieldsToWord_data()
{
    QTest::addColumn<int>("address");
    QTest::addColumn<QList<FieldBits>>("fields");
    QTest::addColumn<int>("word");
    QTest::addColumn<bool>("fits");
    QTest::newRow("DEADTIME") << 2 << QList<FieldBits>{{35, 7}, {10, 5}} << 0x246A << true;
    QTest::newRow("ION_BL") << 1 << QList<FieldBits>{{0, 2}, {3, 2}, {160, 8}} << 0x13A0 << true;
    QTest::newRow("zero in twelve bits") << 9 << QList<FieldBits>{{0, 12}} << 0x9000 << true;
    // 15 in a 2-bit field widens the text by two bits and reaches the address.
    QTest::newRow("too wide") << 1 << QList<FieldBits>{{15, 2}, {0, 2}, {160, 8}} << 0x3CA0
                              << false;
    QTest::newRow("lengths beyond twelve")
        << 0 << QList<FieldBits>{{1, 8}, {1, 8}} << 0x0101 << false;
    QTest::newRow("zero length") << 0 << QList<FieldBits>{{0, 0}, {1, 12}} << 0x0001 << false;
}

void TestRegisterModel::fieldsToWord()
{
    QFETCH(int, address);
    QFETCH(QList<FieldBits>, fields);
    QFETCH(int, word);
    QFETCH(bool, fits);
    QCOMPARE(int(::fieldsToWord(quint16(address), fields)), word);
    QCOMPARE(fieldsFit(fields), fits);
}

QTEST_APPLESS_MAIN(TestRegisterModel)
#include "tst_registermodel.moc"
