#include "app/constants.h"
#include "app/mainwindow.h"
#include "kitfirmware.h"
#include "ptykitpeer.h"
#include "support/modalcloser.h"
#include "support/testsettings.h"

#include <QAction>
#include <QPushButton>
#include <QTabWidget>
#include <QtTest>

namespace {

const QString Green =
    "|QLabel { background-color : #5DFC0A; color : black; padding: 5px 5px 5px 5px; }";
const QString Yellow =
    "|QLabel { background-color : yellow; color : black;padding: 5px 5px 5px 5px; }";
const QString Red =
    "|QLabel { background-color : \t#FF0000; color : white; padding: 5px 5px 5px 5px; }";
const QString Start = "|QLabel { background-color : red; color : white;padding: 5px 5px 5px 5px; }";

// What setControlsEnabled switches, apart from the pages' own setEnabled slots.
const QStringList KitControls{
    "loadFromDeviceButton", "sendToDeviceButton",     "sendAndSaveButton", "powerButton",
    "oscillatorButton",     "oscillatorChannelCombo", "sensingButton",     "outputButton"};

constexpr int NoExit = 12345; // what the event loop ends with when nothing asked it to

// Runs the event loop until something asks it to end, or ready() holds at two polls in
// a row (so that an exit asked for on the way wins), or timeoutMs passed; returns the code.
int runLoop(int timeoutMs, const std::function<bool()> &ready)
{
    QTimer poll;
    int seen = 0, left = timeoutMs / 50;
    QObject::connect(&poll, &QTimer::timeout, [&] {
        seen = ready() ? seen + 1 : 0;
        if (seen == 2 || --left == 0)
            QCoreApplication::exit(NoExit);
    });
    poll.start(50);
    return QCoreApplication::exec();
}

// The commands the kit got: "D" and "C" commands whole, the others by their first
// byte with a run of the same first byte folded into one.
QString tokens(const PtyKitPeer &peer)
{
    QStringList tokens;
    for (const KitFirmware::Exchange &exchange : KitFirmware().feed(peer.receivedBytes())) {
        const QByteArray &command = exchange.command;
        const QString token = QByteArray("DC").contains(command[0]) ? command : command.left(1);
        if (token.size() > 1 || tokens.isEmpty() || tokens.last() != token)
            tokens.append(token);
    }
    return tokens.join(' ');
}

QString text(const MainWindow &window, const QString &name)
{
    return window.findChild<QWidget *>(name)->property("text").toString();
}

// The text of a widget, and "|" and its style sheet if it has one.
QString look(const MainWindow &window, const QString &name)
{
    const QString style = window.findChild<QWidget *>(name)->styleSheet();
    return text(window, name) + (style.isEmpty() ? "" : "|" + style);
}

} // namespace

class TestMainWindow : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QApplication::setQuitOnLastWindowClosed(false); }
    void init() { settings.reset(); }
    void frame();
    void calls_data();
    void calls();
    void connection_data();
    void connection();

private:
    TestSettings settings;
};

void TestMainWindow::frame()
{
    MainWindow window([] { return QList<PortCandidate>(); });
    auto *tabs = window.findChild<QTabWidget *>("tabWidget");
    QStringList pages;
    for (int i = 0; i < tabs->count(); ++i)
        pages << tabs->tabText(i) + "=" + tabs->widget(i)->metaObject()->className();
    QCOMPARE(pages, QStringList({"Audio=AudioWidget", "Register Config=RegisterWidget",
                                 "Sensing Config=SensingWidget",
                                 "Force Measurement=ThresholdCalibratorWidget"}));
    QTimer::singleShot(0, window.findChild<QAction *>("exitAction"), &QAction::trigger);
    QCOMPARE(runLoop(300, [] { return false; }), 0);
}

