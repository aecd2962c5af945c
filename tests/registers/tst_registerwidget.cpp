#include "app/constants.h"
#include "link/registerstore.h"
#include "link/serialcontroller.h"
#include "registers/registercontroller.h"
#include "registers/registerlineedit.h"
#include "registers/registermodel.h"
#include "registers/registerwidget.h"
#include "support/modalcloser.h"
#include "support/testsettings.h"

#include <QtTest>

#include <memory>

namespace {

struct Sent
{
    int channel;
    int address;
    int value;
};

QList<Sent> sentRegisters(const QSignalSpy &spy)
{
    QList<Sent> sent;
    for (const QList<QVariant> &call : spy)
        sent.append({call.at(0).toInt(), call.at(1).toInt(), call.at(2).toInt()});
    return sent;
}

int defaultData(int channel, int address)
{
    QList<FieldBits> bits;
    for (const Field &field : findRegister(quint16(channel), quint16(address))->fields)
        bits.append({field.value, field.length});
    return int(fieldsToData(bits));
}

} // namespace

class TestRegisterWidget : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void rowsFollowTheMap_data();
    void rowsFollowTheMap();
    void gridIsBitAligned();
    void enabledRules();
    void sendAll_data();
    void sendAll();
    void sendAllRefusesRedEntries_data();
    void sendAllRefusesRedEntries();
    void untouchedOutOfRangeStillSends();
    void wideEntryIsNeverSent_data();
    void wideEntryIsNeverSent();
    void rowSendRepeats();
    void displayTypeLeavesStoreAlone();
    void editsReachTheSelectedChannel();
    void readAllRefreshesAfterTheRead();
    void channelsThatDiffer();

private:
    void start(int chipid, bool showrsvd = false, const QStringList &edits = {});
    template <typename T> T *find(const QString &name)
    {
        T *child = widget->findChild<T *>(name);
        if (!child)
            qWarning("no child %s", qPrintable(name));
        return child;
    }
    RegisterLineEdit *field(int row, int index)
    {
        return find<RegisterLineEdit>(QStringLiteral("field_%1_%2").arg(row).arg(index));
    }
    int rowOf(const QString &registerName);

    TestSettings settings;
    std::unique_ptr<SerialController> serial;
    std::unique_ptr<RegisterController> controller;
    std::unique_ptr<RegisterWidget> widget;
    QComboBox *channelBox = nullptr;
    QComboBox *typeBox = nullptr;
};

void TestRegisterWidget::init()
{
    settings.reset();
}

void TestRegisterWidget::cleanup()
{
    widget.reset();
    controller.reset();
    serial.reset();
}

void TestRegisterWidget::start(int chipid, bool showrsvd, const QStringList &edits)
{
    widget.reset();
    controller.reset();
    {
        QSettings file;
        file.setValue(CHIPID_KEY, chipid);
        file.setValue("showrsvd", showrsvd);
    }
    if (!edits.isEmpty()) {
        serial.reset(new SerialController([] { return QList<PortCandidate>(); }));
        controller.reset(new RegisterController(serial.get()));
        controller.reset();
        QSettings file;
        for (const QString &edit : edits) {
            const QStringList parts = edit.split('=');
            if (parts.size() == 1)
                file.remove(parts.at(0));
            else
                file.setValue(parts.at(0), parts.at(1));
        }
    }
    serial.reset(new SerialController([] { return QList<PortCandidate>(); }));
    controller.reset(new RegisterController(serial.get()));
    widget.reset(new RegisterWidget);
    channelBox = find<QComboBox>("channelComboBox");
    typeBox = find<QComboBox>("displayTypeComboBox");
}

int TestRegisterWidget::rowOf(const QString &registerName)
{
    for (int row = 0;; ++row) {
        auto *label = widget->findChild<QLabel *>(QStringLiteral("registerName_%1").arg(row));
        if (!label)
            return -1;
        if (label->text() == registerName)
            return row;
    }
}

