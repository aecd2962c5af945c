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
        if ((seen = ready() ? seen + 1 : 0) == 2 || --left == 0)
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

// The text of a widget, and "|" and its style sheet if it has one.
QString look(const MainWindow &window, const QString &name)
{
    const QWidget *widget = window.findChild<QWidget *>(name);
    const QString style = widget->styleSheet();
    return widget->property("text").toString() + (style.isEmpty() ? "" : "|" + style);
}

} // namespace

using Calls = QList<std::function<void(MainWindow &)>>; // made in order on a new window
Q_DECLARE_METATYPE(Calls)

class TestMainWindow : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QApplication::setQuitOnLastWindowClosed(false); }
    void init() { settings.reset(); }
    void calls_data();
    void calls();
    void connection_data();
    void connection();

private:
    TestSettings settings;
};

void TestMainWindow::calls_data()
{
    QTest::addColumn<Calls>("calls");
    QTest::addColumn<QStringList>("enabled");
    QTest::addColumn<QStringList>("looks"); // "name=look" of the widgets the row is about

    const auto set = [](bool on) { return [on](MainWindow &w) { w.setControlsEnabled(on); }; };
    const auto click = [](const char *name) {
        return [name](MainWindow &w) { w.findChild<QPushButton *>(name)->click(); };
    };
    const Calls saved{&MainWindow::markUpToDate, &MainWindow::markSaved};
    const QString activate = "sensingButton=Activate Sensing";
    const QStringList pending{"saveLabel=Not Saved" + Yellow, "syncLabel=Pending Changes" + Yellow};
    auto row = [](const char *name, const Calls &calls, const QStringList &enabled,
                  const QStringList &looks) { QTest::newRow(name) << calls << enabled << looks; };
    row("as built", {}, {}, pending + QStringList{"connectionLabel=Not Connected" + Start});
    row("saved and up to date", saved, {},
        {"saveLabel=Saved" + Green, "syncLabel=Up To Date" + Green});
    row("pending changes undo saved", saved + Calls{&MainWindow::markPendingChanges}, {}, pending);
    row("link lost", saved + Calls{[](MainWindow &w) { w.onDeviceConnected(false); }}, {},
        pending + QStringList{"connectionLabel=Not Connected" + Red});
    row("last call decides", {set(true), set(false), set(false), set(true)}, KitControls, {});
    row("power down leaves its button", {set(true), click("powerButton")}, {"powerButton"},
        {activate, "powerButton=Power Up"});
    row("oscillator leaves its button", {set(true), click("oscillatorButton")},
        {"oscillatorButton"}, {activate, "oscillatorButton=Stop Oscillator on SDO"});
}

