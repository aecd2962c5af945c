#include "link/registerstore.h"
#include "registers/registermap.h"
#include "registers/registermodel.h"

#include <QtTest>

Q_DECLARE_METATYPE(QList<FieldBits>)

namespace {

const Register *tableRegister(const QList<Register> &table, const QString &name)
{
    for (const Register &reg : table) {
        if (reg.name == name)
            return &reg;
    }
    return nullptr;
}

quint16 defaultData(const Register &reg)
{
    QList<FieldBits> bits;
    for (const Field &field : reg.fields)
        bits.append({field.value, field.length});
    return quint16(fieldsToData(bits));
}

// Fills the store with copies of a table on both channels.
void loadStore(const QList<Register> &table)
{
    while (channels.size() < 2)
        channels.append(new Channel);
    for (Channel *channel : qAsConst(channels)) {
        channel->registers = new QList<Register *>;
        for (const Register &reg : table)
            channel->registers->append(new Register(reg));
    }
}

} // namespace

class TestRegisterModel : public QObject
{
    Q_OBJECT

private slots:
    void tablesHaveTwelveDataBits_data();
    void tablesHaveTwelveDataBits();
    void tableShape_data();
    void tableShape();
    void defaultDataWords_data();
    void defaultDataWords();
    void revisionDifferences();
    void findRegister_data();
    void findRegister();
    void wordToFields_data();
    void wordToFields();
    void fieldsToWord_data();
    void fieldsToWord();
};

void TestRegisterModel::tablesHaveTwelveDataBits_data()
{
    QTest::addColumn<QString>("revision");
    QTest::addColumn<int>("index");
    for (const QString &revision : {QStringLiteral("B"), QStringLiteral("C")}) {
        const QList<Register> &table = revision == "B" ? registers_rev_b : registers_rev_c;
        for (int i = 0; i < table.size(); ++i)
            QTest::addRow("%s %s", qPrintable(revision), qPrintable(table.at(i).name))
                << revision << i;
    }
}

void TestRegisterModel::tablesHaveTwelveDataBits()
{
    QFETCH(QString, revision);
    QFETCH(int, index);
    const Register &reg = (revision == "B" ? registers_rev_b : registers_rev_c).at(index);
    int total = 0;
    for (const Field &field : reg.fields) {
        QVERIFY2(field.length >= 1, qPrintable(field.name));
        QVERIFY2(field.min <= field.value && field.value <= field.max, qPrintable(field.name));
        QVERIFY2(field.max < (1u << field.length), qPrintable(field.name));
        total += field.length;
    }
    QCOMPARE(total, 12);
}

void TestRegisterModel::tableShape_data()
{
    QTest::addColumn<QString>("revision");
    QTest::addColumn<QList<int>>("addresses");
    QTest::newRow("B") << "B" << QList<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 14, 15};
    QTest::newRow("C") << "C" << QList<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
}

void TestRegisterModel::tableShape()
{
    QFETCH(QString, revision);
    QFETCH(QList<int>, addresses);
    const QList<Register> &table = revision == "B" ? registers_rev_b : registers_rev_c;
    QList<int> actual;
    for (const Register &reg : table) {
        actual.append(int(reg.address));
        const bool readOnly = reg.name == "DAC" || reg.name == "IC_STATUS" || reg.name == "SENSE";
        QCOMPARE(reg.editable, !readOnly);
        QCOMPARE(reg.hidden, reg.name.startsWith("RSVD"));
    }
    QCOMPARE(actual, addresses);
}

void TestRegisterModel::defaultDataWords_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("revB");
    QTest::addColumn<int>("revC");
    QTest::newRow("REFERENCE") << "REFERENCE" << 0x000 << 0x000;
    QTest::newRow("ION_BL") << "ION_BL" << 0x0A0 << 0x3A0;
    QTest::newRow("DEADTIME") << "DEADTIME" << 0x466 << 0x46A;
    QTest::newRow("KP") << "KP" << 0x080 << 0x080;
    QTest::newRow("KPA_KI") << "KPA_KI" << 0x2A0 << 0x2A0;
    QTest::newRow("CONFIG") << "CONFIG" << 0x000 << 0x100;
    QTest::newRow("PARCAP") << "PARCAP" << 0x73A << 0x73A;
    QTest::newRow("SUP_RISE") << "SUP_RISE" << 0x167 << 0x167;
    QTest::newRow("DAC") << "DAC" << 0x082 << 0x082;
    QTest::newRow("RSVD1") << "RSVD1" << 0x000 << 0x000;
    QTest::newRow("IC_STATUS") << "IC_STATUS" << 0x040 << 0x040;
    QTest::newRow("SENSE") << "SENSE" << -1 << 0x000;
    QTest::newRow("TRIM") << "TRIM" << 0x000 << 0x000;
    QTest::newRow("RSVD4") << "RSVD4" << 0x000 << 0x000;
}

