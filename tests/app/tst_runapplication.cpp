#include "app/constants.h"
#include "app/mainwindow.h"
#include "app/runapplication.h"
#include "app/settingdialog.h"
#include "app/settingsfile.h"
#include "support/modalcloser.h"
#include "support/testsettings.h"

#include <QApplication>
#include <QPushButton>
#include <QtTest>

namespace {

// What the driver does in each pass of the loop, and what it saw there.
struct
{
    QString button, file; // the SettingDialog button to press; the file chosen, "" cancels
    QString fileName;     // of the settings, which must hold through every pass
    QList<int> codes;     // the codes the passes end with, in turn
    QStringList seen;     // "D" for each SettingDialog shown, chipid/marker for each window
} run;

void step(QTimer *timer)
{
    QWidget *modal = QApplication::activeModalWidget();
    if (auto *dialog = qobject_cast<SettingDialog *>(modal)) {
        run.seen << "D";
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
    run.seen << settings.value(CHIPID_KEY, "-").toString() + "/" +
                    settings.value("marker", "-").toString() +
                    (settings.fileName() == run.fileName ? "" : " elsewhere");
    settings.setValue("marker", 100 + run.seen.size());
    timer->stop();
    QCoreApplication::exit(run.codes.isEmpty() ? 0 : run.codes.takeFirst());
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
    void replaceWithCopy_data();
    void replaceWithCopy();
};

void TestRunApplication::passes_data()
{
    QTest::addColumn<QByteArray>("session"); // the settings file before the start
    // The SettingDialog button to press, and the file then chosen if any; none cancels.
    QTest::addColumn<QString>("button");
    QTest::addColumn<QList<int>>("codes");
    QTest::addColumn<QStringList>("seen"); // the run ends with the last of the codes

    const QByteArray revB("chipid=66\nmarker=1\n");
    auto row = [](const char *name, const QByteArray &session, const char *button,
                  const QList<int> &codes, const QStringList &seen) {
        QTest::newRow(name) << "[General]\n" + session << button << codes << seen;
    };
    row("restore keeps the session", revB, "restoreButton", {0}, {"D", "66/1"});
    row("restored session without chipid becomes revision C", "marker=1\n", "restoreButton", {0},
        {"D", "67/1"});
    row("new session starts as revision C", revB, "newButton", {0}, {"D", "67/-"});
    row("load takes the chosen file", "chipid=67\nmarker=1\n", "loadButton chosen.ini", {0},
        {"D", "66/chosen"});
    row("load cancelled keeps the session", revB, "loadButton", {0}, {"D", "66/1"});
    row("restarts keep or clear, the last other code is the result", revB, "restoreButton",
        {EXIT_CODE_RESTART, EXIT_CODE_RESTART_REV_B, EXIT_CODE_RESTART_REV_C, -1},
        {"D", "66/1", "66/102", "66/-", "67/-"});
}

void TestRunApplication::passes()
{
    QFETCH(QByteArray, session);
    QFETCH(QString, button);
    QFETCH(QList<int>, codes);
    QFETCH(QStringList, seen);

    TestSettings settings;
    writeFile(settings.fileName(), session);
    writeFile(settings.dir() + "/chosen.ini", "[General]\nchipid=66\nmarker=chosen\n");
    const QString file = button.section(' ', 1);
    run = {button.section(' ', 0, 0), file.isEmpty() ? file : settings.dir() + "/" + file,
           settings.fileName(), codes};
    int argc = 1;
    char *argv[] = {const_cast<char *>("tst_runapplication"), nullptr};
    QCOMPARE(runApplication(argc, argv, [] { return QList<PortCandidate>(); }), codes.last());
    QCOMPARE(run.seen, seen);
}

void TestRunApplication::replaceWithCopy_data()
{
    QTest::addColumn<QString>("source"); // in a folder holding source.ini and target.ini
    QTest::addColumn<QString>("target");
    QTest::addColumn<QString>("targetAfter"); // each file holds its own name
    QTest::newRow("existing target replaced") << "source.ini"
                                              << "target.ini"
                                              << "source.ini";
    QTest::newRow("missing folder created") << "source.ini"
                                            << "sub/dir/target.ini"
                                            << "source.ini";
    QTest::newRow("missing source keeps target") << "absent.ini"
                                                 << "target.ini"
                                                 << "target.ini";
    QTest::newRow("target under a file fails") << "source.ini"
                                               << "target.ini/x.ini"
                                               << "<missing>";
}

void TestRunApplication::replaceWithCopy()
{
    QFETCH(QString, source);
    QFETCH(QString, target);
    QFETCH(QString, targetAfter);
    QTemporaryDir dir;
    for (const char *name : {"source.ini", "target.ini"})
        writeFile(dir.filePath(name), name);
    const auto readFile = [&dir](const QString &name) {
        QFile file(dir.filePath(name));
        return file.open(QIODevice::ReadOnly) ? QString(file.readAll()) : QString("<missing>");
    };
    QCOMPARE(::replaceWithCopy(dir.filePath(source), dir.filePath(target)),
             targetAfter == "source.ini");
    QCOMPARE(readFile(target), targetAfter);
    // Nothing half-written is left behind beside the target.
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList({"source.ini", "target.ini"}));
}

QTEST_APPLESS_MAIN(TestRunApplication)
#include "tst_runapplication.moc"
