#include "app/mainwindow.h"
#include "kitfirmware.h"
#include "link/serialcontroller.h"
#include "simulatedkit.h"
#include "support/datarow.h"
#include "support/modalcloser.h"
#include "support/sessionshape.h"
#include "support/testsettings.h"
#include "support/windowtest.h"

#include <QRandomGenerator>
#include <QtTest>
#include <QtWidgets>

namespace {

using KitSetup = std::function<void(SimulatedKit &)>;
const QString LinkError = "There was an error communicating with the dev kit|";
const QString Refused = "Firmware version not compatible \nCurrent version: ";

// Bytes that no kit would send, the same at each run.
QByteArray noise(int size)
{
    QRandomGenerator random(size);
    QByteArray bytes(size, '\0');
    for (char &byte : bytes)
        byte = char(random.bounded(1, 256));
    return bytes;
}

} // namespace

Q_DECLARE_METATYPE(KitSetup)

// The main window against a kit that misbehaves: pulled out in the middle of a transfer,
// answering with a broken reply, or met with a damaged session file.
class TestKitFaults : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QApplication::setQuitOnLastWindowClosed(false);
        QVERIFY(kit.open());
    }
    void init()
    {
        kit.clearFaults();
        kit.withFirmware([](KitFirmware &firmware) {
            firmware.setFirmwareId("2.3");
            firmware.setChipId(KitFirmware::ChipIdRevC);
        });
        if (!kit.transport().isPlugged())
            QVERIFY(kit.plug());
        settings.reset();
        writeFile(settings.fileName(), "[General]\nchipid=67\nfirst_boot=false\n");
    }
    void cleanup()
    {
        window.reset();
        closer.clear();
    }
    void unplugAfterEachCommand_data();
    void unplugAfterEachCommand();
    void brokenReplyLeavesTheSession();
    void oneMessagePerAction_data();
    void oneMessagePerAction();
    void chipRestarts_data();
    void chipRestarts();
    void damagedSessions_data();
    void damagedSessions();

private:
    void press(const char *button) { window->findChild<QPushButton *>(button)->click(); }

    TestSettings settings;
    SimulatedKit kit;
    ModalCloser closer;
    std::unique_ptr<MainWindow> window;
    QByteArray session; // as the first connection to the kit leaves it
};

void TestKitFaults::unplugAfterEachCommand_data()
{
    QTest::addColumn<QString>("button");
    QTest::addColumn<bool>("afterSend"); // from the first command after Send to Device's
    dataRow("Load from Device", "loadFromDeviceButton", false);
    dataRow("Send to Device", "sendToDeviceButton", false);
    // Its first part is Send to Device, which the row above pulls apart command by command.
    dataRow("Send to Device && Save to EEPROM", "sendAndSaveButton", true);
}

// For each command of the transfer in turn, the kit goes when that command's exchange is
// over. No exchange outlasts its bounds, the session holds only well-formed values, and
// the kit is found again when it comes back.
void TestKitFaults::unplugAfterEachCommand()
{
    QFETCH(QString, button);
    QFETCH(bool, afterSend);
    const QMap<QString, QString> start = sessionSnapshot();
    window = std::make_unique<MainWindow>(kit.enumerator());
    SerialController *serial = window->serialController();
    QVERIFY(serial->isConnected());
    int ended = 0, unplugAfter = -1, failedAfterUnplug = 0;
    QString trace; // of the last transfer: command:end:ms ...
    qint64 longest = 0;
    connect(
        serial, &SerialController::sigExchangeEnded, window.get(),
        [&](ReadType, ExchangeEnd end, const QByteArray &command, qint64 ms) {
            longest = qMax(longest, ms);
            trace +=
                QString(" %1:%2:%3").arg(QString(command.left(2).toHex())).arg(int(end)).arg(ms);
            // The ends the user is told of; a port lost mid-reply is told by the next
            // command's failed write, if any.
            failedAfterUnplug += ended >= unplugAfter && unplugAfter > 0 &&
                                 (end == ExchangeEnd::WriteFailed ||
                                  end == ExchangeEnd::ByteBound || end == ExchangeEnd::TimeBound);
            if (++ended == unplugAfter)
                kit.unplug();
        });
    press("sendToDeviceButton");
    const int skip = afterSend ? ended - 1 : 0;
    ended = 0;
    press(qPrintable(button));
    const int commands = ended;
    QVERIFY2(commands > skip, qPrintable(trace));

    for (unplugAfter = skip + 1; unplugAfter <= commands; ++unplugAfter) {
        ended = failedAfterUnplug = 0;
        trace = QString::number(unplugAfter) + ":";
        press(qPrintable(button));
        QVERIFY2(longest <=
                     SerialController::WriteTimeoutMs + SerialController::ExchangeTimeLimitMs,
                 qPrintable(trace));
        QVERIFY(!serial->isConnected()); // polls the port, as its timer does
        QCOMPARE(look(*window, "connectionLabel").section('|', 0, 0), "Not Connected");
        // One failure reports the loss; the commands after it vanish without a word. (A
        // write stalled by a loaded machine before the loss may add a message of its own.)
        QVERIFY2(failedAfterUnplug <= 1, qPrintable(trace));
        QCOMPARE(QSettings().status(), QSettings::NoError);
        const QStringList problems = malformedWrites(start);
        QVERIFY2(problems.isEmpty(), qPrintable(problems.join(' ')));
        QVERIFY(kit.plug());
        QVERIFY(serial->isConnected());
        QCOMPARE(look(*window, "firmwareLabel"), "Firmware ID: 2.3");
    }
}

