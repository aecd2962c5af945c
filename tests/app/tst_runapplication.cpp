#include "app/constants.h"
#include "app/mainwindow.h"
#include "app/runapplication.h"
#include "app/settingdialog.h"
#include "support/testsettings.h"

#include <QApplication>
#include <QFileDialog>
#include <QPushButton>
#include <QSettings>
#include <QTimer>
#include <QtTest>

namespace {

const QString MarkerKey = QStringLiteral("marker");

// What the driver does in each pass of the loop, and what it saw there.
struct Scenario
{
    QString dialogButton; // objectName of the SettingDialog button to press; empty closes it
    QString fileAnswer;   // given to a file dialog; empty cancels it
    QList<int> exitCodes; // one per pass
    QStringList seen;     // per pass: "D " if the SettingDialog showed, then chipid/marker
    QStringList settingsFiles;
    int pass = 0;
    bool dialogShown = false;
};

Scenario *scenario = nullptr;

QString valueOrDash(const QSettings &settings, const QString &key)
{
    return settings.contains(key) ? settings.value(key).toString() : QStringLiteral("-");
}

MainWindow *shownMainWindow()
{
    const auto widgets = QApplication::topLevelWidgets();
    for (QWidget *widget : widgets) {
        if (auto *window = qobject_cast<MainWindow *>(widget); window && window->isVisible())
            return window;
    }
    return nullptr;
}

void answerFileDialog(QFileDialog *dialog)
{
    if (scenario->fileAnswer.isEmpty()) {
        dialog->reject();
        return;
    }
    if (QWidget *focused = dialog->focusWidget())
        focused->clearFocus();
    dialog->selectFile(scenario->fileAnswer);
    QMetaObject::invokeMethod(dialog, "accept");
}

// Ends the pass once its window is up: notes the settings it starts from, leaves
// a marker for the next pass to find, and exits with the pass's code.
void finishPass(QTimer *timer)
{
    QSettings settings;
    scenario->settingsFiles.append(settings.fileName());
    scenario->seen.append((scenario->dialogShown ? QStringLiteral("D ") : QString()) +
                          valueOrDash(settings, QStringLiteral("chipid")) + "/" +
                          valueOrDash(settings, MarkerKey));
    settings.setValue(MarkerKey, 100 + scenario->pass);
    settings.sync();
    timer->stop();
    const int code = scenario->exitCodes.value(scenario->pass, 0);
    ++scenario->pass;
    scenario->dialogShown = false;
    QCoreApplication::exit(code);
}

void step(QTimer *timer)
{
    QWidget *modal = QApplication::activeModalWidget();
    if (auto *dialog = qobject_cast<SettingDialog *>(modal)) {
        scenario->dialogShown = true;
        if (scenario->dialogButton.isEmpty()) {
            dialog->close();
            return;
        }
        auto *button = dialog->findChild<QPushButton *>(scenario->dialogButton);
        QVERIFY(button);
        // Queued: the file dialog that "Load File" opens needs this timer free to answer it.
        QMetaObject::invokeMethod(
            button, [button] { QTest::mouseClick(button, Qt::LeftButton); }, Qt::QueuedConnection);
        return;
    }
    if (auto *dialog = qobject_cast<QFileDialog *>(modal)) {
        answerFileDialog(dialog);
        return;
    }
    if (!modal && shownMainWindow())
        finishPass(timer);
}

// Runs at the construction of each QApplication that runApplication makes.
void installDriver()
{
    if (!scenario)
        return;
    auto *timer = new QTimer(QCoreApplication::instance());
    timer->setInterval(20);
    QObject::connect(timer, &QTimer::timeout, timer, [timer] { step(timer); });
    timer->start();
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(installDriver)

class TestRunApplication : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void passes_data();
    void passes();

private:
    void writeSession(const QString &chipid, const QString &marker);

    TestSettings settings;
    Scenario current;
};

void TestRunApplication::init()
{
    settings.reset();
    current = Scenario();
    scenario = &current;
}

void TestRunApplication::cleanup()
{
    scenario = nullptr;
}

void TestRunApplication::writeSession(const QString &chipid, const QString &marker)
{
    QSettings session;
    if (!chipid.isEmpty())
        session.setValue(QStringLiteral("chipid"), chipid.toInt());
    session.setValue(MarkerKey, marker);
    session.sync();
}

void TestRunApplication::passes_data()
{
    QTest::addColumn<QString>("chipid");
    QTest::addColumn<QString>("dialogButton");
    QTest::addColumn<bool>("chooseFile");
    QTest::addColumn<QList<int>>("exitCodes");
    QTest::addColumn<QStringList>("seen");
    QTest::addColumn<int>("result");

    const QString restore = QStringLiteral("restoreButton");
    const QString load = QStringLiteral("loadButton");
    const QList<int> once{0};
    auto row = [](const char *name, const char *chipid, const QString &button, bool choose,
                  const QList<int> &codes, const QStringList &seen, int result) {
        QTest::newRow(name) << QString(chipid) << button << choose << codes << seen << result;
    };
    row("restore keeps the session", "66", restore, false, once, {"D 66/1"}, 0);
    row("session without chipid becomes revision C", "", restore, false, once, {"D 67/1"}, 0);
    row("closing the dialog keeps the session", "66", "", false, once, {"D 66/1"}, 0);
    row("new session starts as revision C", "66", "newButton", false, once, {"D 67/-"}, 0);
    row("load takes the chosen file", "67", load, true, once, {"D 66/chosen"}, 0);
    row("load cancelled keeps the session", "66", load, false, once, {"D 66/1"}, 0);
    row("open restart keeps the settings", "66", restore, false, {EXIT_CODE_RESTART, 0},
        {"D 66/1", "66/100"}, 0);
    row("revision B restart clears", "67", restore, false, {EXIT_CODE_RESTART_REV_B, 0},
        {"D 67/1", "66/-"}, 0);
    row("revision C restart clears", "66", restore, false, {EXIT_CODE_RESTART_REV_C, 0},
        {"D 66/1", "67/-"}, 0);
    row("result is the last code that is no restart", "66", restore, false,
        {EXIT_CODE_RESTART, EXIT_CODE_RESTART_REV_B, EXIT_CODE_RESTART_REV_C, 3},
        {"D 66/1", "66/100", "66/-", "67/-"}, 3);
    row("another negative code ends the process", "66", restore, false, {-1}, {"D 66/1"}, -1);
}

void TestRunApplication::passes()
{
    QFETCH(QString, chipid);
    QFETCH(QString, dialogButton);
    QFETCH(bool, chooseFile);
    QFETCH(QList<int>, exitCodes);
    QFETCH(QStringList, seen);
    QFETCH(int, result);

    writeSession(chipid, QStringLiteral("1"));
    if (chooseFile) {
        current.fileAnswer = settings.dir() + QStringLiteral("/chosen.ini");
        QSettings chosen(current.fileAnswer, QSettings::IniFormat);
        chosen.setValue(QStringLiteral("chipid"), 66);
        chosen.setValue(MarkerKey, QStringLiteral("chosen"));
    }
    current.dialogButton = dialogButton;
    current.exitCodes = exitCodes;

    static int argc = 1;
    static char name[] = "tst_runapplication";
    static char *argv[] = {name, nullptr};
    const PortEnumerator noKit = [] { return QList<PortCandidate>(); };

    QCOMPARE(runApplication(argc, argv, noKit), result);
    QCOMPARE(current.seen, seen);
    // The location chosen before the start must hold through every pass.
    for (const QString &file : qAsConst(current.settingsFiles))
        QVERIFY2(file.startsWith(settings.dir()), qPrintable(file));
}

QTEST_APPLESS_MAIN(TestRunApplication)
#include "tst_runapplication.moc"
