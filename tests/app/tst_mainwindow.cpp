#include "app/constants.h"
#include "app/mainwindow.h"
#include "audio/audiowidget.h"
#include "exitcatcher.h"
#include "registers/registerwidget.h"
#include "sensing/sensingwidget.h"
#include "sensing/thresholdcalibratorwidget.h"
#include "support/modalcloser.h"
#include "support/testsettings.h"

#include <QAction>
#include <QComboBox>
#include <QFile>
#include <QFileDialog>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QSettings>
#include <QSpacerItem>
#include <QTabWidget>
#include <QtTest>

namespace {

const QString Green =
    "QLabel { background-color : #5DFC0A; color : black; padding: 5px 5px 5px 5px; }";
const QString Yellow =
    "QLabel { background-color : yellow; color : black;padding: 5px 5px 5px 5px; }";
const QString Red =
    "QLabel { background-color : \t#FF0000; color : white; padding: 5px 5px 5px 5px; }";
const QString Start = "QLabel { background-color : red; color : white;padding: 5px 5px 5px 5px; }";
const QString ChannelOn =
    "QLabel { background-color : #5DFC0A; color : black;padding: 5px 5px 5px 5px; }";
const QString ChannelOff =
    "QLabel { background-color : red; color : black;padding: 5px 5px 5px 5px; }";

// The buttons and the combo box that setControlsEnabled switches.
const QStringList KitControls{
    "loadFromDeviceButton", "sendToDeviceButton",     "sendAndSaveButton", "powerButton",
    "oscillatorButton",     "oscillatorChannelCombo", "sensingButton",     "outputButton"};

const PortEnumerator NoKit = [] { return QList<PortCandidate>(); };

using Action = void (MainWindow::*)();
const QHash<QString, Action> Actions{
    {"markUpToDate", &MainWindow::markUpToDate},
    {"markPendingChanges", &MainWindow::markPendingChanges},
    {"markSaved", &MainWindow::markSaved},
    {"markNotSaved", &MainWindow::markNotSaved},
    {"toggleSensing", &MainWindow::toggleSensing},
    {"toggleOscillator", &MainWindow::toggleOscillator},
    {"toggleOutput", &MainWindow::toggleOutput},
    {"togglePower", &MainWindow::togglePower},
};

QString textOf(const MainWindow &window, const QString &name)
{
    QWidget *widget = window.findChild<QWidget *>(name);
    return widget ? widget->property("text").toString() : QStringLiteral("<no %1>").arg(name);
}

QString styleOf(const MainWindow &window, const QString &name)
{
    QWidget *widget = window.findChild<QWidget *>(name);
    return widget ? widget->styleSheet() : QString();
}

// Names the items of a layout in order: widgets by objectName, "|" for a stretch,
// nested layouts in brackets.
QString describe(QLayout *layout)
{
    QStringList items;
    for (int i = 0; i < layout->count(); ++i) {
        QLayoutItem *item = layout->itemAt(i);
        if (item->widget())
            items << item->widget()->objectName();
        else if (item->layout())
            items << "[" + describe(item->layout()) + "]";
        else if (item->spacerItem())
            items << "|";
    }
    return items.join(' ');
}

} // namespace

class TestMainWindow : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void startTexts_data();
    void startTexts();
    void layout();
    void tabs();
    void menus();
    void statusLabels_data();
    void statusLabels();
    void controlsEnabled_data();
    void controlsEnabled();
    void stateButtons_data();
    void stateButtons();
    void activatedChannels_data();
    void activatedChannels();
    void openSettingsFile_data();
    void openSettingsFile();
    void saveSettingsFile_data();
    void saveSettingsFile();
    void about();

private:
    TestSettings settings;
};

void TestMainWindow::initTestCase()
{
    // As in the program, where the main window is up while its dialogs come and go.
    QApplication::setQuitOnLastWindowClosed(false);
}

void TestMainWindow::init()
{
    settings.reset();
}