void TestRegisterWidget::rowsFollowTheMap_data()
{
    QTest::addColumn<int>("chipid");
    QTest::addColumn<bool>("showrsvd");
    QTest::addColumn<int>("rows");
    QTest::addColumn<int>("trimRow");
    QTest::addColumn<int>("senseRow");
    QTest::newRow("C without reserved") << CHIPID_REV_C << false << 12 << 11 << 10;
    QTest::newRow("B without reserved") << CHIPID_REV_B << false << 11 << 10 << -1;
    QTest::newRow("C with reserved") << CHIPID_REV_C << true << 16 << 14 << 13;
    QTest::newRow("B with reserved") << CHIPID_REV_B << true << 15 << 13 << -1;
}

void TestRegisterWidget::rowsFollowTheMap()
{
    QFETCH(int, chipid);
    QFETCH(bool, showrsvd);
    QFETCH(int, rows);
    QFETCH(int, trimRow);
    QFETCH(int, senseRow);
    start(chipid, showrsvd);
    QCOMPARE(rowOf("TRIM"), trimRow);
    QCOMPARE(rowOf("SENSE"), senseRow);
    QVERIFY(widget->findChild<QLabel *>(QStringLiteral("registerName_%1").arg(rows - 1)));
    QVERIFY(!widget->findChild<QLabel *>(QStringLiteral("registerName_%1").arg(rows)));
    auto *send = find<QPushButton>(QStringLiteral("sendButton_%1").arg(trimRow));
    QVERIFY(send);
    QCOMPARE(send->property("id").toInt(), trimRow);
    QCOMPARE(find<QLineEdit>(QStringLiteral("registerAddress_%1").arg(trimRow))->text(),
             QStringLiteral("1110"));
    const int reserved = rowOf("RSVD1");
    QCOMPARE(reserved >= 0, showrsvd);
    if (showrsvd)
        QVERIFY(find<QPushButton>(QStringLiteral("sendButton_%1").arg(reserved)));
}

void TestRegisterWidget::gridIsBitAligned()
{
    start(CHIPID_REV_C, true);
    widget->resize(700, 600);
    widget->show();
    QVERIFY(QTest::qWaitForWindowExposed(widget.get()));

    // Every editor starts where its first bit's column starts, so the left edge of
    // each bit column is the same in every row.
    QMap<int, int> leftOfBit;
    QMap<int, int> rightOfBit;
    auto *grid = widget->findChild<QGridLayout *>();
    QVERIFY(grid);
    for (int row = 0; row < 16; ++row) {
        int bit = 0;
        for (int index = 0;; ++index) {
            RegisterLineEdit *editor = widget->findChild<RegisterLineEdit *>(
                QStringLiteral("field_%1_%2").arg(row).arg(index));
            if (!editor)
                break;
            int gridRow, column, rowSpan, columnSpan;
            grid->getItemPosition(grid->indexOf(editor), &gridRow, &column, &rowSpan, &columnSpan);
            QCOMPARE(gridRow, row + 1);
            QCOMPARE(column, RegisterWidget::FirstFieldColumn + bit);
            QCOMPARE(columnSpan, int(editor->field()->length));
            const QRect box = editor->geometry();
            if (leftOfBit.contains(bit))
                QCOMPARE(box.left(), leftOfBit.value(bit));
            leftOfBit.insert(bit, box.left());
            bit += editor->field()->length;
            if (rightOfBit.contains(bit))
                QCOMPARE(box.right(), rightOfBit.value(bit));
            rightOfBit.insert(bit, box.right());
        }
        QCOMPARE(bit, 12);
    }
    // One-bit columns are as wide as each other.
    const int width = leftOfBit.value(1) - leftOfBit.value(0);
    QVERIFY(width > 0);
    for (int bit = 1; bit < 12; ++bit) {
        if (leftOfBit.contains(bit) && leftOfBit.contains(bit + 1))
            QVERIFY(qAbs(leftOfBit.value(bit + 1) - leftOfBit.value(bit) - width) <= 1);
    }
}

