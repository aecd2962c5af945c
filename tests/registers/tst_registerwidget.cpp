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

class TestRegisterWidget : public QObject
{
    Q_OBJECT

private slots:
    void init() { settings.reset(); }
    void cleanup();

    void rowsFollowTheMap_data();
    void rowsFollowTheMap();
    void gridIsBitAligned();
    void enabledRules();
    void sendAll_data();
    void sendAll();
    void refusedSends_data();
    void refusedSends();
    void basesAndChannels();
    void readAllRefreshesAfterTheRead();
    void channelsThatDiffer();

private:
    void start(int chipid, bool showrsvd = false, const QStringList &edits = {});
    template <typename T> T *find(const QString &name) { return widget->findChild<T *>(name); }
    RegisterLineEdit *field(int row, int index)
    {
        return find<RegisterLineEdit>(QStringLiteral("field_%1_%2").arg(row).arg(index));
    }
    QPushButton *sendButton(int row)
    {
        return find<QPushButton>(QStringLiteral("sendButton_%1").arg(row));
    }
    int rowOf(const QString &registerName);
    QList<QList<int>> sent() const; // channel, address, value of each sigSendRegister

    TestSettings settings;
    std::unique_ptr<SerialController> serial;
    std::unique_ptr<RegisterController> controller;
    std::unique_ptr<RegisterWidget> widget;
    std::unique_ptr<QSignalSpy> sendSpy;
    QComboBox *channelBox = nullptr;
    QComboBox *typeBox = nullptr;
};

void TestRegisterWidget::cleanup()
{
    sendSpy.reset();
    widget.reset();
    controller.reset();
    serial.reset();
}

// Edits ("key=value") change the settings file after a first seeding.
void TestRegisterWidget::start(int chipid, bool showrsvd, const QStringList &edits)
{
    QSettings().setValue(CHIPID_KEY, chipid);
    QSettings().setValue("showrsvd", showrsvd);
    for (int pass = edits.isEmpty() ? 1 : 0; pass < 2; ++pass) {
        controller.reset();
        serial.reset(new SerialController([] { return QList<PortCandidate>(); }));
        controller.reset(new RegisterController(serial.get()));
        QSettings file;
        for (const QString &edit : edits) {
            if (pass == 0)
                file.setValue(edit.section('=', 0, 0), edit.section('=', 1));
        }
    }
    widget.reset(new RegisterWidget);
    channelBox = find<QComboBox>("channelComboBox");
    typeBox = find<QComboBox>("displayTypeComboBox");
    sendSpy.reset(new QSignalSpy(widget.get(), &RegisterWidget::sigSendRegister));
    QVERIFY(sendSpy->isValid());
}

int TestRegisterWidget::rowOf(const QString &registerName)
{
    for (int row = 0;; ++row) {
        auto *label = find<QLabel>(QStringLiteral("registerName_%1").arg(row));
        if (!label || label->text() == registerName)
            return label ? row : -1;
    }
}

QList<QList<int>> TestRegisterWidget::sent() const
{
    QList<QList<int>> calls;
    for (const QList<QVariant> &call : qAsConst(*sendSpy))
        calls.append({call.at(0).toInt(), call.at(1).toInt(), call.at(2).toInt()});
    return calls;
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
    QVERIFY(find<QLabel>(QStringLiteral("registerName_%1").arg(rows - 1)));
    QVERIFY(!find<QLabel>(QStringLiteral("registerName_%1").arg(rows)));
    QCOMPARE(sendButton(trimRow)->property("id").toInt(), trimRow);
    QCOMPARE(find<QLineEdit>(QStringLiteral("registerAddress_%1").arg(trimRow))->text(),
             QStringLiteral("1110"));
    QCOMPARE(rowOf("RSVD1") >= 0 && sendButton(rowOf("RSVD1")), showrsvd);
}

