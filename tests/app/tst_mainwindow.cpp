#include "app/constants.h"
#include "app/mainwindow.h"
#include "kitfirmware.h"
#include "link/serialcontroller.h"
#include "ptykitpeer.h"
#include "registers/registerlineedit.h"
#include "registers/registerwidget.h"
#include "support/datarow.h"
#include "support/modalcloser.h"
#include "support/testsettings.h"
#include "support/windowtest.h"

#include <QtTest>
#include <QtWidgets>

namespace {

// What setControlsEnabled switches, apart from the pages' own setEnabled slots.
const QStringList KitControls{
    "loadFromDeviceButton", "sendToDeviceButton",     "sendAndSaveButton", "powerButton",
    "oscillatorButton",     "oscillatorChannelCombo", "sensingButton",     "outputButton"};

const auto noPorts = [] { return QList<PortCandidate>(); };

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

// Makes the kit answer as its firmware does, with that chip and firmware identifier;
// at the first command loseAt, if given, it is unplugged instead.
void serveFirmware(PtyKitPeer &kit, quint16 chip, const QByteArray &firmwareId, char loseAt = 0)
{
    auto firmware = std::make_shared<KitFirmware>(chip, firmwareId);
    kit.setHandler([firmware, &kit, loseAt](const QByteArray &chunk) mutable {
        QList<PtyKitPeer::ReplyPiece> replies;
        if (loseAt && chunk.startsWith(loseAt)) {
            loseAt = 0;
            kit.unplug();
            return replies;
        }
        for (const KitFirmware::Exchange &exchange : firmware->feed(chunk))
            replies.append({exchange.reply, 0});
        return replies;
    });
}

} // namespace

using Calls = QList<std::function<void(MainWindow &)>>; // made in order on a new window
Q_DECLARE_METATYPE(Calls)