// A reply cut short stores nothing and leaves the sync label as it was, with a warning.
void TestKitFaults::brokenReplyLeavesTheSession()
{
    window = std::make_unique<MainWindow>(kit.enumerator());
    QVERIFY(window->serialController()->isConnected());
    // Channel A's first parameter, 60.00, comes first; cut, it would read as 58.88.
    const QByteArray whole = kit.withFirmware([](KitFirmware &firmware) {
        firmware.feed("200\x17\x70");
        return firmware.feed("5").value(0).reply;
    });
    kit.setReplyOverride('5', whole.left(3) + whole.mid(4));
    const QString key = "sensing/1/low_amp_multiplicator",
                  before = QSettings().value(key).toString();
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("not stored"));
    press("loadFromDeviceButton");
    QCOMPARE(look(*window, "syncLabel").section('|', 0, 0), "Pending Changes");
    QCOMPARE(QSettings().value(key).toString(), before);
    kit.clearFaults();
    press("loadFromDeviceButton");
    QCOMPARE(look(*window, "syncLabel").section('|', 0, 0), "Up To Date");
    QVERIFY(QSettings().value(key).toString() != before);
}

void TestKitFaults::oneMessagePerAction_data()
{
    // fault: set up before the window is made, or once connected when a button is pressed;
    // messages: the start of each box's text and informative text, "|" between them
    columns<KitSetup, int, QString, QStringList, int>(
        {"fault", "holdMs", "button", "messages", "exitCode"});
    const auto firmware = [](const QByteArray &id, quint16 chip) -> KitSetup {
        return [=](SimulatedKit &kit) {
            kit.withFirmware([&](KitFirmware &f) { f.setFirmwareId(id), f.setChipId(chip); });
        };
    };
    const auto override = [](const QByteArray &commands, const QByteArray &reply) -> KitSetup {
        return [=](SimulatedKit &kit) {
            for (char command : commands)
                kit.setReplyOverride(command, reply);
        };
    };
    const KitSetup trickle = [override](SimulatedKit &kit) {
        override("584", QByteArray(400, '\1'))(kit);
        kit.setReplyPieces(1, 15);
    };
    const KitSetup dead = [](SimulatedKit &kit) { kit.setReading(false); };
    // A firmware message read for longer than an exchange may last.
    dataRow("refused firmware", firmware("2.2", KitFirmware::ChipIdRevC), 1500, "",
            QStringList{Refused + "2.2\n"}, 0);
    dataRow("refused firmware and another chip", firmware("2.2", KitFirmware::ChipIdRevB), 1500, "",
            QStringList{Refused + "2.2\n", "Chip ID revision has changed\n"}, 0);
    dataRow("random bytes on every reply at connection", override("=H", noise(12)), 0, "",
            QStringList{Refused, "Chip ID 0x"}, 0);
    dataRow("a flood of random bytes at connection", override("=", noise(40)), 0, "",
            QStringList{LinkError + "The kit's reply to \"=\""}, NoExit);
    dataRow("replies that never end during Load", trickle, 0, "loadFromDeviceButton",
            QStringList{LinkError + "The kit's reply to \"5\""}, NoExit);
    dataRow("a kit dead but listed during Send to Device", dead, 0, "sendToDeviceButton",
            QStringList{LinkError + "The command \"D\""}, NoExit);
    dataRow("a kit dead but listed at Power Down", dead, 0, "powerButton",
            QStringList{LinkError + "The command \"D\""}, NoExit);
}

