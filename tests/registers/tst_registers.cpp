#include "app/constants.h"
#include "link/registerstore.h"
#include "registers/registercontroller.h"
#include "registers/registerlineedit.h"
#include "registers/registermap.h"
#include "registers/registermodel.h"
#include "registers/registerwidget.h"
#include "support/datarow.h"
#include "support/kitfixture.h"
#include "support/modalcloser.h"
#include "support/sessionshape.h"

#include <QtTest>

Q_DECLARE_METATYPE(const Field *)

namespace {

// The bytes the kit receives for a write of the register as the store holds it.
QByteArray writeOf(int channel, int address)
{
    QList<FieldBits> bits;
    for (const Field &f : findRegister(quint16(channel), quint16(address))->fields)
        bits.append({f.value, f.length});
    const quint16 word = fieldsToWord(quint16(address), bits);
    return QByteArray("0") + char('0' + channel) + char(word >> 8) + char(word & 0xFF);
}

// Channel * 16 + address of the nine registers a send-all writes on each channel.
const QList<int> bothChannels = {0, 1, 2, 3, 4, 5, 6, 7, 14, 16, 17, 18, 19, 20, 21, 22, 23, 30};

} // namespace

// The controller over a pseudo-terminal kit, the register page above it, and the
// chip's default register maps.
class TestRegisters : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        qRegisterMetaType<const Field *>("const Field*");
        QVERIFY(kit.open());
    }
    void init() { kit.settings.reset(); }

    void mapFollowsChipId_data()
    {
        // count: registers per channel; rows: on the page
        columns<QVariant, bool, int, int>({"chipid", "showrsvd", "count", "rows"});
        dataRow("B", QVariant(CHIPID_REV_B), false, 15, 11);
        dataRow("B with reserved", QVariant(CHIPID_REV_B), true, 15, 15);
        dataRow("C with reserved", QVariant(CHIPID_REV_C), true, 16, 16);
        dataRow("B plus 256", QVariant(CHIPID_REV_B + 256), false, 16, 12);
        dataRow("absent", QVariant(), false, 16, 12);
    }

    void mapFollowsChipId()
    {
        const auto [chipid, showrsvd, count, rows] =
            fetchRow<QVariant, bool, int, int>("chipid", "showrsvd", "count", "rows");
        start(chipid, showrsvd);
        QCOMPARE(channels.at(0)->registers->size(), count);
        QSettings file; // DLS's default differs between the revisions
        QCOMPARE(file.value("channels/2/registers/size").toInt(), count);
        QCOMPARE(file.value("channels/2/registers/3/fields/2/value").toInt(), count == 15 ? 6 : 10);
        QVERIFY(find<QLabel>(QStringLiteral("registerName_%1").arg(rows - 1)));
        QVERIFY(!find<QLabel>(QStringLiteral("registerName_%1").arg(rows)));
    }

    void settingsWinKeepTheirFlagsAndSendAsGiven()
    {
        start(CHIPID_REV_B, false,
              {"chipid=67", "channels/2/registers/3/fields/1/value=99",
               "channels/1/registers/1/editable=false", "-channels/1/registers/2/hidden"});
        QCOMPARE(channels.at(0)->registers->size(), 15);
        QCOMPARE(int(findRegister(1, 2)->fields.at(0).value), 99);
        QVERIFY(!findRegister(0, 0)->editable);
        findRegister(1, 9)->fields[0].value = 7;
        findRegister(0, 0)->editable = true;
        findRegister(0, 1)->hidden = true;
        kit.controller->updateSettings();
        QSettings file;
        QCOMPARE(file.value("channels/2/registers/10/fields/1/value").toInt(), 7);
        QCOMPARE(file.value("channels/1/registers/1/editable").toBool(), false);
        QVERIFY(!file.contains("channels/1/registers/2/hidden"));
        kit.controller->sendRegister(1, 2, 0x466); // as given, whatever the store holds
        QVERIFY(kit.peer.waitForBytes(4, 1000));
        QCOMPARE(kit.peer.receivedBytes(), QByteArray::fromHex("30312466"));
    }

    void readBack_data()
    {
        // reply: hex pieces, blank-separated, read one by one
        columns<int, QString, QStringList>({"chipid", "reply", "changes"});
        const QStringList dls = {"channels/1/registers/3/fields/1/value=35",
                                 "channels/1/registers/3/fields/2/value=10"};
        dataRow("DEADTIME", CHIPID_REV_B, "00246A", dls);
        dataRow("split 2+1", CHIPID_REV_B, "0024 6A", dls);
        dataRow("short record", CHIPID_REV_B, "0024", QStringList());
        // Its low byte would be the next record's first: nothing of the reply is stored.
        dataRow("first record cut, more follow", CHIPID_REV_B, "0024 00246A 00246A", QStringList());
        dataRow("channel 2 after a good record", CHIPID_REV_B, "00246A 02246A", QStringList());
        dataRow("address 13 on revision B", CHIPID_REV_B, "00DFFF", QStringList());
        dataRow("address 13 on revision C", CHIPID_REV_C, "01DBFF",
                QStringList{"channels/2/registers/14/fields/1/value=2",
                            "channels/2/registers/14/fields/2/value=1023"});
    }

    void readBack()
    {
        const auto [chipid, reply, changes] =
            fetchRow<int, QString, QStringList>("chipid", "reply", "changes");
        start(chipid);
        findRegister(0, 2)->fields[0].value = 0; // DHS, so that a record must restore it
        kit.controller->updateSettings();
        kit.script('4', {reply});
        QMap<QString, QString> expected = sessionSnapshot();
        for (const QString &change : changes)
            expected.insert(change.section('=', 0, 0), change.section('=', 1));
        kit.controller->readRegisters();
        QCOMPARE(kit.peer.receivedBytes(), QByteArray("4"));
        QCOMPARE(sessionSnapshot(), expected);
    }

    void sends_data()
    {
        // entry: base, register, field index, keys typed; channel: on screen while typing;
        // all: send-all from the other channel, or the row's button; sent: channel * 16 + address
        // message: the one box shown, if any
        columns<int, QStringList, QString, int, bool, QList<int>, QString>(
            {"chipid", "edits", "entry", "channel", "all", "sent", "message"});
        const QStringList none;
        const QList<int> nothing;
        const QString fail = RegisterWidget::SendFailText;
        dataRow("all on B", CHIPID_REV_B, none, "", 0, true, bothChannels, "");
        dataRow("all on C", CHIPID_REV_C, none, "", 1, true, bothChannels, "");
        dataRow("all, channel B lacking a field and TRIM", CHIPID_REV_C,
                QStringList{"channels/2/registers/3/fields/size=1",
                            "channels/2/registers/15/address=13"},
                "", 0, true, QList<int>{0, 1, 2, 3, 4, 5, 6, 7, 14, 16, 17, 19, 20, 21, 22, 23},
                "These registers were not sent: their channel's map lacks them or some of their "
                "fields.\nChannel B: DEADTIME (address 2), TRIM (address 14)");
        dataRow("row on B", CHIPID_REV_C, none, "Decimal DEADTIME 1 9", 1, false, QList<int>{18},
                "");
        dataRow("all, red on A", CHIPID_REV_C, none, "Decimal DEADTIME 1 99", 0, true, nothing,
                fail);
        dataRow("all, red on B", CHIPID_REV_B, none, "Decimal DEADTIME 1 99", 1, true, nothing,
                fail);
        dataRow("row, hex F in 2 bits", CHIPID_REV_C, none, "Hexadecimal ION_BL 0 F", 1, false,
                nothing, fail);
        dataRow("row, wide within a wide max", CHIPID_REV_C,
                QStringList{"channels/2/registers/2/fields/1/max=4095"}, "Hexadecimal ION_BL 0 F",
                1, false, nothing, fail);
    }

    void sends()
    {
        const auto [chipid, edits, entry, channel, all, sent, message] =
            fetchRow<int, QStringList, QString, int, bool, QList<int>, QString>(
                "chipid", "edits", "entry", "channel", "all", "sent", "message");
        start(chipid, false, edits);
        widget->setEnabled(true);
        auto *channelBox = find<QComboBox>("channelComboBox");
        channelBox->setCurrentIndex(channel);
        const QStringList parts = entry.split(' ');
        const int row = rowOf(parts.value(1, "DEADTIME"));
        if (parts.size() == 4) {
            find<QComboBox>("displayTypeComboBox")->setCurrentText(parts.at(0));
            field(row, parts.at(2).toInt())->selectAll();
            QTest::keyClicks(field(row, parts.at(2).toInt()), parts.at(3));
        }
        if (all)
            channelBox->setCurrentIndex(1 - channel);

        ModalCloser closer;
        QSignalSpy voidSpy(widget.get(), &RegisterWidget::sigSendRegisterVoid);
        if (all)
            QCOMPARE(widget->sendAll(), message.isEmpty()); // whole only without a box
        else
            find<QPushButton>(QStringLiteral("sendButton_%1").arg(row))->click();
        QByteArray expected;
        for (int at : sent)
            expected += writeOf(at / 16, at % 16);
        kit.controller->powerUp(); // a marker: everything before it has reached the kit
        QVERIFY(kit.peer.waitForBytes(expected.size() + 1, 2000));
        QCOMPARE(kit.peer.receivedBytes(), expected + '<');
        QCOMPARE(voidSpy.count(), sent.size());
        QCOMPARE(closer.texts().join('|'), message);
        QCOMPARE(channelBox->currentIndex(), all && !sent.isEmpty() ? 1 - channel : channel);
    }

    void malformedTreeIsSurvived_data()
    {
        columns<QStringList, int>({"edits", "countB"});
        dataRow("channel B without registers", QStringList{"-channels/2"}, 0);
        dataRow("register without keys",
                QStringList{"-channels/2/registers/3", "channels/2/registers/3/x=1"}, 16);
        dataRow("huge counts",
                QStringList{"channels/2/registers/size=100000",
                            "channels/2/registers/1/fields/size=100000"},
                16);
        dataRow("numbers out of range",
                QStringList{"channels/2/registers/3/fields/1/value=-4",
                            "channels/2/registers/3/address=77",
                            "channels/2/registers/4/fields/1/length=12",
                            "channels/2/registers/5/fields/2/length=40"},
                16);
    }

    void malformedTreeIsSurvived()
    {
        const auto [edits, countB] = fetchRow<QStringList, int>("edits", "countB");
        start(CHIPID_REV_C, false, edits);
        QCOMPARE(channels.at(0)->registers->size(), 16);
        QCOMPARE(channels.at(1)->registers->size(), countB);
        for (const Register *reg : qAsConst(*channels.at(1)->registers))
            QVERIFY(reg->fields.size() <= RegisterController::MaxFields);
        // Every record a kit could send, both channels on screen, a send-all, a write-back.
        for (int record = 0; record < 2 * 16; ++record)
            kit.controller->Dispatch(QByteArray(1, char(record / 16)) + char(record << 4 | 0xF) +
                                         '\xFF',
                                     3, ReadRegisters);
        kit.controller->exchangeEnded(ReadRegisters, ExchangeEnd::Silence);
        ModalCloser closer;
        widget->setEnabled(true);
        find<QComboBox>("channelComboBox")->setCurrentIndex(1);
        widget->sendAll();
        kit.controller->updateSettings();
        start(QVariant());
        QCOMPARE(channels.at(1)->registers->size(), countB);
    }

    // Every default field lies within its bounds and its width; the fields fill 12 bits.
    void defaultMapsAreWellFormed()
    {
        for (const QList<Register> *map : {&registers_rev_b, &registers_rev_c}) {
            for (const Register &reg : *map) {
                int total = 0;
                for (const Field &field : reg.fields) {
                    QVERIFY2(field.min <= field.value && field.value <= field.max &&
                                 field.max >> field.length == 0,
                             qPrintable(reg.name + '/' + field.name));
                    total += field.length;
                }
                QCOMPARE(total, 12);
            }
        }
    }

    void lineEdit_data()
    {
        // No keys: a read-only field that holds the text's value from the start.
        columns<int, int, int, QString, QString, QString>(
            {"base", "length", "max", "keys", "text", "colour"});
        dataRow("hex F in 2 bits", 16, 2, 3, "F", "F", "red");
        dataRow("hex lower case, third digit refused", 16, 8, 255, "abc", "ab", "");
        dataRow("decimal 100 refused", 10, 5, 31, "100", "10", "");
        dataRow("binary third digit refused", 2, 2, 3, "101", "10", "");
        dataRow("binary 2 refused", 2, 2, 3, "2", "", "");
        dataRow("Rsvd takes no 1", 2, 1, 0, "1", "1", "red");
        dataRow("read-only above max", 10, 6, 31, "", "40", "orange");
        dataRow("read-only binary padded", 2, 5, 31, "", "00110", "");
        dataRow("read-only hex upper case", 16, 12, 4095, "", "ABC", "");
    }

    void lineEdit()
    {
        const auto [base, length, max, keys, text, colour] =
            fetchRow<int, int, int, QString, QString, QString>("base", "length", "max", "keys",
                                                               "text", "colour");
        const bool editable = !keys.isEmpty();
        const int value = text.toInt(nullptr, base);
        Field field{"DLS", quint16(editable ? 1 : value), quint16(length), 0, quint16(max), {}};
        RegisterLineEdit editor(base == 2 ? 16 : 2, &field);
        editor.setProperty("edit", editable);
        QSignalSpy updated(&editor, &RegisterLineEdit::registerUpdated);
        editor.setField(base, &field); // a change of display type writes nothing
        QCOMPARE(updated.count(), 0);
        if (editable) {
            editor.selectAll();
            QTest::keyClick(&editor, Qt::Key_Backspace);
            QTest::keyClicks(&editor, keys);
        }
        QCOMPARE(editor.text(), text);
        QCOMPARE(int(field.value), value);
        QCOMPARE(editor.property("valid").toBool(), colour != "red");
        QCOMPARE(editor.styleSheet().remove("QLineEdit { background-color: ").remove("; }"),
                 colour);
        QCOMPARE(updated.count(), editable ? 1 + text.size() : 0);
    }

    void gridIsBitAligned()
    {
        start(CHIPID_REV_C, true);
        widget->resize(700, 600);
        widget->show();
        QVERIFY(QTest::qWaitForWindowExposed(widget.get()));
        // Each bit boundary has one x in every row: keyed by bit for left edges, -bit for right.
        QMap<int, int> edge;
        for (int row = 0; row < 16; ++row) {
            int bit = 0;
            for (int index = 0; field(row, index); ++index) {
                const QRect box = field(row, index)->geometry();
                QCOMPARE(edge.value(bit, box.left()), box.left());
                edge.insert(bit, box.left());
                bit += field(row, index)->field()->length;
                QCOMPARE(edge.value(-bit, box.right()), box.right());
                edge.insert(-bit, box.right());
            }
            QCOMPARE(bit, 12);
        }
        QVERIFY(edge.value(1) > edge.value(0));
    }

    // A hand-edited map that makes ION_BL unsendable: the row shows it in red with the
    // reason, its editors keep columns of their own, and a send-all is refused.
    void unsendableRowIsMarked_data()
    {
        columns<QString, QString>({"edit", "reason"});
        dataRow("value wider than its field", "fields/1/value=99999",
                "The value 0x869F does not fit in its 2 bits.");
        dataRow("length beyond a register", "fields/1/length=40",
                "Its length of 40 bits is not between 1 and 12.");
        dataRow("fields over twelve bits", "fields/2/length=9",
                "Its fields take 19 bits, more than the 12 of a register.");
    }
    void unsendableRowIsMarked()
    {
        const auto [edit, reason] = fetchRow<QString, QString>("edit", "reason");
        start(CHIPID_REV_C, false, {"channels/1/registers/2/" + edit});
        widget->show();
        QVERIFY(QTest::qWaitForWindowExposed(widget.get()));
        QRect left = find<QLineEdit>("registerAddress_1")->geometry();
        for (int index = 0; field(1, index); ++index) {
            QVERIFY(field(1, index)->geometry().left() > left.right());
            left = field(1, index)->geometry();
        }
        QVERIFY(left.right() < find<QPushButton>("sendButton_1")->x());
        QVERIFY2(field(1, 0)->toolTip().endsWith("<p><b>Not sendable:</b> " + reason + "</p>"),
                 qPrintable(field(1, 0)->toolTip()));
        QCOMPARE(field(1, 0)->styleSheet(), QString("QLineEdit { background-color: red; }"));
        QCOMPARE(field(2, 0)->styleSheet(), QString());
        ModalCloser closer;
        QVERIFY(!widget->sendAll());
        QCOMPARE(closer.texts(), QStringList{RegisterWidget::SendFailText});
    }