void TestMainWindow::calls_data()
{
    QTest::addColumn<QStringList>("calls"); // "on"/"off": setControlsEnabled; buttons are clicked
    QTest::addColumn<QStringList>("looks"); // "name=look" of the widgets the row is about
    QTest::addColumn<QStringList>("enabled");

    const QStringList saved{"markUpToDate", "markSaved"};
    const QString activate = "sensingButton=Activate Sensing";
    auto row = [](const char *name, const QStringList &calls, const QStringList &looks,
                  const QStringList &enabled) { QTest::newRow(name) << calls << looks << enabled; };
    row("as built", {},
        {"saveLabel=Not Saved" + Yellow, "syncLabel=Pending Changes" + Yellow,
         "connectionLabel=Not Connected" + Start},
        {});
    row("saved and up to date", saved, {"saveLabel=Saved" + Green, "syncLabel=Up To Date" + Green},
        {});
    row("pending changes undo saved", saved + QStringList{"markPendingChanges"},
        {"saveLabel=Not Saved" + Yellow, "syncLabel=Pending Changes" + Yellow}, {});
    row("link lost", saved + QStringList{"lost"},
        {"saveLabel=Not Saved" + Yellow, "syncLabel=Pending Changes" + Yellow,
         "connectionLabel=Not Connected" + Red},
        {});
    row("last call decides", {"on", "off", "off", "on"}, {}, KitControls);
    row("power down leaves its button", {"on", "powerButton"}, {activate, "powerButton=Power Up"},
        {"powerButton"});
    row("oscillator leaves its button", {"on", "oscillatorButton"},
        {activate, "oscillatorButton=Stop Oscillator on SDO"}, {"oscillatorButton"});
}

void TestMainWindow::calls()
{
    QFETCH(QStringList, calls);
    QFETCH(QStringList, looks);
    QFETCH(QStringList, enabled);

    const QHash<QString, void (MainWindow::*)()> marks{
        {"markUpToDate", &MainWindow::markUpToDate},
        {"markPendingChanges", &MainWindow::markPendingChanges},
        {"markSaved", &MainWindow::markSaved}};
    MainWindow window([] { return QList<PortCandidate>(); });
    for (const QString &call : qAsConst(calls)) {
        if (call == "lost")
            window.onDeviceConnected(false);
        else if (call == "on" || call == "off")
            window.setControlsEnabled(call == "on");
        else if (marks.contains(call))
            (window.*marks.value(call))();
        else
            window.findChild<QPushButton *>(call)->click();
    }
    for (const QString &expected : qAsConst(looks))
        QCOMPARE(expected.section('=', 0, 0) + "=" + look(window, expected.section('=', 0, 0)),
                 expected);
    for (const QString &name : KitControls)
        QVERIFY2(window.findChild<QWidget *>(name)->isEnabled() == enabled.contains(name),
                 qPrintable(name));
    for (const char *name : {"firmwareLabel", "chipLabel", "sensingWidget", "menuBar"})
        QVERIFY2(window.findChild<QWidget *>(name)->isEnabled(), name); // never disabled
}