// Whatever the kit does, an action or a connection says what went wrong once, and only the
// firmware's and the chip's messages may follow each other. No poll runs inside a message.
void TestKitFaults::oneMessagePerAction()
{
    const auto [fault, holdMs, button, messages, exitCode] =
        fetchRow<KitSetup, int, QString, QStringList, int>("fault", "holdMs", "button", "messages",
                                                           "exitCode");
    kit.unplug(); // a new line: nothing of an earlier row's replies is still on its way
    QVERIFY(kit.plug());
    if (button.isEmpty())
        fault(kit);
    closer.holdEachFor(holdMs);
    window = std::make_unique<MainWindow>(kit.enumerator());
    const QTimer *poll = window->serialController()->findChild<QTimer *>();
    bool pollInMessage = false;
    QTimer watch;
    connect(&watch, &QTimer::timeout, &watch, [&] {
        pollInMessage |=
            qobject_cast<QMessageBox *>(QApplication::activeModalWidget()) && poll->isActive();
    });
    watch.start(5);
    QCOMPARE(runUntilConnected(*window), exitCode);
    if (!button.isEmpty()) {
        fault(kit);
        press(qPrintable(button));
    }
    const QStringList seen = closer.details();
    QVERIFY2(seen.size() == messages.size(), qPrintable(seen.join("//")));
    for (int i = 0; i < seen.size(); ++i)
        QVERIFY2(seen[i].startsWith(messages[i]), qPrintable(seen[i]));
    QVERIFY(!pollInMessage);
}

void TestKitFaults::chipRestarts_data()
{
    // chips: the kit's revision at each pass; each pass starts from the session the entry
    // point leaves after the previous pass's exit code
    columns<QByteArray, QString, QStringList, QList<int>>(
        {"session", "chips", "messages", "codes"});
    dataRow("revision B on a session never connected", QByteArray("chipid=67"), "BB",
            QStringList{"Chip ID revision B found\nThe register map of revision B is loaded."},
            QList<int>{EXIT_CODE_RESTART_REV_B, NoExit});
    dataRow("a chip that changes again restarts once", QByteArray("chipid=67\nfirst_boot=false"),
            "BC",
            QStringList{"Chip ID revision has changed\nCurrent Revision: B\nPrevious Revision: C",
                        "Chip ID revision is unstable\nCurrent Revision: C\nPrevious "
                        "Revision: B\nThe register map of the session is kept."},
            QList<int>{EXIT_CODE_RESTART_REV_B, NoExit});
}

void TestKitFaults::chipRestarts()
{
    const auto [session, chips, messages, codes] =
        fetchRow<QByteArray, QString, QStringList, QList<int>>("session", "chips", "messages",
                                                               "codes");
    writeFile(settings.fileName(), "[General]\n" + session);
    QList<int> seen;
    for (QChar chip : chips) {
        kit.withFirmware([chip](KitFirmware &f) {
            f.setChipId(chip == 'B' ? KitFirmware::ChipIdRevB : KitFirmware::ChipIdRevC);
        });
        const int previous = seen.value(seen.size() - 1, 0);
        if (previous == EXIT_CODE_RESTART_REV_B)
            writeFile(settings.fileName(), "[General]\nchipid=66\n");
        window = std::make_unique<MainWindow>(kit.enumerator());
        window->setRestartedForChip(previous == EXIT_CODE_RESTART_REV_B);
        seen << runUntilConnected(*window);
        window.reset();
    }
    QCOMPARE(seen, codes);
    QCOMPARE(closer.texts(), messages);
}

