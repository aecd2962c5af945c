#include "app/constants.h"
#include "app/mainwindow.h"
#include "app/runapplication.h"
#include "app/settingdialog.h"
#include "support/modalcloser.h"
#include "support/testsettings.h"

#include <QApplication>
#include <QPushButton>
#include <QtTest>

namespace {

// What the driver does in each pass of the loop, and what it saw there.
struct
{
    QString button;   // objectName of the SettingDialog button to press
    QString file;     // given to the file dialog; empty cancels it
    QString fileName; // of the settings, which must hold through every pass
    QList<int> codes; // the code each pass ends with
    QStringList seen; // per pass: "D " if the SettingDialog showed, then chipid/marker
    QString dialogShown;
} run;

void step(QTimer *timer)
{
    QWidget *modal = QApplication::activeModalWidget();
    if (auto *dialog = qobject_cast<SettingDialog *>(modal)) {
        run.dialogShown = "D ";
        (new ModalCloser(dialog))->answerFileDialogs({run.file}); // for the one "Load File" opens
        QMetaObject::invokeMethod(dialog->findChild<QPushButton *>(run.button), &QPushButton::click,
                                  Qt::QueuedConnection);
        return;
    }
    if (modal || !qobject_cast<MainWindow *>(QApplication::activeWindow()))
        return;
    // The window is up: note the settings the pass started from, leave a marker for
    // the next pass to find, and end the pass.
    QSettings settings;
    run.seen << run.dialogShown + settings.value(CHIPID_KEY, "-").toString() + "/" +
                    settings.value("marker", "-").toString() +
                    (settings.fileName() == run.fileName ? "" : " elsewhere");
    settings.setValue("marker", 100 + run.seen.size());
    timer->stop();
    run.dialogShown.clear();
    QCoreApplication::exit(run.codes.value(run.seen.size() - 1));
}

// Runs at the construction of each QApplication that runApplication makes.
void installDriver()
{
    auto *timer = new QTimer(QCoreApplication::instance());
    QObject::connect(timer, &QTimer::timeout, timer, [timer] { step(timer); });
    timer->start(20);
}

void writeFile(const QString &name, const QByteArray &content)
{
    QFile out(name);
    QDir().mkpath(QFileInfo(name).path());
    QVERIFY(out.open(QIODevice::WriteOnly) && out.write(content) == content.size());
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(installDriver)

class TestRunApplication : public QObject
{
    Q_OBJECT

private slots:
    void passes_data();
    void passes();
};

void TestRunApplication::passes_data()
{
    QTest::addColumn<QByteArray>("session"); // the settings file before the start
    QTest::addColumn<QString>("button");
    QTest::addColumn<QString>("file"); // chosen in the file dialog; empty cancels it
    QTest::addColumn<QList<int>>("codes");
    QTest::addColumn<QStringList>("seen"); // the run ends with the last of the codes

    const QByteArray revB("[General]\nchipid=66\nmarker=1\n");
    auto row = [](const char *name, const QByteArray &session, const char *button, const char *file,
                  const QList<int> &codes, const QStringList &seen) {
        QTest::newRow(name) << session << button << file << codes << seen;
    };
    row("restore keeps the session", revB, "restoreButton", "", {0}, {"D 66/1"});
    row("restored session without chipid becomes revision C", "[General]\nmarker=1\n",
        "restoreButton", "", {0}, {"D 67/1"});
    row("new session starts as revision C", revB, "newButton", "", {0}, {"D 67/-"});
    row("load takes the chosen file", "[General]\nchipid=67\nmarker=1\n", "loadButton",
        "chosen.ini", {0}, {"D 66/chosen"});
    row("load cancelled keeps the session", revB, "loadButton", "", {0}, {"D 66/1"});
    row("restarts keep or clear, the last other code is the result", revB, "restoreButton", "",
        {EXIT_CODE_RESTART, EXIT_CODE_RESTART_REV_B, EXIT_CODE_RESTART_REV_C, 3},
        {"D 66/1", "66/101", "66/-", "67/-"});
    row("another negative code ends the process", revB, "restoreButton", "", {-1}, {"D 66/1"});
}

void TestRunApplication::passes()
{
    QFETCH(QByteArray, session);
    QFETCH(QString, button);
    QFETCH(QString, file);
    QFETCH(QList<int>, codes);
    QFETCH(QStringList, seen);

    TestSettings settings;
    writeFile(settings.fileName(), session);
    writeFile(settings.dir() + "/chosen.ini", "[General]\nchipid=66\nmarker=chosen\n");
    run = {button, file.isEmpty() ? file : settings.dir() + "/" + file, settings.fileName(), codes};
    int argc = 1;
    char *argv[] = {const_cast<char *>("tst_runapplication"), nullptr};
    QCOMPARE(runApplication(argc, argv, [] { return QList<PortCandidate>(); }), codes.last());
    QCOMPARE(run.seen, seen);
}

QTEST_APPLESS_MAIN(TestRunApplication)
#include "tst_runapplication.moc"