void TestRegisterWidget::gridIsBitAligned()
{
    start(CHIPID_REV_C, true);
    widget->resize(700, 600);
    widget->show();
    QVERIFY(QTest::qWaitForWindowExposed(widget.get()));
    // The edges of each bit column are the same in every row, and bits are equally wide.
    QMap<int, int> edgeOfBit;
    for (int row = 0; row < 16; ++row) {
        int bit = 0;
        for (int index = 0; field(row, index); ++index) {
            const QRect box = field(row, index)->geometry();
            QCOMPARE(edgeOfBit.value(bit, box.left()), box.left());
            edgeOfBit.insert(bit, box.left());
            bit += field(row, index)->field()->length;
            QCOMPARE(edgeOfBit.value(-bit, box.right()), box.right());
            edgeOfBit.insert(-bit, box.right());
        }
        QCOMPARE(bit, 12);
    }
    const int width = edgeOfBit.value(1) - edgeOfBit.value(0);
    QVERIFY(width > 0);
    for (int bit = 1; bit < 12; ++bit) {
        if (edgeOfBit.contains(bit) && edgeOfBit.contains(bit + 1))
            QVERIFY(qAbs(edgeOfBit.value(bit + 1) - edgeOfBit.value(bit) - width) <= 1);
    }
}

void TestRegisterWidget::enabledRules()
{
    start(CHIPID_REV_C);
    const QStringList readOnly = {"DAC", "IC_STATUS", "SENSE"};
    for (bool enabled : {true, false, true}) {
        widget->setEnabled(enabled);
        for (int row = 0; row < 12; ++row) {
            const bool editable = !readOnly.contains(
                find<QLabel>(QStringLiteral("registerName_%1").arg(row))->text());
            QCOMPARE(sendButton(row) != nullptr, editable);
            QCOMPARE(sendButton(row) && sendButton(row)->isEnabled(), editable && enabled);
            QVERIFY(!find<QLineEdit>(QStringLiteral("registerAddress_%1").arg(row))->isEnabled());
            QCOMPARE(field(row, 0)->isEnabled(), editable);
        }
    }
}

void TestRegisterWidget::sendAll_data()
{
    QTest::addColumn<int>("chipid");
    QTest::addColumn<int>("startChannel");
    QTest::addColumn<QStringList>("edits");
    // Out of the map's range, but untouched in the editor and inside its field.
    QTest::newRow("B from channel A, untouched out of range")
        << CHIPID_REV_B << 0
        << QStringList{"channels/1/registers/3/fields/2/value=20",
                       "channels/1/registers/3/fields/2/max=10"};
    QTest::newRow("C from channel B") << CHIPID_REV_C << 1 << QStringList{};
}

void TestRegisterWidget::sendAll()
{
    QFETCH(int, chipid);
    QFETCH(int, startChannel);
    QFETCH(QStringList, edits);
    start(chipid, false, edits);
    ModalCloser closer;
    widget->setEnabled(true);
    channelBox->setCurrentIndex(startChannel);
    QSignalSpy voidSpy(widget.get(), &RegisterWidget::sigSendRegisterVoid);
    QVERIFY(voidSpy.isValid());
    widget->sendAll();

    const QList<int> addresses = {0, 1, 2, 3, 4, 5, 6, 7, 14};
    QList<QList<int>> expected;
    for (int i = 0; i < 18; ++i) {
        QList<FieldBits> bits;
        for (const Field &f : findRegister(quint16(i / 9), quint16(addresses.at(i % 9)))->fields)
            bits.append({f.value, f.length});
        expected.append({i / 9, addresses.at(i % 9), int(fieldsToData(bits))});
    }
    QCOMPARE(sent(), expected);
    QVERIFY(closer.texts().isEmpty());
    QCOMPARE(voidSpy.count(), 18);
    QCOMPARE(channelBox->currentIndex(), startChannel);

    widget->setEnabled(false);
    widget->sendAll();
    QCOMPARE(sendSpy->count(), 18);
}

void TestRegisterWidget::refusedSends_data()
{
    QTest::addColumn<QStringList>("edits");
    QTest::addColumn<int>("channel");   // where the entry is typed
    QTest::addColumn<QString>("entry"); // base, register, field index, keys
    QTest::addColumn<bool>("all");
    const QStringList wideMax = {"channels/2/registers/2/fields/1/max=4095"};
    QTest::newRow("all, red on B") << QStringList{} << 1 << "Decimal DEADTIME 1 99" << true;
    QTest::newRow("all, red on A") << QStringList{} << 0 << "Decimal DEADTIME 1 99" << true;
    QTest::newRow("row, hex F in 2 bits")
        << QStringList{} << 1 << "Hexadecimal ION_BL 0 F" << false;
    QTest::newRow("row, wide within a wide max")
        << wideMax << 1 << "Hexadecimal ION_BL 0 F" << false;
    QTest::newRow("all, wide within a wide max")
        << wideMax << 1 << "Hexadecimal ION_BL 0 F" << true;
    QTest::newRow("all, wide from the file")
        << QStringList{"channels/2/registers/2/fields/1/value=15", wideMax.first()} << 1
        << "Hexadecimal ION_BL 0" << true;
}