void TestMainWindow::startTexts_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("style");

    QTest::newRow("firmware") << "firmwareLabel"
                              << "Firmware ID: "
                              << "";
    QTest::newRow("chip") << "chipLabel"
                          << "Chip ID: "
                          << "";
    QTest::newRow("load") << "loadFromDeviceButton"
                          << "Load from Device"
                          << "";
    QTest::newRow("send") << "sendToDeviceButton"
                          << "Send to Device"
                          << "";
    QTest::newRow("send and save") << "sendAndSaveButton"
                                   << "Send to Device && Save to EEPROM"
                                   << "";
    QTest::newRow("oscillator") << "oscillatorButton"
                                << "Start Oscillator on SDO"
                                << "";
    QTest::newRow("output") << "outputButton"
                            << "Disable All Output"
                            << "";
    QTest::newRow("sensing") << "sensingButton"
                             << "Deactivate Sensing"
                             << "";
    QTest::newRow("power") << "powerButton"
                           << "Power Down"
                           << "";
    QTest::newRow("save label") << "saveLabel"
                                << "Not Saved" << Yellow;
    QTest::newRow("sync label") << "syncLabel"
                                << "Pending Changes" << Yellow;
    QTest::newRow("connection label") << "connectionLabel"
                                      << "Not Connected" << Start;
    QTest::newRow("channel A") << "channelALabel"
                               << "Channel A" << ChannelOff;
    QTest::newRow("channel B") << "channelBLabel"
                               << "Channel B" << ChannelOff;
}

void TestMainWindow::startTexts()
{
    QFETCH(QString, name);
    QFETCH(QString, text);
    QFETCH(QString, style);

    MainWindow window(NoKit);
    QCOMPARE(textOf(window, name), text);
    QCOMPARE(styleOf(window, name), style);
}

void TestMainWindow::layout()
{
    MainWindow window(NoKit);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));

    auto *menuBar = window.findChild<QMenuBar *>();
    QVERIFY(menuBar);
    QCOMPARE(window.centralWidget()->layout()->menuBar(), menuBar);

    auto *firmware = window.findChild<QLabel *>("firmwareLabel");
    QCOMPARE(firmware->width(), 200);
    QLayout *row = window.centralWidget()->layout()->itemAt(0)->layout();
    QVERIFY(row);
    QCOMPARE(describe(row),
             QStringLiteral("[firmwareLabel chipLabel loadFromDeviceButton sendToDeviceButton "
                            "sendAndSaveButton | [oscillatorChannelCombo oscillatorButton] "
                            "separatorLine outputButton sensingButton powerButton] tabWidget"));
    auto *combo = window.findChild<QComboBox *>("oscillatorChannelCombo");
    QCOMPARE(combo->count(), 2);
    QCOMPARE(combo->itemText(0), QStringLiteral("A"));
    QCOMPARE(combo->itemText(1), QStringLiteral("B"));
    QCOMPARE(combo->currentIndex(), 0);

    // The status labels stand in the status bar; the channel labels are not shown.
    for (const char *name : {"saveLabel", "syncLabel", "connectionLabel"}) {
        auto *label = window.findChild<QLabel *>(name);
        QCOMPARE(label->width(), 100);
        QCOMPARE(label->alignment(), Qt::AlignCenter);
        QVERIFY(label->isVisible());
    }
    QVERIFY(!window.findChild<QLabel *>("channelALabel")->isVisible());
    QVERIFY(!window.findChild<QLabel *>("channelBLabel")->isVisible());
}

void TestMainWindow::tabs()
{
    MainWindow window(NoKit);
    auto *tabs = window.findChild<QTabWidget *>("tabWidget");
    QVERIFY(tabs);
    QCOMPARE(tabs->count(), 4);
    QCOMPARE(tabs->tabText(0), QStringLiteral("Audio"));
    QCOMPARE(tabs->tabText(1), QStringLiteral("Register Config"));
    QCOMPARE(tabs->tabText(2), QStringLiteral("Sensing Config"));
    QCOMPARE(tabs->tabText(3), QStringLiteral("Force Measurement"));
    QVERIFY(qobject_cast<AudioWidget *>(tabs->widget(0)));
    QVERIFY(qobject_cast<RegisterWidget *>(tabs->widget(1)));
    QVERIFY(qobject_cast<SensingWidget *>(tabs->widget(2)));
    QVERIFY(qobject_cast<ThresholdCalibratorWidget *>(tabs->widget(3)));
}