void TestMainWindow::calls()
{
    QFETCH(Calls, calls);
    QFETCH(QStringList, enabled);
    QFETCH(QStringList, looks);

    MainWindow window([] { return QList<PortCandidate>(); });
    auto *tabs = window.findChild<QTabWidget *>("tabWidget");
    QStringList pages;
    for (int i = 0; i < tabs->count(); ++i)
        pages << tabs->tabText(i) + "=" + tabs->widget(i)->metaObject()->className();
    QCOMPARE(pages, QStringList({"Audio=AudioWidget", "Register Config=RegisterWidget",
                                 "Sensing Config=SensingWidget",
                                 "Force Measurement=ThresholdCalibratorWidget"}));
    for (const auto &call : qAsConst(calls))
        call(window);
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
    QTest::addColumn<QByteArray>("session"); // the settings file before the start
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("message");
    // Firmware and chip labels (the kit reports what they show), commands to the kit,
    // sensing button|sync label|save label.
    QTest::addColumn<QStringList>("shown");
    QTest::addColumn<QStringList>("presses"); // buttons, once connected

    const QByteArray revB = "chipid=66\nfirst_boot=false", revC = "chipid=67\nfirst_boot=false";
    const QString changed =
        "Chip ID revision has changed\nCurrent Revision: %1\nPrevious Revision: %2";
    const QString id = "Firmware ID: 2.3", chipC = "Chip ID: 0x246A (Rev C)",
                  chipB = "Chip ID: 0x2466 (Rev B)",
                  idle = "Deactivate Sensing|Pending Changes|Not Saved",
                  synced = "Deactivate Sensing|Up To Date|Not Saved";
    auto row = [](const char *name, const QByteArray &session, int code, const QString &message,
                  const QStringList &shown, const QStringList &presses = {}) {
        QTest::newRow(name) << session << code << message << shown << presses;
    };
    row("first boot reads the kit", "chipid=67", NoExit, "", {id, chipC, "= H 5 8 4", synced});
    row("session in use is not read", revB, NoExit, "", {id, chipB, "= H", idle});
    row("other firmware quits", revC, 0,
        "Firmware version not compatible \nCurrent version: 2.2\nCompatible version: 2.3",
        {"Firmware ID: 2.2", chipC, "= H", idle});
    // Both messages in turn; the session is neither restarted nor cleared.
    row("other firmware and another chip", revC, 0,
        "Firmware version not compatible \nCurrent version: 2.2\nCompatible version: 2.3|" +
            changed.arg("B", "C"),
        {"Firmware ID: 2.2", chipB, "= H", idle});
    row("other firmware and an unknown chip", revC, 0,
        "Firmware version not compatible \nCurrent version: 2.4\nCompatible version: 2.3|" +
            changed.arg(QChar(0)).arg("C"),
        {"Firmware ID: 2.4", "Chip ID: 0x12AB", "= H", idle});
    row("revision B on a revision C session", revC, EXIT_CODE_RESTART_REV_B, changed.arg("B", "C"),
        {id, chipB, "= H", idle});
    row("revision C on a revision B session", revB, EXIT_CODE_RESTART_REV_C, changed.arg("C", "B"),
        {id, chipC, "= H", idle});
    row("unknown chip restarts as revision C", revC, EXIT_CODE_RESTART_REV_C,
        changed.arg(QChar(0)).arg("C"), {id, "Chip ID: 0x12AB", "= H", idle});
    // What the buttons send once connected, and what they show after.
    auto press = [&](const char *name, const QStringList &presses, const char *tokens,
                     const QString &texts) {
        row(name, revC, NoExit, "", {id, chipC, tokens, texts}, presses);
    };
    press("load", {"loadFromDeviceButton"}, "= H 5 8 4", synced);
    press("send switches sensing back on", {"sensingButton", "sendToDeviceButton"},
          "= H D0 2 6 0 D1", synced);
    press("send and save", {"sendAndSaveButton"}, "= H D0 2 6 0 D1 D0 3 7 1 D1",
          "Deactivate Sensing|Up To Date|Saved");
    press("power down and up", {"powerButton", "powerButton"}, "= H D0 > <",
          "Activate Sensing|Pending Changes|Not Saved");
}

void TestMainWindow::connection()
{
    QFETCH(QByteArray, session);
    QFETCH(int, exitCode);
    QFETCH(QString, message);
    QFETCH(QStringList, shown);
    QFETCH(QStringList, presses);

    QFile file(settings.fileName());
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("[General]\n" + session) && file.flush());
    PtyKitPeer kit;
    auto firmware = std::make_shared<KitFirmware>(shown[1].section(' ', 2, 2).toUInt(nullptr, 0),
                                                  shown[0].section(' ', 2).toLatin1());
    kit.setHandler([firmware](const QByteArray &chunk) {
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
    // The last commands may stand yet in the line. Of the sync and save labels, only texts.
    QTRY_COMPARE(QStringList({look(window, "firmwareLabel"), look(window, "chipLabel"), tokens(kit),
                              look(window, "sensingButton") + "|" +
                                  look(window, "syncLabel").section('|', 0, 0) + "|" +
                                  look(window, "saveLabel").section('|', 0, 0),
                              look(window, "connectionLabel")}),
                 shown + QStringList{"Connected" + Green});
    QCOMPARE(closer.texts().join('|'), message);
    QCOMPARE(QSettings().value(CHIPID_KEY).toByteArray(), session.mid(7, 2));
    QCOMPARE(window.cursor().shape(), Qt::ArrowCursor);
    QTimer::singleShot(0, window.findChild<QAction *>("exitAction"), &QAction::trigger);
    QCOMPARE(runLoop(300, [] { return false; }), 0);
}

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
