#include "app/constants.h"
#include "app/mainwindow.h"
#include "exitcatcher.h"
#include "support/modalcloser.h"
#include "support/testsettings.h"

#include <QAction>
#include <QFileDialog>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QSettings>
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

// What setControlsEnabled switches, apart from the pages' own setEnabled slots.
const QStringList KitControls{
    "loadFromDeviceButton", "sendToDeviceButton",     "sendAndSaveButton", "powerButton",
    "oscillatorButton",     "oscillatorChannelCombo", "sensingButton",     "outputButton"};

const PortEnumerator NoKit = [] { return QList<PortCandidate>(); };

const QHash<QString, void (MainWindow::*)()> Calls{
    {"markUpToDate", &MainWindow::markUpToDate},
    {"markPendingChanges", &MainWindow::markPendingChanges},
    {"markSaved", &MainWindow::markSaved},
    {"markNotSaved", &MainWindow::markNotSaved},
    {"toggleSensing", &MainWindow::toggleSensing},
    {"toggleOscillator", &MainWindow::toggleOscillator},
    {"toggleOutput", &MainWindow::toggleOutput},
    {"togglePower", &MainWindow::togglePower},
    {"disconnected", nullptr}};

// "text|style sheet" of a label, so that both are compared at once.
QString look(const MainWindow &window, const QString &name)
{
    auto *label = window.findChild<QLabel *>(name);
    return label ? label->text() + "|" + label->styleSheet() : "<no " + name + ">";
}

QString text(const MainWindow &window, const QString &name)
{
    return window.findChild<QWidget *>(name)->property("text").toString();
}

void writeIni(const QString &fileName, const QString &marker)
{
    QSettings file(fileName, QSettings::IniFormat);
    file.setValue("marker", marker);
}

} // namespace

class TestMainWindow : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QApplication::setQuitOnLastWindowClosed(false); }
    void init() { settings.reset(); }
    void frame();
    void statusLabels_data();
    void statusLabels();
    void controls_data();
    void controls();
    void sessionFiles_data();
    void sessionFiles();

private:
    TestSettings settings;
};

void TestMainWindow::frame()
{
    MainWindow window(NoKit);
    auto *menuBar = window.findChild<QMenuBar *>();
    QCOMPARE(window.centralWidget()->layout()->menuBar(), menuBar);
    QStringList menus;
    for (QAction *menu : menuBar->actions()) {
        QStringList entries;
        for (QAction *action : menu->menu()->actions())
            entries << action->text() + (action->isEnabled() ? "" : " (disabled)");
        menus << menu->text() + ": " + entries.join(", ");
    }
    QCOMPARE(menus, QStringList({"&File: Open, Save, Exit", "&Help: About"}));

    auto *tabs = window.findChild<QTabWidget *>("tabWidget");
    QStringList pages;
    for (int i = 0; i < tabs->count(); ++i)
        pages << tabs->tabText(i) + "=" + tabs->widget(i)->metaObject()->className();
    QCOMPARE(pages, QStringList({"Audio=AudioWidget", "Register Config=RegisterWidget",
                                 "Sensing Config=SensingWidget",
                                 "Force Measurement=ThresholdCalibratorWidget"}));
    QCOMPARE(text(window, "sendAndSaveButton"), QStringLiteral("Send to Device && Save to EEPROM"));
    QCOMPARE(exitCodeOf([&] { window.findChild<QAction *>("exitAction")->trigger(); }), 0);
}

void TestMainWindow::statusLabels_data()
{
    QTest::addColumn<QStringList>("calls");
    QTest::addColumn<QStringList>("looks"); // saveLabel, syncLabel, connectionLabel

    auto row = [](const char *name, const QStringList &calls, const QStringList &looks) {
        QTest::newRow(name) << calls << looks;
    };
    row("as built", {},
        {"Not Saved|" + Yellow, "Pending Changes|" + Yellow, "Not Connected|" + Start});
    row("up to date", {"markUpToDate"},
        {"Not Saved|" + Yellow, "Up To Date|" + Green, "Not Connected|" + Start});
    row("saved", {"markSaved"},
        {"Saved|" + Green, "Pending Changes|" + Yellow, "Not Connected|" + Start});
    row("pending changes undo saved", {"markUpToDate", "markSaved", "markPendingChanges"},
        {"Not Saved|" + Yellow, "Pending Changes|" + Yellow, "Not Connected|" + Start});
    row("not saved leaves sync", {"markUpToDate", "markSaved", "markNotSaved"},
        {"Not Saved|" + Yellow, "Up To Date|" + Green, "Not Connected|" + Start});
    row("disconnected", {"markUpToDate", "markSaved", "disconnected"},
        {"Not Saved|" + Yellow, "Pending Changes|" + Yellow, "Not Connected|" + Red});
}

