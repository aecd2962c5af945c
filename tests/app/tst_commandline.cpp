#include "support/datarow.h"

#include <QProcess>
#include <QtTest>

// The program as a process started from a shell, and the advice of its documents.
class TestCommandLine : public QObject
{
    Q_OBJECT

private slots:
    // Answers that need no display; output holds %1 for the config folder.
    void answersWithoutWindow_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("display"); // empty: none at all
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("output");
        dataRow("help", QStringList{"--help"}, "", 0,
                "Usage: ktr4207-kit-controller [--help] [--version]");
        dataRow("help names the settings file", QStringList{"-h"}, "", 0,
                "\n  %1/Halvorn Technologies Inc./KTR4207-KIT Controller.ini\n");
        dataRow("version", QStringList{"--version"}, "", 0, "KTR4207-KIT Controller 1.0\n");
        dataRow("a display that cannot be opened", QStringList(), ":4207", 1,
                "xvfb-run -s \"-noreset\"");
    }
    void answersWithoutWindow()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, display);
        QFETCH(int, exitCode);
        QFETCH(QString, output);
        QTemporaryDir config;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const char *name : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"})
            environment.remove(name);
        environment.insert("XDG_CONFIG_HOME", config.path());
        if (!display.isEmpty()) {
            environment.insert("DISPLAY", display);
            environment.insert("QT_QPA_PLATFORM", "xcb");
        }
        QProcess program;
        program.setProcessEnvironment(environment);
        program.start(KTR_PROGRAM, arguments);
        QVERIFY(program.waitForFinished(30000));
        const QString printed = program.readAllStandardOutput() + program.readAllStandardError();
        QCOMPARE(program.exitStatus(), QProcess::NormalExit); // no abort
        QCOMPARE(program.exitCode(), exitCode);
        QVERIFY2(printed.contains(QString(output).replace("%1", config.path())),
                 qPrintable(printed));
    }
    // Each mention of xvfb-run keeps the server from resetting between the passes.
    void xvfbAdviceKeepsTheServer()
    {
        for (const char *name : {"/README.md", "/run.sh"}) {
            QFile file(KTR_SOURCE_DIR + QString(name));
            QVERIFY(file.open(QIODevice::ReadOnly));
            const QString text = file.readAll();
            const int mentions = text.count("xvfb-run");
            QVERIFY2(mentions > 0 &&
                         mentions == text.count(QRegularExpression("xvfb-run -s \\\\?\"-noreset")),
                     name);
        }
    }
};

QTEST_GUILESS_MAIN(TestCommandLine)
#include "tst_commandline.moc"
