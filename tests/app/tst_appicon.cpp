#include "app/appicon.h"
#include "app/constants.h"

#include <QIcon>
#include <QtTest>

// The window icon is found from the program's folder, whether the program runs from
// its build folder or from an installed prefix.
class TestAppIcon : public QObject
{
    Q_OBJECT

private slots:
    void findsTheIcon_data();
    void findsTheIcon();
    void installedIconLoads();
};

void TestAppIcon::findsTheIcon_data()
{
    QTest::addColumn<QStringList>("present"); // icon files present, relative to the prefix
    QTest::addColumn<QString>("expected");    // relative to the prefix; "" for the bare name

    const QString beside = "bin/" + APP_ICON;
    const QString installed = "share/ktr4207-kit-controller/" + APP_ICON;
    QTest::newRow("build folder") << QStringList{beside} << beside;
    QTest::newRow("installed") << QStringList{installed} << installed;
    QTest::newRow("beside the program wins") << QStringList{installed, beside} << beside;
    QTest::newRow("another program's folder") << QStringList{"share/other/" + APP_ICON} << "";
    QTest::newRow("a folder of that name") << QStringList{beside + "/x"} << "";
    QTest::newRow("none") << QStringList{} << "";
}

void TestAppIcon::findsTheIcon()
{
    QFETCH(QStringList, present);
    QFETCH(QString, expected);

    QTemporaryDir prefix;
    QVERIFY(prefix.isValid());
    QVERIFY(QDir(prefix.path()).mkpath("bin"));
    for (const QString &file : present) {
        QVERIFY(QDir(prefix.path()).mkpath(QFileInfo(file).path()));
        QFile out(prefix.filePath(file));
        QVERIFY(out.open(QIODevice::WriteOnly));
    }

    const QString found = appIconFile(prefix.filePath("bin"));
    QCOMPARE(found, expected.isEmpty() ? APP_ICON
                                       : QFileInfo(prefix.filePath(expected)).absoluteFilePath());
}

// The icon that the install rules lay out beside the share folder is one QIcon reads.
void TestAppIcon::installedIconLoads()
{
    QTemporaryDir prefix;
    QVERIFY(prefix.isValid());
    const QString folder = prefix.filePath("share/ktr4207-kit-controller");
    QVERIFY(QDir().mkpath(folder) && QDir().mkpath(prefix.filePath("bin")));
    const QString source = QFINDTESTDATA("../../resources/" + APP_ICON);
    QVERIFY(QFile::copy(source, folder + "/" + APP_ICON));

    const QIcon icon(appIconFile(prefix.filePath("bin")));
    QVERIFY(!icon.isNull());
    QVERIFY(!icon.availableSizes().isEmpty());
}

QTEST_MAIN(TestAppIcon)
#include "tst_appicon.moc"