void TestMainWindow::statusLabels()
{
    QFETCH(QStringList, calls);
    QFETCH(QStringList, looks);

    MainWindow window(NoKit);
    for (const QString &call : qAsConst(calls)) {
        if (auto function = Calls.value(call))
            (window.*function)();
        else
            window.onDeviceConnected(false);
    }
    QCOMPARE(QStringList({look(window, "saveLabel"), look(window, "syncLabel"),
                          look(window, "connectionLabel")}),
             looks);
}

void TestMainWindow::controls_data()
{
    QTest::addColumn<QStringList>("calls"); // "on"/"off" call setControlsEnabled
    QTest::addColumn<QString>("texts");     // oscillator, output, sensing, power
    QTest::addColumn<QStringList>("enabled");

    const QString start = "Start Oscillator on SDO|Disable All Output|%1|Power Down";
    auto row = [](const char *name, const QStringList &calls, const QString &texts,
                  const QStringList &enabled) { QTest::newRow(name) << calls << texts << enabled; };
    row("before any connection", {}, start.arg("Deactivate Sensing"), {});
    row("last call decides", {"on", "off", "off", "on"}, start.arg("Deactivate Sensing"),
        KitControls);
    row("sensing off", {"on", "toggleSensing"}, start.arg("Activate Sensing"), KitControls);
    row("power down leaves its button", {"on", "togglePower"},
        "Start Oscillator on SDO|Disable All Output|Activate Sensing|Power Up", {"powerButton"});
    row("power up keeps sensing off", {"on", "togglePower", "togglePower"},
        start.arg("Activate Sensing"), KitControls);
    row("oscillator leaves its button", {"on", "toggleOscillator"},
        "Stop Oscillator on SDO|Disable All Output|Activate Sensing|Power Down",
        {"oscillatorButton"});
    row("output off leaves the controls", {"on", "toggleOutput"},
        "Start Oscillator on SDO|Enable All Output|Activate Sensing|Power Down", KitControls);
}

void TestMainWindow::controls()
{
    QFETCH(QStringList, calls);
    QFETCH(QString, texts);
    QFETCH(QStringList, enabled);

    MainWindow window(NoKit);
    for (const QString &call : qAsConst(calls)) {
        if (call == "on" || call == "off")
            window.setControlsEnabled(call == "on");
        else
            (window.*Calls.value(call))();
    }
    QCOMPARE(QStringList({text(window, "oscillatorButton"), text(window, "outputButton"),
                          text(window, "sensingButton"), text(window, "powerButton")})
                 .join('|'),
             texts);
    for (const QString &name : KitControls)
        QVERIFY2(window.findChild<QWidget *>(name)->isEnabled() == enabled.contains(name),
                 qPrintable(name));
    for (const char *name : {"firmwareLabel", "chipLabel", "sensingWidget", "menuBar"})
        QVERIFY2(window.findChild<QWidget *>(name)->isEnabled(), name);
}

void TestMainWindow::sessionFiles_data()
{
    QTest::addColumn<QString>("action");
    QTest::addColumn<bool>("choose");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("session"); // marker of the session afterwards
    QTest::addColumn<QString>("other");   // marker of the other file afterwards

    QTest::newRow("open replaces and restarts")
        << "openAction" << true << EXIT_CODE_RESTART << "other"
        << "other";
    QTest::newRow("open cancelled") << "openAction" << false << NoExit << "session"
                                    << "other";
    QTest::newRow("save replaces the file") << "saveAction" << true << NoExit << "session"
                                            << "session";
    QTest::newRow("save cancelled") << "saveAction" << false << NoExit << "session"
                                    << "other";
}

void TestMainWindow::sessionFiles()
{
    QFETCH(QString, action);
    QFETCH(bool, choose);
    QFETCH(int, exitCode);
    QFETCH(QString, session);
    QFETCH(QString, other);

    MainWindow window(NoKit);
    writeIni(settings.fileName(), "session");
    const QString otherFile = settings.dir() + "/other.ini";
    writeIni(otherFile, "other");

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
            if (QWidget *focused = dialog->focusWidget())
                focused->clearFocus();
            dialog->selectFile(otherFile);
            // Queued, so that this timer is free to answer the question accept() may ask.
            QMetaObject::invokeMethod(dialog, "accept", Qt::QueuedConnection);
        }
    });
    answer.start(20);
    QCOMPARE(exitCodeOf([&] { window.findChild<QAction *>(action)->trigger(); }, 2000), exitCode);
    QCOMPARE(QSettings().value("marker").toString(), session);
    QCOMPARE(QSettings(otherFile, QSettings::IniFormat).value("marker").toString(), other);
}

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