void TestKitFaults::damagedSessions_data()
{
    // edits: "key=value" sets, "-key" removes, "file:" replaces the whole file (hex or text)
    QTest::addColumn<QStringList>("edits");
    const auto row = [](const char *name, const QStringList &edits) {
        QTest::newRow(name) << edits;
    };
    const QString field = "channels/1/registers/3/fields/1/";
    const QString entry = "sensing/1/";
    row("empty file", {"file:"});
    row("truncated in a key", {"file:[General]\nchipid=67\n[channels]\n1\\registers\\1\\fie"});
    row("binary", {"file:" + QString::fromLatin1(QByteArray::fromHex("00ff13ab5b0a3d00feff"))});
    row("garbage lines", {"file:=\n[[[\n===\nchipid\n\\\\\\=1\n"});
    row("no chipid", {"-chipid"});
    row("chipid text", {"chipid=abc"});
    row("no first_boot, so the kit is read", {"-first_boot"});
    row("field length removed", {"-first_boot", "-" + field + "length"});
    row("field length 0", {"-first_boot", field + "length=0"});
    row("field length 40", {"-first_boot", field + "length=40"});
    row("field value huge", {"-first_boot", field + "value=99999999999"});
    row("field value negative", {field + "value=-4"});
    row("field value text", {"-first_boot", field + "value=abc"});
    row("field name removed", {"-first_boot", "-" + field + "name"});
    row("fields size huge", {"-first_boot", "channels/1/registers/3/fields/size=100000"});
    row("fields removed", {"-first_boot", "-channels/1/registers/3/fields"});
    row("register address 77", {"-first_boot", "channels/1/registers/3/address=77"});
    row("registers size huge", {"-first_boot", "channels/1/registers/size=99999"});
    row("channel B removed", {"-first_boot", "-channels/2"});
    row("channels removed", {"-first_boot", "-channels"});
    row("channels size 1", {"-first_boot", "channels/size=1"});
    row("sensing value text", {"-first_boot", entry + "off_amplitude=abc"});
    row("sensing value huge", {"-first_boot", entry + "nb_prd_click=1e30"});
    row("sensing key removed", {"-first_boot", "-" + entry + "on_vmin"});
    row("sensing size huge", {"-first_boot", "sensing/size=100000"});
    row("sensing size 0", {"-first_boot", "sensing/size=0"});
    row("sensing removed", {"-first_boot", "-sensing"});
    row("audio value text", {"-first_boot", "audioplayback/ch0sw0type0=x"});
    row("audio key of another form", {"-first_boot", "audioplayback/ch9sw9type9=1"});
    row("audio removed", {"-first_boot", "-audioplayback"});
    row("show reserved text", {"-first_boot", "showrsvd=maybe"});
}

// A damaged session starts, connects and reads the kit; what the program writes into it
// has the program's own form, whatever was there.
void TestKitFaults::damagedSessions()
{
    QFETCH(QStringList, edits);
    if (session.isEmpty()) { // a whole session, as a first connection leaves it
        writeFile(settings.fileName(), "[General]\nchipid=67\n");
        MainWindow first(kit.enumerator());
        QVERIFY(first.serialController()->isConnected());
        QFile file(settings.fileName());
        QVERIFY(file.open(QIODevice::ReadOnly));
        session = file.readAll();
        QVERIFY(session.contains("first_boot=false"));
    }
    writeFile(settings.fileName(), session);
    for (const QString &edit : edits) {
        if (edit.startsWith('-'))
            QSettings().remove(edit.mid(1));
        else if (edit.startsWith("file:"))
            writeFile(settings.fileName(), edit.mid(5).toLatin1());
        else
            QSettings().setValue(edit.section('=', 0, 0), edit.section('=', 1));
    }
    const QMap<QString, QString> before = sessionSnapshot();
    window = std::make_unique<MainWindow>(kit.enumerator());
    QVERIFY(window->serialController()->isConnected());
    QCOMPARE(look(*window, "connectionLabel").section('|', 0, 0), "Connected");
    press("sendToDeviceButton");
    const QStringList problems = malformedWrites(before);
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join(' ')));
}

QTEST_MAIN(TestKitFaults)
#include "tst_kitfaults.moc"