class TestMainWindow : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QApplication::setQuitOnLastWindowClosed(false); }
    void init()
    {
        QDir(settings.fileName()).removeRecursively(); // left by a row that broke it
        settings.reset();
    }

    void calls_data()
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
        const QStringList pending{"saveLabel=Not Saved|yellow", "syncLabel=Pending Changes|yellow"};
        auto row = [](const char *name, const Calls &calls, const QStringList &enabled,
                      const QStringList &looks) {
            QTest::newRow(name) << calls << enabled << looks;
        };
        row("as built", {}, {}, pending + QStringList{"connectionLabel=Not Connected|red"});
        row("saved and up to date", saved, {},
            {"saveLabel=Saved|#5DFC0A", "syncLabel=Up To Date|#5DFC0A"});
        row("pending changes undo saved", saved + Calls{&MainWindow::markPendingChanges}, {},
            pending);
        row("link lost", saved + Calls{[](MainWindow &w) { w.onDeviceConnected(false); }}, {},
            pending + QStringList{"connectionLabel=Not Connected|#FF0000"});
        row("last call decides", {set(true), set(false), set(false), set(true)}, KitControls, {});
        row("power down leaves its button", {set(true), click("powerButton")}, {"powerButton"},
            {activate, "powerButton=Power Up"});
        row("oscillator leaves its button", {set(true), click("oscillatorButton")},
            {"oscillatorButton"}, {activate, "oscillatorButton=Stop Oscillator on SDO"});
    }
    void calls()
    {
        QFETCH(Calls, calls);
        QFETCH(QStringList, enabled);
        QFETCH(QStringList, looks);
        MainWindow window(noPorts);
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
        for (const QString &about :
             {"saveLabel=EEPROM", "syncLabel=received", "connectionLabel=serial link"})
            QVERIFY(window.findChild<QLabel *>(about.section('=', 0, 0))
                        ->toolTip()
                        .contains(about.section('=', 1)));
        for (const QLabel *label : window.statusBar()->findChildren<QLabel *>()) // whole texts
            QVERIFY2(!label->isVisibleTo(&window) || label->width() >= label->sizeHint().width(),
                     qPrintable(label->text()));
    }

    void connection_data()
    {
        QTest::addColumn<QByteArray>("session"); // the settings file before the start
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("message");
        // Firmware and chip labels (the kit reports what they show), commands to the kit,
        // sensing button|sync label|save label.
        QTest::addColumn<QStringList>("shown");
        QTest::addColumn<QStringList>("presses"); // once connected: buttons, "editor=text", "lose"

        const QByteArray revB = "chipid=66\nfirst_boot=false", revC = "chipid=67\nfirst_boot=false";
        const QString changed =
            "Chip ID revision has changed\nCurrent Revision: %1\nPrevious Revision: %2";
        const QString refused =
            "Firmware version not compatible \nCurrent version: %1\nCompatible version: 2.3";
        const QString id = "Firmware ID: 2.3", chipC = "Chip ID: 0x246A (Rev C)",
                      chipB = "Chip ID: 0x2466 (Rev B)", pending = "|Pending Changes|Not Saved",
                      idle = "Deactivate Sensing" + pending,
                      synced = "Deactivate Sensing|Up To Date|Not Saved";
        auto row = [](const char *name, const QByteArray &session, int code, const QString &message,
                      const QStringList &shown, const QStringList &presses = {}) {
            QTest::newRow(name) << session << code << message << shown << presses;
        };
        row("first boot reads the kit", "chipid=67", NoExit, "", {id, chipC, "= H 5 8 4", synced});
        row("other firmware quits", revC, 0, refused.arg("2.2"),
            {"Firmware ID: 2.2", chipC, "= H", idle});
        // Both messages in turn; the session is neither restarted nor cleared.
        row("other firmware and another chip", revC, 0,
            refused.arg("2.2") + "|" + changed.arg("B", "C"),
            {"Firmware ID: 2.2", chipB, "= H", idle});
        // A chip of its own: an unknown chip is announced once per process.
        row("other firmware and an unknown chip", revC, 0,
            refused.arg("2.4") +
                "|Chip ID 0x12AC is not known\nThe register map of revision C is used.",
            {"Firmware ID: 2.4", "Chip ID: 0x12AC", "= H", idle});
        row("revision B on a revision C session", revC, EXIT_CODE_RESTART_REV_B,
            changed.arg("B", "C"), {id, chipB, "= H", idle});
        row("revision C on a revision B session", revB, EXIT_CODE_RESTART_REV_C,
            changed.arg("C", "B"), {id, chipC, "= H", idle});
        row("unknown chip works as revision C", revC, NoExit,
            "Chip ID 0x12AB is not known\nThe register map of revision C is used.",
            {id, "Chip ID: 0x12AB", "= H", idle});
        // What the buttons send once connected, and what they show after.
        auto press = [&](const char *name, const QStringList &presses, const char *tokens,
                         const QString &texts, const QString &message = "") {
            row(name, revC, NoExit, message, {id, chipC, tokens, texts}, presses);
        };
        press("send switches sensing back on", {"sensingButton", "sendToDeviceButton"},
              "= H D0 2 6 0 D1", synced);
        press("send and save", {"sendAndSaveButton"}, "= H D0 2 6 0 D1 D0 3 7 1 D1",
              "Deactivate Sensing|Up To Date|Saved");
        press("power down and up", {"powerButton", "powerButton"}, "= H D0 > <",
              "Activate Sensing" + pending);
        // Transfers that did not move everything leave the session pending: a refused
        // register (a 2-bit field holding 7) sends nothing at all, and a kit lost at "5"
        // that comes back.
        const QString red = RegisterWidget::SendFailText;
        press("send with a red register",
              {"sendToDeviceButton", "field_1_0=111", "sendToDeviceButton"}, "= H D0 2 6 0 D1",
              synced, red);
        press("send and save with a red register", {"field_1_0=111", "sendAndSaveButton"}, "= H",
              idle, red);
        press("load that loses the kit", {"lose", "loadFromDeviceButton"}, "= H 5 = H", idle,
              "There was an error communicating with the dev kit");
    }
    void connection()
    {
        QFETCH(QByteArray, session);
        QFETCH(int, exitCode);
        QFETCH(QString, message);
        QFETCH(QStringList, shown);
        QFETCH(QStringList, presses);

        writeSession(session);
        PtyKitPeer kit;
        serveFirmware(kit, quint16(shown[1].section(' ', 2, 2).toUInt(nullptr, 0)),
                      shown[0].section(' ', 2).toLatin1(), presses.contains("lose") ? '5' : 0);
        QVERIFY(kit.open());
        MainWindow window(kit.enumerator());
        ModalCloser closer;
        QCOMPARE(runUntilConnected(window), exitCode);
        for (const QString &press : qAsConst(presses)) {
            if (press.contains('='))
                window.findChild<QLineEdit *>(press.section('=', 0, 0))
                    ->setText(press.section('=', 1));
            else if (press == "lose") // the kit vanishes at "5", and is back once that was seen
                connect(window.serialController(), &SerialController::sigDeviceConnected, &window,
                        [&kit](bool connected) { connected || kit.plug(); });
            else
                window.findChild<QPushButton *>(press)->click();
        }
        // The last commands may stand yet in the line. Of the sync and save labels, only texts.
        QTRY_COMPARE(
            QStringList({look(window, "firmwareLabel"), look(window, "chipLabel"), tokens(kit),
                         look(window, "sensingButton") + "|" +
                             look(window, "syncLabel").section('|', 0, 0) + "|" +
                             look(window, "saveLabel").section('|', 0, 0),
                         look(window, "connectionLabel")}),
            shown + QStringList{"Connected|#5DFC0A"});
        QCOMPARE(closer.texts().join('|'), message);
        QCOMPARE(QSettings().value(CHIPID_KEY).toByteArray(), session.mid(7, 2));
        QCOMPARE(window.cursor().shape(), Qt::ArrowCursor);
        QTimer::singleShot(0, window.findChild<QAction *>("exitAction"), &QAction::trigger);
        QCOMPARE(runLoop(300, [] { return false; }), 0);
    }

    void aboutEndsSentencesOnce()
    {
        MainWindow window(noPorts);
        ModalCloser closer;
        window.showAbout();
        const QString text = closer.texts().value(0);
        QVERIFY2(text.contains(ORG_DISPLAY_NAME) && !text.contains(".."), qPrintable(text));
    }

    // File, Save and File, Open through their dialogs, in a folder with a PNG picture and
    // another session: what is said (the start of it), the exit code, the session's marker
    // after, and the files made in the folder, each a copy of the session.
    void sessionFiles_data()
    {
        QTest::addColumn<QString>("action");
        QTest::addColumn<QString>("answer");
        QTest::addColumn<bool>("broken"); // the session file is a folder: no copy can be made
        QTest::addColumn<QString>("message");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("marker");
        QTest::addColumn<QStringList>("made");
        dataRow("save adds the suffix", "saveAction", "copy", false, "", NoExit, "session",
                QStringList{"copy.ini"});
        dataRow("failed save", "saveAction", "copy.ini", true,
                "The session was not saved to %1/copy.ini:\n", NoExit, "", QStringList());
        dataRow("open a picture", "openAction", "picture.png", false,
                "The session was not opened from %1/picture.png:\n", NoExit, "session",
                QStringList());
        dataRow("open a session", "openAction", "other.ini", false, "", EXIT_CODE_RESTART, "other",
                QStringList());
        // 50 MB that would parse as a session: refused by its size, unread.
        dataRow("open a huge file", "openAction", "huge.ini", false,
                "The session was not opened from %1/huge.ini:\nIt is 50.0 MB,", NoExit, "session",
                QStringList());
    }
    void sessionFiles()
    {
        QFETCH(QString, action);
        QFETCH(QString, answer);
        QFETCH(bool, broken);
        QFETCH(QString, message);
        QFETCH(int, exitCode);
        QFETCH(QString, marker);
        QFETCH(QStringList, made);
        writeSession("chipid=67\nfirst_boot=false\nmarker=session\n");
        QTemporaryDir dir;
        writeFile(dir.filePath("picture.png"), QByteArray::fromHex("89504E470D0A1A0A0000000D"));
        writeFile(dir.filePath("other.ini"), "[General]\nchipid=67\nmarker=other\n");
        writeFile(dir.filePath("huge.ini"), "[General]\nchipid=67\nmarker=other\n");
        QFile(dir.filePath("huge.ini")).resize(50 << 20);
        MainWindow window(noPorts);
        if (broken && QFile::remove(settings.fileName()))
            QDir().mkpath(settings.fileName());
        ModalCloser closer;
        closer.answerFileDialogs({dir.filePath(answer)});
        QTimer::singleShot(0, window.findChild<QAction *>(action), &QAction::trigger);
        QCOMPARE(runLoop(5000, [] { return !QApplication::activeModalWidget(); }), exitCode);
        const QString said = closer.texts().join('|'), start = message.arg(dir.path());
        QVERIFY2(said.left(start.size()) == start &&
                     (said.size() > start.size()) == !start.isEmpty(),
                 qPrintable(said));
        QCOMPARE(QSettings().value("marker").toString(), marker);
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files),
                 made + QStringList({"huge.ini", "other.ini", "picture.png"}));
        for (const QString &file : made)
            QCOMPARE(QSettings(dir.filePath(file), QSettings::IniFormat).value("marker"),
                     QVariant("session"));
    }

    // A revision B session meets a chip it does not know: one message naming the chip, one
    // restart into revision C, then the program works on without a word at later passes.
    void unknownChipIsAnnouncedOnce()
    {
        writeSession("chipid=66\nfirst_boot=false");
        PtyKitPeer kit;
        serveFirmware(kit, 0x1234, "2.3");
        QVERIFY(kit.open());
        ModalCloser closer;
        for (int pass = 0; pass < 3; ++pass) {
            MainWindow window(kit.enumerator());
            QCOMPARE(runUntilConnected(window), pass ? NoExit : EXIT_CODE_RESTART_REV_C);
            writeSession("chipid=67\nfirst_boot=false"); // as the entry point does for that code
        }
        QCOMPARE(closer.texts(),
                 QStringList{"Chip ID revision has changed\nCurrent Revision: unknown "
                             "(0x1234), worked with as C\nPrevious Revision: B"});
    }

    // File, Open and Save have their shortcuts; menus and buttons each a mnemonic of its own.
    void keyboardReachesFilesAndButtons()
    {
        MainWindow window(noPorts);
        QCOMPARE(window.findChild<QAction *>("openAction")->shortcut(),
                 QKeySequence(QKeySequence::Open));
        QCOMPARE(window.findChild<QAction *>("saveAction")->shortcut(),
                 QKeySequence(QKeySequence::Save));
        QSet<QString> keys{""}; // so that a missing mnemonic counts as a repeated one
        for (const QAction *menu : window.findChild<QMenuBar *>("menuBar")->actions())
            keys << QKeySequence::mnemonic(menu->text()).toString();
        for (const QString &name : KitControls.mid(0, 5) + KitControls.mid(6))
            keys
                << QKeySequence::mnemonic(window.findChild<QPushButton *>(name)->text()).toString();
        QCOMPARE(keys.size(), 11); // three menus, seven buttons, and the empty one
    }

    // At 1024 by 700 each of the four pages scrolls, and every control can be brought into
    // view whole.
    void pagesScrollInASmallWindow()
    {
        MainWindow window(noPorts);
        window.resize(1024, 700);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QCOMPARE(window.size(), QSize(1024, 700));
        auto *tabs = window.findChild<QTabWidget *>("tabWidget");
        QCOMPARE(tabs->count(), 4);
        for (int i = 0; i < tabs->count(); ++i) {
            tabs->setCurrentIndex(i);
            auto *area = qobject_cast<QScrollArea *>(tabs->widget(i));
            QVERIFY(area);
            for (QWidget *control : area->widget()->findChildren<QWidget *>()) {
                const auto *label = qobject_cast<QLabel *>(control);
                const QRect inPage(control->mapTo(area->widget(), QPoint()), control->size());
                if (!control->isVisibleTo(area) || (label && label->wordWrap()) ||
                    qobject_cast<QAbstractSpinBox *>(control->parentWidget()) ||
                    !(label || control->focusPolicy() != Qt::NoFocus))
                    continue;
                area->ensureVisible(inPage.center().x(), inPage.center().y(),
                                    inPage.width() / 2 + 1, inPage.height() / 2 + 1);
                const QRect shown(control->mapTo(area->viewport(), QPoint()), control->size());
                QVERIFY2(control->height() >= control->minimumSizeHint().height() &&
                             (area->viewport()->rect().contains(shown) ||
                              shown.width() > area->viewport()->width()),
                         qPrintable(tabs->tabText(i) + ": " + control->objectName()));
            }
        }
    }

    // Focus on field after field, short descriptions and long: the register grid stays put.
    void registerGridStaysPut()
    {
        MainWindow window(noPorts);
        window.resize(1366, 740);
        window.show();
        QApplication::setActiveWindow(&window);
        QVERIFY(QTest::qWaitForWindowActive(&window));
        window.findChild<QTabWidget *>("tabWidget")->setCurrentIndex(1);
        QSet<int> sendAt;
        for (RegisterLineEdit *editor :
             window.registerWidget()->findChildren<RegisterLineEdit *>()) {
            editor->setFocus();
            QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
            sendAt << window.findChild<QWidget *>("sendButton_0")->mapTo(&window, {}).x();
        }
        QCOMPARE(sendAt.size(), 1);
    }

private:
    void writeSession(const QByteArray &keys)
    {
        writeFile(settings.fileName(), "[General]\n" + keys);
    }

    TestSettings settings;
};

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