void TestRegisterModel::defaultDataWords()
{
    QFETCH(QString, name);
    QFETCH(int, revB);
    QFETCH(int, revC);
    const Register *b = tableRegister(registers_rev_b, name);
    const Register *c = tableRegister(registers_rev_c, name);
    QVERIFY(c);
    QCOMPARE(int(defaultData(*c)), revC);
    if (revB < 0) {
        QVERIFY(!b);
        return;
    }
    QVERIFY(b);
    QCOMPARE(int(defaultData(*b)), revB);
}

void TestRegisterModel::revisionDifferences()
{
    const Field &rsvd = tableRegister(registers_rev_b, "SUP_RISE")->fields.first();
    QCOMPARE(rsvd.name, QStringLiteral("Rsvd"));
    QCOMPARE(int(rsvd.max), 0);
    QCOMPARE(rsvd.description, QStringLiteral("Reserved"));
    const Field &sense = tableRegister(registers_rev_c, "SUP_RISE")->fields.first();
    QCOMPARE(sense.name, QStringLiteral("SENSE"));
    QCOMPARE(int(sense.max), 1);
    QCOMPARE(int(tableRegister(registers_rev_b, "IC_STATUS")->fields.last().max), 31);
    QCOMPARE(int(tableRegister(registers_rev_c, "IC_STATUS")->fields.last().max), 63);
    QCOMPARE(
        tableRegister(registers_rev_c, "REFERENCE")->fields.first().description,
        QString::fromUtf8("Input of the FIFO.Desired amplitude of the output in 12-bit two\u2019s "
                          "complement format. Driver will work with lower resolution "
                          "waveform: shift data left to align MSBs."));
}

void TestRegisterModel::findRegister_data()
{
    QTest::addColumn<QString>("revision");
    QTest::addColumn<int>("channel");
    QTest::addColumn<int>("address");
    QTest::addColumn<QString>("name");
    QTest::newRow("rev B has no address 13") << "B" << 0 << 13 << QString();
    QTest::newRow("rev C address 13 is SENSE") << "C" << 0 << 13 << "SENSE";
    QTest::newRow("channel B") << "C" << 1 << 14 << "TRIM";
    QTest::newRow("rev B after the gap") << "B" << 1 << 15 << "RSVD4";
    QTest::newRow("channel 2 does not exist") << "C" << 2 << 0 << QString();
}

void TestRegisterModel::findRegister()
{
    QFETCH(QString, revision);
    QFETCH(int, channel);
    QFETCH(int, address);
    QFETCH(QString, name);
    loadStore(revision == "B" ? registers_rev_b : registers_rev_c);
    const Register *reg = ::findRegister(quint16(channel), quint16(address));
    if (name.isEmpty()) {
        QVERIFY(!reg);
    } else {
        QVERIFY(reg);
        QCOMPARE(reg->name, name);
        QVERIFY(channels.at(channel)->registers->contains(const_cast<Register *>(reg)));
    }
}

void TestRegisterModel::wordToFields_data()
{
    QTest::addColumn<QList<int>>("lengths");
    QTest::addColumn<int>("data");
    QTest::addColumn<QList<int>>("values");
    QTest::newRow("CONFIG all ones")
        << QList<int>{5, 1, 1, 1, 1, 3} << 0xFFF << QList<int>{31, 1, 1, 1, 1, 7};
    QTest::newRow("DEADTIME rev C") << QList<int>{7, 5} << 0x46A << QList<int>{35, 10};
    QTest::newRow("TRIM") << QList<int>{2, 1, 6, 3} << 0xA5D << QList<int>{2, 1, 11, 5};
    QTest::newRow("one field") << QList<int>{12} << 0x123 << QList<int>{0x123};
    // A hand-edited map: what does not fit in twelve bits keeps its old value (99).
    QTest::newRow("lengths beyond twelve") << QList<int>{8, 8} << 0xABC << QList<int>{0xAB, 99};
    QTest::newRow("lengths short of twelve") << QList<int>{4, 4} << 0xABC << QList<int>{0xA, 0xB};
    QTest::newRow("oversized field") << QList<int>{40, 4} << 0xABC << QList<int>{99, 99};
}

void TestRegisterModel::wordToFields()
{
    QFETCH(QList<int>, lengths);
    QFETCH(int, data);
    QFETCH(QList<int>, values);
    Register reg;
    for (int length : lengths) {
        Field field;
        field.length = quint16(length);
        field.value = 99;
        reg.fields.append(field);
    }
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
    QTest::newRow("all ones") << 15 << QList<FieldBits>{{4095, 12}} << 0xFFFF << true;
    // 15 in a 2-bit field widens the text by two bits and pushes into the address.
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