private:
    // Seeds the settings for the chip id (none: keep the file), then applies the edits
    // ("key=value", or "-key" to remove) as a hand would, and connects anew with a page.
    void start(const QVariant &chipid, bool showrsvd = false, const QStringList &edits = {})
    {
        widget.reset();
        if (chipid.isValid())
            QSettings().setValue(CHIPID_KEY, chipid);
        QSettings().setValue("showrsvd", showrsvd);
        QVERIFY(kit.reconnect());
        for (const QString &edit : edits) {
            QSettings file;
            edit.startsWith('-') ? file.remove(edit.mid(1))
                                 : file.setValue(edit.section('=', 0, 0), edit.section('=', 1));
        }
        QVERIFY(edits.isEmpty() || kit.reconnect());
        widget.reset(new RegisterWidget);
        connect(widget.get(), &RegisterWidget::sigSendRegister, kit.controller.get(),
                &RegisterController::sendRegister);
    }

    int rowOf(const QString &registerName)
    {
        int row = 0;
        while (find<QLabel>(QStringLiteral("registerName_%1").arg(row))->text() != registerName)
            ++row;
        return row;
    }

    template <typename T> T *find(const QString &name) { return widget->findChild<T *>(name); }
    RegisterLineEdit *field(int row, int index)
    {
        return find<RegisterLineEdit>(QStringLiteral("field_%1_%2").arg(row).arg(index));
    }

    KitFixture<RegisterController> kit;
    std::unique_ptr<RegisterWidget> widget;
};

QTEST_MAIN(TestRegisters)
#include "tst_registers.moc"
