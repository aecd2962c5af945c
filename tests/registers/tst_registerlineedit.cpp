#include "link/registerstore.h"
#include "registers/registerlineedit.h"

#include <QtTest>

Q_DECLARE_METATYPE(const Field *)

namespace {

Field makeField(int length, int value, int max, int min = 0)
{
    Field field;
    field.name = QStringLiteral("DLS");
    field.length = quint16(length);
    field.value = quint16(value);
    field.min = quint16(min);
    field.max = quint16(max);
    field.description = QStringLiteral("Power switch deadtime");
    return field;
}

QString colour(const QLineEdit &editor)
{
    if (editor.styleSheet().isEmpty())
        return QString();
    if (editor.styleSheet() == QLatin1String("QLineEdit { background-color: red; }"))
        return QStringLiteral("red");
    if (editor.styleSheet() == QLatin1String("QLineEdit { background-color: orange; }"))
        return QStringLiteral("orange");
    return editor.styleSheet();
}

} // namespace

class TestRegisterLineEdit : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { qRegisterMetaType<const Field *>("const Field*"); }
    void display_data();
    void display();
    void digitCount_data();
    void digitCount();
    void typing_data();
    void typing();
    void rebindMarksReadOnlyOrange_data();
    void rebindMarksReadOnlyOrange();
    void changeOfBaseWritesNothing();
    void toolTipKeepsFirstValue();
    void unboundEditorWritesNothing();
};

void TestRegisterLineEdit::display_data()
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
    QTest::newRow("binary wider than field") << 2 << 2 << 5 << "101";
}

void TestRegisterLineEdit::display()
{
    QFETCH(int, base);
    QFETCH(int, length);
    QFETCH(int, value);
    QFETCH(QString, text);
    Field field = makeField(length, value, (1 << length) - 1);
    RegisterLineEdit editor(base, &field);
    QCOMPARE(editor.text(), text);
    QCOMPARE(editor.getValue(), value);
    QVERIFY(!editor.property("valid").isValid());

    Field other = makeField(length, value, (1 << length) - 1);
    RegisterLineEdit rebound(base == 2 ? 10 : 2, &other);
    rebound.setField(base, &field);
    QCOMPARE(rebound.text(), text);
}

void TestRegisterLineEdit::digitCount_data()
{
    QTest::addColumn<int>("base");
    QTest::addColumn<int>("length");
    QTest::addColumn<int>("digits");
    const QList<QList<int>> counts = {{1, 1, 1, 1}, {2, 2, 1, 1}, {5, 5, 2, 2},
                                      {7, 7, 2, 3}, {8, 8, 2, 3}, {12, 12, 3, 4}};
    for (const QList<int> &row : counts) {
        QTest::addRow("binary %d", row[0]) << 2 << row[0] << row[1];
        QTest::addRow("hexadecimal %d", row[0]) << 16 << row[0] << row[2];
        QTest::addRow("decimal %d", row[0]) << 10 << row[0] << row[3];
    }
}

void TestRegisterLineEdit::digitCount()
{
    QFETCH(int, base);
    QFETCH(int, length);
    QFETCH(int, digits);
    Field field = makeField(length, 0, (1 << length) - 1);
    RegisterLineEdit editor(base, &field);
    const QValidator *validator = editor.validator();
    QVERIFY(validator);
    int pos = 0;
    QString text(digits, '1');
    QCOMPARE(validator->validate(text, pos), QValidator::Acceptable);
    text = QString(digits + 1, '1');
    QCOMPARE(validator->validate(text, pos), QValidator::Invalid);
    text = QString(digits - 1, '1');
    QCOMPARE(validator->validate(text, pos), QValidator::Intermediate);
}

void TestRegisterLineEdit::typing_data()
{
    QTest::addColumn<int>("base");
    QTest::addColumn<int>("length");
    QTest::addColumn<int>("max");
    QTest::addColumn<bool>("edit");
    QTest::addColumn<QString>("keys");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("value");
    QTest::addColumn<bool>("valid");
    QTest::addColumn<QString>("colour");
    QTest::newRow("hex F in a 2-bit field") << 16 << 2 << 3 << true << "F"
                                            << "F" << 15 << false << "red";
    QTest::newRow("hex lower case") << 16 << 8 << 255 << true << "ab"
                                    << "ab" << 171 << true << "";
    QTest::newRow("decimal 99 in 5 bits") << 10 << 5 << 31 << true << "99"
                                          << "99" << 99 << false << "red";
    QTest::newRow("decimal 100 refused") << 10 << 5 << 31 << true << "100"
                                         << "10" << 10 << true << "";
    QTest::newRow("binary third digit refused") << 2 << 2 << 3 << true << "101"
                                                << "10" << 2 << true << "";
    QTest::newRow("binary 2 refused") << 2 << 2 << 3 << true << "2"
                                      << "" << 0 << true << "";
    QTest::newRow("Rsvd takes no 1") << 2 << 1 << 0 << true << "1"
                                     << "1" << 1 << false << "red";
    QTest::newRow("cleared") << 10 << 5 << 31 << true << ""
                             << "" << 0 << true << "";
    QTest::newRow("hex G refused") << 16 << 8 << 255 << true << "G"
                                   << "" << 0 << true << "";
}

