#include "link/registerstore.h"
#include "registers/registerlineedit.h"

#include <QtTest>

Q_DECLARE_METATYPE(const Field *)

namespace {

Field makeField(int length, int value, int max)
{
    return {QStringLiteral("DLS"), quint16(value),
            quint16(length),       0,
            quint16(max),          QStringLiteral("Power switch deadtime")};
}

QString colour(const QLineEdit &editor)
{
    const QString style = editor.styleSheet();
    if (style == QLatin1String("QLineEdit { background-color: red; }"))
        return QStringLiteral("red");
    if (style == QLatin1String("QLineEdit { background-color: orange; }"))
        return QStringLiteral("orange");
    return style;
}

} // namespace

class TestRegisterLineEdit : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { qRegisterMetaType<const Field *>("const Field*"); }
    void changeOfBaseWritesNothing_data();
    void changeOfBaseWritesNothing();
    void typing_data();
    void typing();
    void readOnlyOutOfRangeIsOrange();
    void toolTipKeepsFirstValue();
};

void TestRegisterLineEdit::changeOfBaseWritesNothing_data()
{
    QTest::addColumn<int>("base");
    QTest::addColumn<int>("length");
    QTest::addColumn<int>("value");
    QTest::addColumn<QString>("text");
    QTest::newRow("binary padded") << 2 << 5 << 6 << "00110";
    QTest::newRow("hexadecimal") << 16 << 5 << 6 << "6";
    QTest::newRow("decimal") << 10 << 5 << 6 << "6";
    QTest::newRow("hexadecimal upper case") << 16 << 12 << 0xABC << "ABC";
    QTest::newRow("binary zero in twelve bits") << 2 << 12 << 0 << "000000000000";
}

void TestRegisterLineEdit::changeOfBaseWritesNothing()
{
    QFETCH(int, base);
    QFETCH(int, length);
    QFETCH(int, value);
    QFETCH(QString, text);
    Field field = makeField(length, value, (1 << length) - 1);
    RegisterLineEdit built(base, &field);
    QCOMPARE(built.text(), text);
    QVERIFY(!built.property("valid").isValid());

    RegisterLineEdit rebound(base == 2 ? 16 : 2, &field);
    rebound.setProperty("edit", true);
    QSignalSpy updated(&rebound, &RegisterLineEdit::registerUpdated);
    QVERIFY(updated.isValid());
    rebound.setField(base, &field);
    QCOMPARE(rebound.text(), text);
    QCOMPARE(updated.count(), 0);
    QCOMPARE(int(field.value), value);
}

void TestRegisterLineEdit::typing_data()
{
    QTest::addColumn<int>("base");
    QTest::addColumn<int>("length");
    QTest::addColumn<int>("max");
    QTest::addColumn<QString>("keys");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("value");
    QTest::addColumn<QString>("colour");
    QTest::newRow("hex F in 2 bits") << 16 << 2 << 3 << "F"
                                     << "F" << 15 << "red";
    QTest::newRow("hex lower case") << 16 << 8 << 255 << "ab"
                                    << "ab" << 171 << "";
    QTest::newRow("hex third digit refused") << 16 << 8 << 255 << "abc"
                                             << "ab" << 171 << "";
    QTest::newRow("hex G refused") << 16 << 8 << 255 << "G"
                                   << "" << 0 << "";
    QTest::newRow("decimal 99 in 5 bits") << 10 << 5 << 31 << "99"
                                          << "99" << 99 << "red";
    QTest::newRow("decimal 100 refused") << 10 << 5 << 31 << "100"
                                         << "10" << 10 << "";
    QTest::newRow("decimal 4 digits in 12 bits") << 10 << 12 << 4095 << "40961"
                                                 << "4096" << 4096 << "red";
    QTest::newRow("binary third digit refused") << 2 << 2 << 3 << "101"
                                                << "10" << 2 << "";
    QTest::newRow("binary 2 refused") << 2 << 2 << 3 << "2"
                                      << "" << 0 << "";
    QTest::newRow("Rsvd takes no 1") << 2 << 1 << 0 << "1"
                                     << "1" << 1 << "red";
    QTest::newRow("cleared") << 10 << 5 << 31 << ""
                             << "" << 0 << "";
}

void TestRegisterLineEdit::typing()
{
    QFETCH(int, base);
    QFETCH(int, length);
    QFETCH(int, max);
    QFETCH(QString, keys);
    QFETCH(QString, text);
    QFETCH(int, value);
    QFETCH(QString, colour);
    Field field = makeField(length, 1, max);
    RegisterLineEdit editor(base, &field);
    editor.setProperty("edit", true);
    QSignalSpy updated(&editor, &RegisterLineEdit::registerUpdated);
    QVERIFY(updated.isValid());

    editor.selectAll();
    QTest::keyClick(&editor, Qt::Key_Backspace);
    QTest::keyClicks(&editor, keys);
    QCOMPARE(editor.text(), text);
    QCOMPARE(int(field.value), value);
    QCOMPARE(editor.property("valid").toBool(), colour != "red");
    QCOMPARE(::colour(editor), colour);
    QCOMPARE(updated.count(), 1 + text.size());
}

void TestRegisterLineEdit::readOnlyOutOfRangeIsOrange()
{
    Field first = makeField(6, 0, 31);
    Field second = makeField(6, 40, 31);
    RegisterLineEdit editor(10, &first);
    editor.setProperty("edit", false);
    editor.setField(10, &second);
    QCOMPARE(editor.property("valid").toBool(), true);
    QCOMPARE(colour(editor), QStringLiteral("orange"));
    editor.setField(10, &first);
    QCOMPARE(colour(editor), QString());
}

void TestRegisterLineEdit::toolTipKeepsFirstValue()
{
    Field field = makeField(5, 10, 31);
    RegisterLineEdit editor(2, &field);
    const QString expected = QStringLiteral(
        "<font color=black><p>Name : DLS<br>Value : 0xA<br>Length : 5<br>Min : 0x0<br>"
        "Max : 0x1F<br>Description : Power switch deadtime</font>");
    QCOMPARE(editor.toolTip(), expected);
    field.value = 3;
    editor.setField(16, &field);
    QCOMPARE(editor.toolTip(), expected);
}

QTEST_MAIN(TestRegisterLineEdit)
#include "tst_registerlineedit.moc"