void TestMainWindow::menus()
{
    MainWindow window(NoKit);
    auto *menuBar = window.findChild<QMenuBar *>();
    QVERIFY(menuBar);
    QStringList seen;
    const auto menuActions = menuBar->actions();
    for (QAction *menuAction : menuActions) {
        QStringList entries;
        const auto actions = menuAction->menu()->actions();
        for (QAction *action : actions) {
            entries << action->text();
            // Without a kit the controls are off, yet the menus still work.
            QVERIFY(action->isEnabled());
        }
        seen << menuAction->text() + ": " + entries.join(", ");
    }
    QCOMPARE(seen, QStringList({"&File: Open, Save, Exit", "&Help: About"}));

    const int code = exitCodeOf([&] { window.findChild<QAction *>("exitAction")->trigger(); });
    QCOMPARE(code, 0);
}

void TestMainWindow::statusLabels_data()
{
    QTest::addColumn<QStringList>("calls");
    QTest::addColumn<QString>("saveText");
    QTest::addColumn<QString>("saveStyle");
    QTest::addColumn<QString>("syncText");
    QTest::addColumn<QString>("syncStyle");

    QTest::newRow("up to date") << QStringList{"markUpToDate"} << "Not Saved" << Yellow
                                << "Up To Date" << Green;
    QTest::newRow("saved") << QStringList{"markSaved"} << "Saved" << Green << "Pending Changes"
                           << Yellow;
    QTest::newRow("pending changes undo saved")
        << QStringList{"markUpToDate", "markSaved", "markPendingChanges"} << "Not Saved" << Yellow
        << "Pending Changes" << Yellow;
    QTest::newRow("not saved leaves sync")
        << QStringList{"markUpToDate", "markSaved", "markNotSaved"} << "Not Saved" << Yellow
        << "Up To Date" << Green;
}

void TestMainWindow::statusLabels()
{
    QFETCH(QStringList, calls);
    QFETCH(QString, saveText);
    QFETCH(QString, saveStyle);
    QFETCH(QString, syncText);
    QFETCH(QString, syncStyle);

    MainWindow window(NoKit);
    for (const QString &call : qAsConst(calls))
        (window.*Actions.value(call))();
    QCOMPARE(textOf(window, "saveLabel"), saveText);
    QCOMPARE(styleOf(window, "saveLabel"), saveStyle);
    QCOMPARE(textOf(window, "syncLabel"), syncText);
    QCOMPARE(styleOf(window, "syncLabel"), syncStyle);
}

void TestMainWindow::controlsEnabled_data()
{
    QTest::addColumn<QList<bool>>("calls"); // empty: as constructed
    QTest::addColumn<bool>("enabled");

    QTest::newRow("before any connection") << QList<bool>{} << false;
    QTest::newRow("enabled") << QList<bool>{true} << true;
    QTest::newRow("disabled again") << QList<bool>{true, false} << false;
    QTest::newRow("last call decides") << QList<bool>{false, false, true} << true;
}

void TestMainWindow::controlsEnabled()
{
    QFETCH(QList<bool>, calls);
    QFETCH(bool, enabled);

    MainWindow window(NoKit);
    for (bool call : qAsConst(calls))
        window.setControlsEnabled(call);
    for (const QString &name : KitControls)
        QVERIFY2(window.findChild<QWidget *>(name)->isEnabled() == enabled, qPrintable(name));

    for (const char *name : {"firmwareLabel", "chipLabel", "sensingWidget", "tabWidget"})
        QVERIFY2(window.findChild<QWidget *>(name)->isEnabled(), name);
    for (const char *name : {"openAction", "saveAction", "exitAction", "aboutAction"})
        QVERIFY2(window.findChild<QAction *>(name)->isEnabled(), name);
}