void TestRegisterWidget::enabledRules()
{
    start(CHIPID_REV_C);
    const QStringList readOnly = {"DAC", "IC_STATUS", "SENSE"};
    for (bool enabled : {true, false, true}) {
        widget->setEnabled(enabled);
        for (int row = 0; row < 12; ++row) {
            const QString name = find<QLabel>(QStringLiteral("registerName_%1").arg(row))->text();
            auto *send = widget->findChild<QPushButton *>(QStringLiteral("sendButton_%1").arg(row));
            QCOMPARE(send != nullptr, !readOnly.contains(name));
            if (send)
                QCOMPARE(send->isEnabled(), enabled);
            QVERIFY(!find<QLineEdit>(QStringLiteral("registerAddress_%1").arg(row))->isEnabled());
            QCOMPARE(field(row, 0)->isEnabled(), !readOnly.contains(name));
        }
    }
}

void TestRegisterWidget::sendAll_data()
{
    QTest::addColumn<int>("chipid");
    QTest::addColumn<int>("startChannel");
    QTest::newRow("B from channel A") << CHIPID_REV_B << 0;
    QTest::newRow("C from channel A") << CHIPID_REV_C << 0;
    QTest::newRow("C from channel B") << CHIPID_REV_C << 1;
}

void TestRegisterWidget::sendAll()
{
    QFETCH(int, chipid);
    QFETCH(int, startChannel);
    start(chipid);
    widget->setEnabled(true);
    channelBox->setCurrentIndex(startChannel);
    findRegister(1, 2)->fields[1].value = 3;
    QSignalSpy spy(widget.get(), &RegisterWidget::sigSendRegister);
    QSignalSpy voidSpy(widget.get(), &RegisterWidget::sigSendRegisterVoid);
    QVERIFY(spy.isValid());
    QVERIFY(voidSpy.isValid());

    widget->sendAll();

    const QList<int> addresses = {0, 1, 2, 3, 4, 5, 6, 7, 14};
    const QList<Sent> sent = sentRegisters(spy);
    QCOMPARE(sent.size(), 18);
    QCOMPARE(voidSpy.count(), 18);
    for (int i = 0; i < sent.size(); ++i) {
        const int channel = i / 9;
        const int address = addresses.at(i % 9);
        QCOMPARE(sent.at(i).channel, channel);
        QCOMPARE(sent.at(i).address, address);
        QCOMPARE(sent.at(i).value, defaultData(channel, address));
    }
    QCOMPARE(sent.at(9 + 2).value, 0x460 | 3);
    QCOMPARE(channelBox->currentIndex(), startChannel);

    widget->setEnabled(false);
    spy.clear();
    widget->sendAll();
    QCOMPARE(spy.count(), 0);
}

void TestRegisterWidget::sendAllRefusesRedEntries_data()
{
    QTest::addColumn<int>("redChannel");
    QTest::addColumn<int>("startChannel");
    QTest::newRow("red on B, start on A") << 1 << 0;
    QTest::newRow("red on A, start on B") << 0 << 1;
}

void TestRegisterWidget::sendAllRefusesRedEntries()
{
    QFETCH(int, redChannel);
    QFETCH(int, startChannel);
    start(CHIPID_REV_C);
    widget->setEnabled(true);
    typeBox->setCurrentText("Decimal");
    channelBox->setCurrentIndex(redChannel);
    RegisterLineEdit *dls = field(rowOf("DEADTIME"), 1);
    dls->selectAll();
    QTest::keyClicks(dls, "99");
    QCOMPARE(dls->property("valid").toBool(), false);
    channelBox->setCurrentIndex(startChannel);

    QSignalSpy spy(widget.get(), &RegisterWidget::sigSendRegister);
    QVERIFY(spy.isValid());
    ModalCloser closer;
    widget->sendAll();
    QCOMPARE(spy.count(), 0);
    QCOMPARE(closer.texts(), QStringList{RegisterWidget::SendFailText});
    QCOMPARE(channelBox->currentIndex(), redChannel);
    QCOMPARE(int(findRegister(quint16(redChannel), 2)->fields.at(1).value), 99);
}

