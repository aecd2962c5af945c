#include "app/constants.h"
#include "app/mainwindow.h"
#include "app/runapplication.h"
#include "app/settingdialog.h"
#include "kit/settingsfile.h"
#include "support/datarow.h"
#include "support/modalcloser.h"
#include "support/testargv.h"
#include "support/testsettings.h"
#include "support/windowtest.h"

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

// Runs at the construction of each QApplication that runApplication makes.
void installDriver()
{
    auto *timer = new QTimer(QCoreApplication::instance());
    QObject::connect(timer, &QTimer::timeout, timer, [timer] {
        QWidget *modal = QApplication::activeModalWidget();
        if (auto *dialog = qobject_cast<SettingDialog *>(modal)) {
            run.seen << "D";
            (new ModalCloser(dialog))->answerFileDialogs({run.file}); // for "Load File"'s dialog
            QMetaObject::invokeMethod(dialog->findChild<QPushButton *>(run.button),
                                      &QPushButton::click, Qt::QueuedConnection);
        } else if (!modal && qobject_cast<MainWindow *>(QApplication::activeWindow())) {
            // The window is up: note the settings the pass started from, leave a marker
            // for the next pass to find, and end the pass.
            QSettings settings;
            run.seen << settings.value(CHIPID_KEY, "-").toString() + "/" +
                            settings.value("marker", "-").toString() +
                            (settings.fileName() == run.fileName ? "" : " elsewhere");
            settings.setValue("marker", 100 + run.seen.size());
            timer->stop();
            QCoreApplication::exit(run.codes.isEmpty() ? 0 : run.codes.takeFirst());
        }
    });
    timer->start(20);
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(installDriver)

class TestRunApplication : public QObject
{
    Q_OBJECT

private slots:
    void passes_data()
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
        row("restored session without chipid becomes revision C", "marker=1\n", "restoreButton",
            {0}, {"D", "67/1"});
        row("new session starts as revision C", revB, "newButton", {0}, {"D", "67/-"});
        row("load takes the chosen file", "chipid=67\nmarker=1\n", "loadButton chosen.ini", {0},
            {"D", "66/chosen"});
        row("load cancelled keeps the session", revB, "loadButton", {0}, {"D", "66/1"});
        row("restarts keep or clear, the last other code is the result", revB, "restoreButton",
            {EXIT_CODE_RESTART, EXIT_CODE_RESTART_REV_B, EXIT_CODE_RESTART_REV_C, -1},
            {"D", "66/1", "66/102", "66/-", "67/-"});
    }
    void passes()
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
        TestArgv arguments({"tst_runapplication"});
        QCOMPARE(
            runApplication(arguments.argc, arguments.argv(), [] { return QList<PortCandidate>(); }),
            codes.last());
        QCOMPARE(run.seen, seen);
    }

    // In a folder holding source.ini and target.ini, each file holding its own name.
    void replaceWithCopy_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("target");
        QTest::addColumn<QString>("targetAfter");
        dataRow("existing target replaced", "source.ini", "target.ini", "source.ini");
        dataRow("missing folder created", "source.ini", "sub/dir/target.ini", "source.ini");
        dataRow("missing source keeps target", "absent.ini", "target.ini", "target.ini");
        dataRow("target under a file fails", "source.ini", "target.ini/x.ini", "<missing>");
    }
    void replaceWithCopy()
    {
        QFETCH(QString, source);
        QFETCH(QString, target);
        QFETCH(QString, targetAfter);
        QTemporaryDir dir;
        for (const char *name : {"source.ini", "target.ini"})
            writeFile(dir.filePath(name), name);
        QCOMPARE(::replaceWithCopy(dir.filePath(source), dir.filePath(target)),
                 targetAfter == "source.ini");
        QFile after(dir.filePath(target));
        QCOMPARE(after.open(QIODevice::ReadOnly) ? QString(after.readAll()) : "<missing>",
                 targetAfter);
        // Nothing half-written is left behind beside the target.
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files),
                 QStringList({"source.ini", "target.ini"}));
    }
};

QTEST_APPLESS_MAIN(TestRunApplication)
#include "tst_runapplication.moc"