void TestMainWindow::stateButtons_data()
{
    QTest::addColumn<QStringList>("presses");
    QTest::addColumn<QStringList>("texts"); // oscillator, output, sensing, power
    QTest::addColumn<QStringList>("enabled");

    const QStringList all = KitControls;
    QTest::newRow("sensing off") << QStringList{"toggleSensing"}
                                 << QStringList{"Start Oscillator on SDO", "Disable All Output",
                                                "Activate Sensing", "Power Down"}
                                 << all;
    QTest::newRow("sensing back on") << QStringList{"toggleSensing", "toggleSensing"}
                                     << QStringList{"Start Oscillator on SDO", "Disable All Output",
                                                    "Deactivate Sensing", "Power Down"}
                                     << all;
    QTest::newRow("power down leaves only its button")
        << QStringList{"togglePower"}
        << QStringList{"Start Oscillator on SDO", "Disable All Output", "Activate Sensing",
                       "Power Up"}
        << QStringList{"powerButton"};
    QTest::newRow("power up keeps sensing off")
        << QStringList{"togglePower", "togglePower"}
        << QStringList{"Start Oscillator on SDO", "Disable All Output", "Activate Sensing",
                       "Power Down"}
        << all;
    QTest::newRow("oscillator leaves only its button")
        << QStringList{"toggleOscillator"}
        << QStringList{"Stop Oscillator on SDO", "Disable All Output", "Activate Sensing",
                       "Power Down"}
        << QStringList{"oscillatorButton"};
    QTest::newRow("oscillator stopped")
        << QStringList{"toggleOscillator", "toggleOscillator"}
        << QStringList{"Start Oscillator on SDO", "Disable All Output", "Activate Sensing",
                       "Power Down"}
        << all;
    QTest::newRow("output off leaves the controls")
        << QStringList{"toggleOutput"}
        << QStringList{"Start Oscillator on SDO", "Enable All Output", "Activate Sensing",
                       "Power Down"}
        << all;
    QTest::newRow("output on again") << QStringList{"toggleOutput", "toggleOutput"}
                                     << QStringList{"Start Oscillator on SDO", "Disable All Output",
                                                    "Activate Sensing", "Power Down"}
                                     << all;
}

void TestMainWindow::stateButtons()
{
    QFETCH(QStringList, presses);
    QFETCH(QStringList, texts);
    QFETCH(QStringList, enabled);

    MainWindow window(NoKit);
    window.setControlsEnabled(true);
    for (const QString &press : qAsConst(presses))
        (window.*Actions.value(press))();

    QCOMPARE(QStringList({textOf(window, "oscillatorButton"), textOf(window, "outputButton"),
                          textOf(window, "sensingButton"), textOf(window, "powerButton")}),
             texts);
    for (const QString &name : KitControls) {
        QVERIFY2(window.findChild<QWidget *>(name)->isEnabled() == enabled.contains(name),
                 qPrintable(name));
    }
}

void TestMainWindow::activatedChannels_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("styleA");
    QTest::addColumn<QString>("styleB");

    QTest::newRow("both") << "11" << ChannelOn << ChannelOn;
    QTest::newRow("A only") << "10" << ChannelOn << ChannelOff;
    QTest::newRow("B only") << "01" << ChannelOff << ChannelOn;
    QTest::newRow("none") << "00" << ChannelOff << ChannelOff;
    QTest::newRow("one character counts for both") << "1" << ChannelOn << ChannelOn;
    QTest::newRow("empty") << "" << ChannelOff << ChannelOff;
}

