#include "app/mainwindow.h"
#include "kitfirmware.h"
#include "link/serialcontroller.h"
#include "simulatedkit.h"
#include "support/modalcloser.h"
#include "support/sessionshape.h"
#include "support/testsettings.h"

#include <QLabel>
#include <QPushButton>
#include <QtTest>

// The main window against a kit that misbehaves: pulled out in the middle of a transfer,
// answering with a broken reply, or met with a damaged session file.
namespace {

QString text(const MainWindow &window, const char *name)
{
    return window.findChild<QLabel *>(name)->text();
}

void writeSession(const QString &fileName, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(fileName).path());
    QFile file(fileName);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(bytes);
}

} // namespace

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
        if (!kit.transport().isPlugged())
            QVERIFY(kit.plug());
        settings.reset();
    }

    void unplugAfterEachCommand_data();
    void unplugAfterEachCommand();
    void brokenReplyLeavesTheSession();
    void damagedSessions_data();
    void damagedSessions();

private:
    TestSettings settings;
    SimulatedKit kit;
    ModalCloser closer;
    QByteArray session; // as the first connection to the kit leaves it
};

void TestKitFaults::unplugAfterEachCommand_data()
{
    QTest::addColumn<QString>("button");
    QTest::addColumn<bool>("afterSend"); // from the first command after Send to Device's
    QTest::newRow("Load from Device") << "loadFromDeviceButton" << false;
    QTest::newRow("Send to Device") << "sendToDeviceButton" << false;
    // Its first part is Send to Device, which the row above pulls apart command by command.
    QTest::newRow("Send to Device && Save to EEPROM") << "sendAndSaveButton" << true;
}

// For each command of the transfer in turn, the kit goes when that command's exchange is
// over. No exchange outlasts its bounds, the session holds only well-formed values, and
// the kit is found again when it comes back.
void TestKitFaults::unplugAfterEachCommand()
{
    QFETCH(QString, button);
    QFETCH(bool, afterSend);
    writeSession(settings.fileName(), "[General]\nchipid=67\nfirst_boot=false\n");
    const QMap<QString, QString> start = sessionSnapshot();
    MainWindow window(kit.enumerator());
    SerialController *serial = window.serialController();
    QVERIFY(serial->isConnected());
    auto *press = window.findChild<QPushButton *>(button);

    int ended = 0, unplugAfter = -1;
    QStringList exchanges; // of the last transfer: command, how it ended, how long it took
    qint64 longest = 0;
    connect(serial, &SerialController::sigExchangeEnded, this,
            [&](ReadType, ExchangeEnd end, const QByteArray &command, qint64 ms) {
                longest = qMax(longest, ms);
                exchanges << QStringLiteral("%1:%2:%3")
                                 .arg(QString::fromLatin1(command.left(2).toHex()))
                                 .arg(int(end))
                                 .arg(ms);
                if (++ended == unplugAfter)
                    kit.unplug();
            });
    window.findChild<QPushButton *>("sendToDeviceButton")->click();
    const int skip = afterSend ? ended - 1 : 0;
    ended = 0;
    press->click();
    const int commands = ended;
    QVERIFY2(commands > skip, qPrintable(QStringLiteral("%1 %2").arg(commands).arg(skip)));

    for (unplugAfter = skip + 1; unplugAfter <= commands; ++unplugAfter) {
        ended = 0;
        exchanges.clear();
        press->click();
        const QString trace = QString::number(unplugAfter) + ": " + exchanges.join(' ');
        QVERIFY2(longest <=
                     SerialController::WriteTimeoutMs + SerialController::ExchangeTimeLimitMs,
                 qPrintable(trace));
        QVERIFY(!serial->isConnected());
        QCOMPARE(text(window, "connectionLabel"), QStringLiteral("Not Connected"));
        QVERIFY2(closer.texts().size() <= 1, qPrintable(trace));
        closer.clear();
        QCOMPARE(QSettings().status(), QSettings::NoError);
        const QStringList problems = malformedWrites(start);
        QVERIFY2(problems.isEmpty(), qPrintable(problems.join(' ')));
        QVERIFY(kit.plug());
        QVERIFY(serial->isConnected());
        QCOMPARE(text(window, "connectionLabel"), QStringLiteral("Connected"));
        QCOMPARE(text(window, "firmwareLabel"), QStringLiteral("Firmware ID: 2.3"));
    }
}

// A reply cut short stores nothing and leaves the sync label as it was, with a warning.
void TestKitFaults::brokenReplyLeavesTheSession()
{
    writeSession(settings.fileName(), "[General]\nchipid=67\nfirst_boot=false\n");
    MainWindow window(kit.enumerator());
    QVERIFY(window.serialController()->isConnected());
    // Channel A's first parameter, 60.00, comes first; cut, it would read as 58.88.
    const QByteArray whole = kit.withFirmware([](KitFirmware &firmware) {
        firmware.feed("200\x17\x70");
        return firmware.feed("5").value(0).reply;
    });
    kit.setReplyOverride('5', whole.left(3) + whole.mid(4));
    const QMap<QString, QString> before = sessionSnapshot();

    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("not stored"));
    window.findChild<QPushButton *>("loadFromDeviceButton")->click();
    QCOMPARE(text(window, "syncLabel"), QStringLiteral("Pending Changes"));
    QCOMPARE(sessionSnapshot().value("sensing/1/low_amp_multiplicator"),
             before.value("sensing/1/low_amp_multiplicator"));

    kit.clearFaults();
    window.findChild<QPushButton *>("loadFromDeviceButton")->click();
    QCOMPARE(text(window, "syncLabel"), QStringLiteral("Up To Date"));
    QVERIFY(sessionSnapshot().value("sensing/1/low_amp_multiplicator") !=
            before.value("sensing/1/low_amp_multiplicator"));
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
        writeSession(settings.fileName(), "[General]\nchipid=67\n");
        MainWindow window(kit.enumerator());
        QVERIFY(window.serialController()->isConnected());
        QFile file(settings.fileName());
        QVERIFY(file.open(QIODevice::ReadOnly));
        session = file.readAll();
        QVERIFY(session.contains("first_boot=false"));
    }
    writeSession(settings.fileName(), session);
    {
        QSettings file;
        for (const QString &edit : edits) {
            if (edit.startsWith('-'))
                file.remove(edit.mid(1));
            else if (!edit.startsWith("file:"))
                file.setValue(edit.section('=', 0, 0), edit.section('=', 1));
        }
    }
    if (edits.value(0).startsWith("file:"))
        writeSession(settings.fileName(), edits.first().mid(5).toLatin1());
    const QMap<QString, QString> before = sessionSnapshot();

    MainWindow window(kit.enumerator());
    QVERIFY(window.serialController()->isConnected());
    QCOMPARE(text(window, "connectionLabel"), QStringLiteral("Connected"));
    window.findChild<QPushButton *>("sendToDeviceButton")->click();
    const QStringList problems = malformedWrites(before);
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join(' ')));
    closer.clear();
}

QTEST_MAIN(TestKitFaults)
#include "tst_kitfaults.moc"