void TestRegisterWidget::refusedSends()
{
    QFETCH(QStringList, edits);
    QFETCH(int, channel);
    QFETCH(QString, entry);
    QFETCH(bool, all);
    start(CHIPID_REV_C, false, edits);
    widget->setEnabled(true);
    const QStringList parts = entry.split(' ');
    typeBox->setCurrentText(parts.at(0));
    channelBox->setCurrentIndex(channel);
    const int row = rowOf(parts.at(1));
    if (parts.size() > 3) {
        field(row, parts.at(2).toInt())->selectAll();
        QTest::keyClicks(field(row, parts.at(2).toInt()), parts.at(3));
    }
    if (all)
        channelBox->setCurrentIndex(1 - channel);

    ModalCloser closer;
    if (all)
        widget->sendAll();
    else
        sendButton(row)->click();
    QCOMPARE(sendSpy->count(), 0);
    QCOMPARE(closer.texts(), QStringList{RegisterWidget::SendFailText});
    QCOMPARE(channelBox->currentIndex(), channel);
}

void TestRegisterWidget::basesAndChannels()
{
    start(CHIPID_REV_C);
    QSignalSpy updated(widget.get(), &RegisterWidget::sigRegisterUpdated);
    QVERIFY(updated.isValid());
    const int row = rowOf("DEADTIME");
    auto *address = find<QLineEdit>(QStringLiteral("registerAddress_%1").arg(row));
    const QList<QStringList> steps = {{"Decimal", "2", "35", "10"},
                                      {"Hexadecimal", "2", "23", "A"},
                                      {"Binary", "0010", "0100011", "01010"}};
    for (const QStringList &step : steps) {
        typeBox->setCurrentText(step.at(0));
        QCOMPARE(address->text(), step.at(1));
        QCOMPARE(field(row, 0)->text(), step.at(2));
        QCOMPARE(field(row, 1)->text(), step.at(3));
    }
    QCOMPARE(updated.count(), 0);

    // Edits go to the channel on screen, even while the kit is away.
    widget->setEnabled(false);
    channelBox->setCurrentIndex(1);
    typeBox->setCurrentText("Hexadecimal");
    RegisterLineEdit *trimOsc = field(rowOf("TRIM"), 2);
    QVERIFY(trimOsc->isEnabled());
    trimOsc->selectAll();
    QTest::keyClicks(trimOsc, "2b");
    QCOMPARE(int(findRegister(1, 14)->fields.at(2).value), 0x2B);
    QCOMPARE(int(findRegister(0, 14)->fields.at(2).value), 0);
    QCOMPARE(updated.count(), 2);
    QCOMPARE(find<QLabel>("panelName")->text(), QStringLiteral("TRIM_OSC"));
    QCOMPARE(find<QLabel>("panelValue")->text(), QStringLiteral("0x2B"));
    QCOMPARE(find<QLabel>("panelMax")->text(), QStringLiteral("0x3F"));
    channelBox->setCurrentIndex(0);
    QCOMPARE(trimOsc->text(), QStringLiteral("0"));
}

void TestRegisterWidget::readAllRefreshesAfterTheRead()
{
    start(CHIPID_REV_C);
    channelBox->setCurrentIndex(1);
    connect(widget.get(), &RegisterWidget::sigReadRegisters, controller.get(),
            [this] { controller->Dispatch(QByteArray("\x01\x24\x7F", 3), 3, ReadRegisters); });
    widget->readAll();
    QCOMPARE(field(rowOf("DEADTIME"), 1)->text(), QStringLiteral("11111"));
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
    widget->setEnabled(true);
    QVERIFY(!field(trim, 0)->isEnabled());

    ModalCloser closer;
    widget->sendAll();
    QList<int> addresses;
    for (const QList<int> &call : sent())
        addresses.append(call.at(0) * 100 + call.at(1));
    QCOMPARE(addresses,
             (QList<int>{0, 1, 2, 3, 4, 5, 6, 7, 14, 100, 101, 103, 104, 105, 106, 107}));
    QVERIFY(closer.texts().isEmpty());

    channelBox->setCurrentIndex(0);
    QVERIFY(field(deadtime, 1)->isEnabled());
    QCOMPARE(field(trim, 0)->text(), QStringLiteral("00"));
}

QTEST_MAIN(TestRegisterWidget)
#include "tst_registerwidget.moc"