void TestMainWindow::activatedChannels()
{
    QFETCH(QString, text);
    QFETCH(QString, styleA);
    QFETCH(QString, styleB);

    MainWindow window(NoKit);
    window.setActivatedChannels("11");
    window.setActivatedChannels(text);
    QCOMPARE(styleOf(window, "channelALabel"), styleA);
    QCOMPARE(styleOf(window, "channelBLabel"), styleB);

    window.onDeviceConnected(false);
    QCOMPARE(styleOf(window, "channelALabel"), ChannelOff);
    QCOMPARE(styleOf(window, "channelBLabel"), ChannelOff);
}

void TestMainWindow::openSettingsFile_data()
{
    QTest::addColumn<bool>("choose");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("marker");

    QTest::newRow("chosen file replaces the session") << true << EXIT_CODE_RESTART << "opened";
    QTest::newRow("cancel changes nothing") << false << NoExit << "session";
}

void TestMainWindow::openSettingsFile()
{
    QFETCH(bool, choose);
    QFETCH(int, exitCode);
    QFETCH(QString, marker);

    MainWindow window(NoKit);
    {
        QSettings session;
        session.setValue("marker", "session");
        session.sync();
    }
    const QString opened = settings.dir() + "/opened.ini";
    {
        QSettings file(opened, QSettings::IniFormat);
        file.setValue("marker", "opened");
        file.setValue("chipid", 66);
    }

    ModalCloser closer;
    closer.answerFileDialogs({choose ? opened : QString()});
    QCOMPARE(exitCodeOf([&] { window.findChild<QAction *>("openAction")->trigger(); }, 2000),
             exitCode);
    QCOMPARE(QSettings().value("marker").toString(), marker);
}

void TestMainWindow::saveSettingsFile_data()
{
    QTest::addColumn<bool>("existing");
    QTest::addColumn<bool>("choose");

    QTest::newRow("new file") << false << true;
    QTest::newRow("existing file replaced") << true << true;
    QTest::newRow("cancel writes nothing") << true << false;
}

void TestMainWindow::saveSettingsFile()
{
    QFETCH(bool, existing);
    QFETCH(bool, choose);

    MainWindow window(NoKit);
    {
        QSettings session;
        session.setValue("marker", "session");
        session.sync();
    }
    const QString target = settings.dir() + "/saved.ini";
    QFile::remove(target);
    if (existing) {
        QSettings file(target, QSettings::IniFormat);
        file.setValue("marker", "earlier");
    }

    // Answers the file dialog, and yes to its own question whether to replace a file.
    QTimer answer;
    connect(&answer, &QTimer::timeout, &answer, [&] {
        QWidget *modal = QApplication::activeModalWidget();
        if (auto *box = qobject_cast<QMessageBox *>(modal)) {
            box->button(QMessageBox::Yes)->click();
        } else if (auto *dialog = qobject_cast<QFileDialog *>(modal)) {
            if (!choose) {
                dialog->reject();
                return;
            }
            // A save dialog keeps what is typed into a focused name field.
            if (QWidget *focused = dialog->focusWidget())
                focused->clearFocus();
            dialog->selectFile(target);
            // Queued, so that this timer is free to answer the question accept() may ask.
            QMetaObject::invokeMethod(dialog, "accept", Qt::QueuedConnection);
        }
    });
    answer.start(20);
    window.findChild<QAction *>("saveAction")->trigger();

    const QString expected = choose ? "session" : existing ? "earlier" : "";
    QCOMPARE(QSettings(target, QSettings::IniFormat).value("marker").toString(), expected);
    // The session goes on in its own file.
    QCOMPARE(QSettings().fileName(), settings.fileName());
}

void TestMainWindow::about()
{
    MainWindow window(NoKit);
    QString title;
    QString text;
    QTimer::singleShot(0, &window, [&] {
        QWidget *box = QApplication::activeModalWidget();
        QVERIFY(box);
        title = box->windowTitle();
        text = box->findChild<QLabel *>("qt_msgbox_label")->text();
        box->close();
    });
    window.findChild<QAction *>("aboutAction")->trigger();
    QCOMPARE(title, "About " + APP_NAME);
    QCOMPARE(text, ABOUT_TEXT);
}

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