void TestMainWindow::connection_data()
{
    QTest::addColumn<QByteArray>("firmwareId");
    QTest::addColumn<int>("chipId");
    QTest::addColumn<QByteArray>("session");  // the settings file before the start
    QTest::addColumn<QStringList>("presses"); // buttons, once connected
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("message");
    // Firmware and chip labels, commands to the kit, sensing button|sync label|save label.
    QTest::addColumn<QStringList>("shown");

    const QByteArray revB = "chipid=66\nfirst_boot=false", revC = "chipid=67\nfirst_boot=false";
    const QString changed =
        "Chip ID revision has changed\nCurrent Revision: %1\nPrevious Revision: %2";
    const QString id = "Firmware ID: 2.3", chipC = "Chip ID: 0x246A (Rev C)",
                  chipB = "Chip ID: 0x2466 (Rev B)",
                  idle = "Deactivate Sensing|Pending Changes|Not Saved";
    auto row = [](const char *name, const char *firmwareId, int chipId, const QByteArray &session,
                  int code, const QString &message, const QStringList &shown,
                  const QStringList &presses = {}) {
        QTest::newRow(name) << QByteArray(firmwareId) << chipId << session << presses << code
                            << message << shown;
    };
    row("first boot reads the kit", "2.3", 0x246A, "chipid=67", NoExit, "",
        {id, chipC, "= H 5 8 4", "Deactivate Sensing|Up To Date|Not Saved"});
    row("session in use is not read", "2.3", 0x2466, revB, NoExit, "", {id, chipB, "= H", idle});
    row("other firmware quits", "2.2", 0x246A, revC, 0,
        "Firmware version not compatible \nCurrent version: 2.2\nCompatible version: 2.3",
        {"Firmware ID: 2.2", chipC, "= H", idle});
    row("revision B on a revision C session", "2.3", 0x2466, revC, EXIT_CODE_RESTART_REV_B,
        changed.arg("B", "C"), {id, chipB, "= H", idle});
    row("revision C on a revision B session", "2.3", 0x246A, revB, EXIT_CODE_RESTART_REV_C,
        changed.arg("C", "B"), {id, chipC, "= H", idle});
    row("unknown chip restarts as revision C", "2.3", 0x12AB, revC, EXIT_CODE_RESTART_REV_C,
        changed.arg(QChar(0)).arg("C"), {id, "Chip ID: 0x12AB", "= H", idle});

    // What the buttons send once connected, and what they show after.
    auto press = [&](const char *name, const QStringList &presses, const char *tokens,
                     const char *texts) {
        row(name, "2.3", 0x246A, revC, NoExit, "", {id, chipC, tokens, texts}, presses);
    };
    press("load", {"loadFromDeviceButton"}, "= H 5 8 4", "Deactivate Sensing|Up To Date|Not Saved");
    press("send switches sensing back on", {"sensingButton", "sendToDeviceButton"},
          "= H D0 2 6 0 D1", "Deactivate Sensing|Up To Date|Not Saved");
    press("send and save", {"sendAndSaveButton"}, "= H D0 2 6 0 D1 D0 3 7 1 D1",
          "Deactivate Sensing|Up To Date|Saved");
    press("power down and up", {"powerButton", "powerButton"}, "= H D0 > <",
          "Activate Sensing|Pending Changes|Not Saved");
}

void TestMainWindow::connection()
{
    QFETCH(QByteArray, firmwareId);
    QFETCH(int, chipId);
    QFETCH(QByteArray, session);
    QFETCH(QStringList, presses);
    QFETCH(int, exitCode);
    QFETCH(QString, message);
    QFETCH(QStringList, shown);

    QFile file(settings.fileName());
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("[General]\n" + session) && file.flush());
    PtyKitPeer kit;
    kit.setHandler(
        [firmware = std::make_shared<KitFirmware>(chipId, firmwareId)](const QByteArray &chunk) {
            QList<PtyKitPeer::ReplyPiece> replies;
            for (const KitFirmware::Exchange &exchange : firmware->feed(chunk))
                replies.append({exchange.reply, 0});
            return replies;
        });
    QVERIFY(kit.open());
    MainWindow window(kit.enumerator());
    ModalCloser closer;
    QWidget *load = window.findChild<QWidget *>("loadFromDeviceButton");
    QCOMPARE(runLoop(10000, [load] { return load->isEnabled(); }), exitCode);
    for (const QString &press : qAsConst(presses))
        window.findChild<QPushButton *>(press)->click();
    // The last commands may stand yet in the line.
    QTRY_COMPARE(QStringList({look(window, "firmwareLabel"), look(window, "chipLabel"), tokens(kit),
                              text(window, "sensingButton") + "|" + text(window, "syncLabel") +
                                  "|" + text(window, "saveLabel"),
                              look(window, "connectionLabel")}),
                 shown + QStringList{"Connected" + Green});
    QCOMPARE(closer.texts().join('|'), message);
    QCOMPARE(window.cursor().shape(), Qt::ArrowCursor);
}

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