void TestRegisterWidget::untouchedOutOfRangeStillSends()
{
    // A value from the file beyond the map's range but inside its field is the
    // user's business until the editor is touched.
    start(CHIPID_REV_C, false,
          {"channels/1/registers/3/fields/2/value=20", "channels/1/registers/3/fields/2/max=10"});
    widget->setEnabled(true);
    QSignalSpy spy(widget.get(), &RegisterWidget::sigSendRegister);
    QVERIFY(spy.isValid());
    ModalCloser closer;
    widget->sendAll();
    QCOMPARE(spy.count(), 18);
    QCOMPARE(sentRegisters(spy).at(2).value, 0x460 | 20);
    QVERIFY(closer.texts().isEmpty());
}

void TestRegisterWidget::wideEntryIsNeverSent_data()
{
    QTest::addColumn<QStringList>("edits");
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("keys");
    QTest::addColumn<bool>("all");
    QTest::newRow("row, hex F in 2 bits") << QStringList{} << "Hexadecimal"
                                          << "F" << false;
    QTest::newRow("row, decimal 99 in 5 bits") << QStringList{} << "Decimal"
                                               << "99" << false;
    const QStringList wideMax = {"channels/2/registers/2/fields/1/max=4095"};
    QTest::newRow("row, wide within a wide max") << wideMax << "Hexadecimal"
                                                 << "F" << false;
    QTest::newRow("all, wide within a wide max") << wideMax << "Hexadecimal"
                                                 << "F" << true;
    QTest::newRow("all, wide from the file")
        << QStringList{"channels/2/registers/2/fields/1/value=15",
                       "channels/2/registers/2/fields/1/max=4095"}
        << "Hexadecimal"
        << "" << true;
}

void TestRegisterWidget::wideEntryIsNeverSent()
{
    QFETCH(QStringList, edits);
    QFETCH(QString, type);
    QFETCH(QString, keys);
    QFETCH(bool, all);
    start(CHIPID_REV_C, false, edits);
    widget->setEnabled(true);
    typeBox->setCurrentText(type);
    channelBox->setCurrentIndex(1);
    const int row = rowOf(keys == "99" ? "DEADTIME" : "ION_BL");
    if (!keys.isEmpty()) {
        RegisterLineEdit *editor = field(row, keys == "99" ? 1 : 0);
        editor->selectAll();
        QTest::keyClicks(editor, keys);
    }
    QSignalSpy spy(widget.get(), &RegisterWidget::sigSendRegister);
    QVERIFY(spy.isValid());
    ModalCloser closer;
    if (all)
        widget->sendAll();
    else
        find<QPushButton>(QStringLiteral("sendButton_%1").arg(row))->click();
    QCOMPARE(spy.count(), 0);
    QCOMPARE(closer.texts(), QStringList{RegisterWidget::SendFailText});
}

void TestRegisterWidget::rowSendRepeats()
{
    start(CHIPID_REV_C);
    widget->setEnabled(true);
    channelBox->setCurrentIndex(1);
    QSignalSpy spy(widget.get(), &RegisterWidget::sigSendRegister);
    QVERIFY(spy.isValid());
    auto *send = find<QPushButton>(QStringLiteral("sendButton_%1").arg(rowOf("DEADTIME")));
    send->click();
    send->click();
    QCOMPARE(spy.count(), 2);
    for (const Sent &sent : sentRegisters(spy)) {
        QCOMPARE(sent.channel, 1);
        QCOMPARE(sent.address, 2);
        QCOMPARE(sent.value, 0x46A);
    }
}

void TestRegisterWidget::displayTypeLeavesStoreAlone()
{
    start(CHIPID_REV_C);
    QSignalSpy updated(widget.get(), &RegisterWidget::sigRegisterUpdated);
    QVERIFY(updated.isValid());
    const int row = rowOf("DEADTIME");
    auto *address = find<QLineEdit>(QStringLiteral("registerAddress_%1").arg(row));
    const QList<QStringList> expected = {{"Decimal", "2", "35", "10"},
                                         {"Hexadecimal", "2", "23", "A"},
                                         {"Binary", "0010", "0100011", "01010"}};
    for (const QStringList &step : expected) {
        typeBox->setCurrentText(step.at(0));
        QCOMPARE(address->text(), step.at(1));
        QCOMPARE(field(row, 0)->text(), step.at(2));
        QCOMPARE(field(row, 1)->text(), step.at(3));
    }
    QCOMPARE(updated.count(), 0);
    QCOMPARE(int(findRegister(0, 2)->fields.at(0).value), 35);
    QCOMPARE(int(findRegister(0, 2)->fields.at(1).value), 10);
}

