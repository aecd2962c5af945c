#include "kitoptions.h"
#include "support/testargv.h"

#include <QtTest>

class TestKitOptions : public QObject
{
    Q_OBJECT

private slots:
    void parse_data();
    void parse();
};

// Each row gives the command line and what was read from it, as
// "chip firmware press [paced] [port=…] [error] | arguments left for the toolkit".
void TestKitOptions::parse_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("read");
    QTest::addColumn<bool>("simulator");
    const auto row = [](const char *name, const char *line, const char *read, bool sim = false) {
        QTest::newRow(name) << QString(line) << QString(read) << sim;
    };

    row("chip B", "--chip B", "2466 2.3 130 |");
    row("values after =", "--chip=0x1234 --press=7", "1234 2.3 7 |");
    row("chip too wide, not read", "--chip 0x12345", "246a 2.3 130 error |");
    row("all options, toolkit's kept",
        "-style fusion --firmware 2.2 --press 77 --paced --port /dev/ttyUSB0 -platform x",
        "246a 2.2 77 paced port=/dev/ttyUSB0 | -style fusion -platform x");
    row("simulator takes no --port", "--port /dev/x", "246a 2.3 130 | --port /dev/x", true);
}

void TestKitOptions::parse()
{
    QFETCH(QString, line);
    QFETCH(QString, read);
    QFETCH(bool, simulator);

    TestArgv args(QStringLiteral("program ").append(line).split(QLatin1Char(' ')));
    const KitOptions options = takeKitOptions(
        args.argc, args.argv(), simulator ? KitOptionSet::Simulator : KitOptionSet::Demo);
    QStringList seen{QString::number(options.chipId, 16), options.firmwareId,
                     QString::number(options.pressValue)};
    if (options.paced)
        seen << QStringLiteral("paced");
    if (!options.port.isEmpty())
        seen << QStringLiteral("port=") + options.port;
    if (!options.error.isEmpty())
        seen << QStringLiteral("error");
    seen << QStringLiteral("|") << args.rest();
    QCOMPARE(seen.join(QLatin1Char(' ')), read);
    QCOMPARE(args.argv()[args.argc], nullptr);
}

QTEST_GUILESS_MAIN(TestKitOptions)
#include "tst_kitoptions.moc"