void TestRegisterLineEdit::typing()
{
    QFETCH(int, base);
    QFETCH(int, length);
    QFETCH(int, max);
    QFETCH(bool, edit);
    QFETCH(QString, keys);
    QFETCH(QString, text);
    QFETCH(int, value);
    QFETCH(bool, valid);
    QFETCH(QString, colour);
    Field field = makeField(length, 1, max);
    RegisterLineEdit editor(base, &field);
    editor.setProperty("edit", edit);
    QSignalSpy updated(&editor, &RegisterLineEdit::registerUpdated);
    QVERIFY(updated.isValid());

    editor.selectAll();
    QTest::keyClick(&editor, Qt::Key_Backspace);
    QTest::keyClicks(&editor, keys);
    QCOMPARE(editor.text(), text);
    QCOMPARE(int(field.value), value);
    QCOMPARE(editor.property("valid").toBool(), valid);
    QCOMPARE(::colour(editor), colour);
    QCOMPARE(updated.count(), 1 + text.size());
    QCOMPARE(updated.last().first().value<const Field *>(), &field);
}

void TestRegisterLineEdit::rebindMarksReadOnlyOrange_data()
{
    QTest::addColumn<bool>("edit");
    QTest::addColumn<int>("value");
    QTest::addColumn<bool>("valid");
    QTest::addColumn<QString>("colour");
    QTest::newRow("read-only beyond max") << false << 40 << true << "orange";
    QTest::newRow("editable beyond max") << true << 40 << false << "red";
    QTest::newRow("read-only in range") << false << 20 << true << "";
}

void TestRegisterLineEdit::rebindMarksReadOnlyOrange()
{
    QFETCH(bool, edit);
    QFETCH(int, value);
    QFETCH(bool, valid);
    QFETCH(QString, colour);
    Field first = makeField(6, 0, 31);
    Field second = makeField(6, value, 31);
    RegisterLineEdit editor(10, &first);
    editor.setProperty("edit", edit);
    editor.setField(10, &second);
    QCOMPARE(editor.property("valid").toBool(), valid);
    QCOMPARE(::colour(editor), colour);
    QCOMPARE(int(second.value), value);
}

void TestRegisterLineEdit::changeOfBaseWritesNothing()
{
    Field field = makeField(5, 6, 31);
    RegisterLineEdit editor(2, &field);
    editor.setProperty("edit", true);
    QSignalSpy updated(&editor, &RegisterLineEdit::registerUpdated);
    QVERIFY(updated.isValid());
    editor.setField(16, &field);
    QCOMPARE(editor.text(), QStringLiteral("6"));
    editor.setField(10, &field);
    editor.setField(2, &field);
    QCOMPARE(editor.text(), QStringLiteral("00110"));
    QCOMPARE(updated.count(), 0);
    QCOMPARE(int(field.value), 6);

    editor.setField(16, &field);
    editor.selectAll();
    QTest::keyClicks(&editor, "1F");
    QCOMPARE(editor.text(), QStringLiteral("1F"));
    QCOMPARE(int(field.value), 31);
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

void TestRegisterLineEdit::unboundEditorWritesNothing()
{
    Field field = makeField(5, 10, 31);
    RegisterLineEdit editor(10, &field);
    editor.setProperty("edit", true);
    editor.setField(10, nullptr);
    QCOMPARE(editor.text(), QString());
    QSignalSpy updated(&editor, &RegisterLineEdit::registerUpdated);
    QVERIFY(updated.isValid());
    QTest::keyClicks(&editor, "7");
    QCOMPARE(updated.count(), 0);
    QCOMPARE(int(field.value), 10);
    QCOMPARE(editor.property("valid").toBool(), true);
}

QTEST_MAIN(TestRegisterLineEdit)
#include "tst_registerlineedit.moc"
