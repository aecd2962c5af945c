#include "kitoptions.h"

#include <QtTest>
#include <vector>

class TestKitOptions : public QObject
{
    Q_OBJECT

private slots:
    void parse_data();
    void parse();
};

void TestKitOptions::parse_data()
{
    QTest::addColumn<bool>("simulator");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("chip");
    QTest::addColumn<QByteArray>("firmware");
    QTest::addColumn<int>("press");
    QTest::addColumn<bool>("paced");
    QTest::addColumn<QString>("port");
    QTest::addColumn<bool>("failed");
    QTest::addColumn<QStringList>("left");

    const int c = KitFirmware::ChipIdRevC;
    QTest::newRow("chip B") << false << QStringList{"--chip", "B"} << 0x2466 << QByteArray("2.3")
                            << 130 << false << QString() << false << QStringList();
    QTest::newRow("chip as value after =")
        << false << QStringList{"--chip=0x1234"} << 0x1234 << QByteArray("2.3") << 130 << false
        << QString() << false << QStringList();
    QTest::newRow("chip too wide")
        << false << QStringList{"--chip", "0x12345"} << c << QByteArray("2.3") << 130 << false
        << QString() << true << QStringList();
    QTest::newRow("all kit options, Qt options kept")
        << false << QStringList{"-style",  "fusion", "--firmware",   "2.2",       "--press",  "77",
                                "--paced", "--port", "/dev/ttyUSB0", "-platform", "offscreen"}
        << c << QByteArray("2.2") << 77 << true << QString("/dev/ttyUSB0") << false
        << QStringList{"-style", "fusion", "-platform", "offscreen"};
    QTest::newRow("press not a number")
        << false << QStringList{"--press", "hard"} << c << QByteArray("2.3") << 130 << false
        << QString() << true << QStringList();
    QTest::newRow("simulator takes no --port")
        << true << QStringList{"--port", "/dev/x"} << c << QByteArray("2.3") << 130 << false
        << QString() << false << QStringList{"--port", "/dev/x"};
}

void TestKitOptions::parse()
{
    QFETCH(bool, simulator);
    QFETCH(QStringList, arguments);
    QFETCH(int, chip);
    QFETCH(QByteArray, firmware);
    QFETCH(int, press);
    QFETCH(bool, paced);
    QFETCH(QString, port);
    QFETCH(bool, failed);
    QFETCH(QStringList, left);

    arguments.prepend(QStringLiteral("program"));
    QList<QByteArray> storage;
    for (const QString &argument : qAsConst(arguments))
        storage.append(argument.toLocal8Bit());
    std::vector<char *> argv;
    for (QByteArray &argument : storage)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    int argc = int(storage.size());

    const KitOptions options =
        takeKitOptions(argc, argv.data(), simulator ? KitOptionSet::Simulator : KitOptionSet::Demo);
    QCOMPARE(int(options.chipId), chip);
    QCOMPARE(options.firmwareId, firmware);
    QCOMPARE(options.pressValue, press);
    QCOMPARE(options.paced, paced);
    QCOMPARE(options.port, port);
    QCOMPARE(!options.error.isEmpty(), failed);
    QStringList rest;
    for (int i = 1; i < argc; ++i)
        rest.append(QString::fromLocal8Bit(argv[i]));
    QCOMPARE(rest, left);
    QCOMPARE(argv[argc], nullptr);
}

QTEST_GUILESS_MAIN(TestKitOptions)
#include "tst_kitoptions.moc"