void TestRegisterWidget::editsReachTheSelectedChannel()
{
    start(CHIPID_REV_C);
    widget->setEnabled(false);
    QSignalSpy updated(widget.get(), &RegisterWidget::sigRegisterUpdated);
    QVERIFY(updated.isValid());
    channelBox->setCurrentIndex(1);
    typeBox->setCurrentText("Hexadecimal");
    RegisterLineEdit *editor = field(rowOf("TRIM"), 2);
    QVERIFY(editor->isEnabled());
    editor->selectAll();
    QTest::keyClicks(editor, "2b");
    QCOMPARE(int(findRegister(1, 14)->fields.at(2).value), 0x2B);
    QCOMPARE(int(findRegister(0, 14)->fields.at(2).value), 0);
    QCOMPARE(updated.count(), 2);
    QCOMPARE(find<QLabel>("panelName")->text(), QStringLiteral("TRIM_OSC"));
    QCOMPARE(find<QLabel>("panelValue")->text(), QStringLiteral("0x2B"));
    QCOMPARE(find<QLabel>("panelLength")->text(), QStringLiteral("6"));
    QCOMPARE(find<QLabel>("panelMax")->text(), QStringLiteral("0x3F"));

    channelBox->setCurrentIndex(0);
    QCOMPARE(editor->text(), QStringLiteral("0"));
    QCOMPARE(find<QLabel>("panelValue")->text(), QStringLiteral("0x2B"));
}

void TestRegisterWidget::readAllRefreshesAfterTheRead()
{
    start(CHIPID_REV_C);
    channelBox->setCurrentIndex(1);
    connect(widget.get(), &RegisterWidget::sigReadRegisters, controller.get(),
            [this] { controller->Dispatch(QByteArray("\x01\x24\x7F", 3), 3, ReadRegisters); });
    widget->readAll();
    const int row = rowOf("DEADTIME");
    QCOMPARE(field(row, 0)->text(), QStringLiteral("0100011"));
    QCOMPARE(field(row, 1)->text(), QStringLiteral("11111"));
}

void TestRegisterWidget::channelsThatDiffer()
{
    // Channel B lacks DEADTIME's second field and has no TRIM.
    start(CHIPID_REV_C, false,
          {"channels/2/registers/3/fields/size=1", "channels/2/registers/15/address=13"});
    widget->setEnabled(true);
    const int deadtime = rowOf("DEADTIME");
    const int trim = rowOf("TRIM");
    channelBox->setCurrentIndex(1);
    QVERIFY(field(deadtime, 0)->isEnabled());
    QVERIFY(!field(deadtime, 1)->isEnabled());
    QCOMPARE(field(deadtime, 1)->text(), QString());
    QVERIFY(!field(trim, 0)->isEnabled());
    widget->setEnabled(true);
    QVERIFY(!field(trim, 0)->isEnabled());

    QSignalSpy spy(widget.get(), &RegisterWidget::sigSendRegister);
    QVERIFY(spy.isValid());
    ModalCloser closer;
    widget->sendAll();
    QList<int> channelB;
    for (const Sent &sent : sentRegisters(spy)) {
        if (sent.channel == 1)
            channelB.append(sent.address);
    }
    QCOMPARE(channelB, (QList<int>{0, 1, 3, 4, 5, 6, 7}));
    QCOMPARE(spy.count(), 16);
    QVERIFY(closer.texts().isEmpty());

    channelBox->setCurrentIndex(0);
    QVERIFY(field(deadtime, 1)->isEnabled());
    QVERIFY(field(trim, 0)->isEnabled());
    QCOMPARE(field(trim, 0)->text(), QStringLiteral("00"));
}

QTEST_MAIN(TestRegisterWidget)
#include "tst_registerwidget.moc"
