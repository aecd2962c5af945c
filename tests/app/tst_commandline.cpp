#include "support/datarow.h"

#include <QProcess>
#include <QtTest>

// The program as a process started from a shell: what it answers without a display,
// and what its documents advise for running it under a virtual X server.
class TestCommandLine : public QObject
{
    Q_OBJECT

private slots:
    void answersWithoutWindow_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("display"); // empty: none at all
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("output"); // part of what it prints; %1 the config folder
        dataRow("help names the settings file", QStringList{"--help"}, "", 0,
                "Usage: ktr4207-kit-controller [--help] [--version]");
        dataRow("help path", QStringList{"-h"}, "", 0,
                "%1/Halvorn Technologies Inc./KTR4207-KIT Controller.ini\n");
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
        QCOMPARE(program.exitStatus(), QProcess::NormalExit);
        QCOMPARE(program.exitCode(), exitCode);
        QVERIFY2(printed.contains(QString(output).replace("%1", config.path())),
                 qPrintable(printed));
    }

    // Every mention of xvfb-run starts the server without reset, which the program's
    // restarts need: a reset server refuses the next pass.
    void xvfbAdviceKeepsTheServer_data()
    {
        QTest::addColumn<QString>("file");
        QTest::newRow("README") << "README.md";
        QTest::newRow("run.sh") << "run.sh";
    }
    void xvfbAdviceKeepsTheServer()
    {
        QFETCH(QString, file);
        QFile text(QStringLiteral(KTR_SOURCE_DIR "/") + file);
        QVERIFY(text.open(QIODevice::ReadOnly));
        int mentions = 0;
        for (const QByteArray &line : text.readAll().split('\n')) {
            if (!line.contains("xvfb-run"))
                continue;
            ++mentions;
            QVERIFY2(line.contains("-noreset"), line.constData());
        }
        QVERIFY(mentions > 0);
    }
};

QTEST_GUILESS_MAIN(TestCommandLine)
#include "tst_commandline.moc"
