#include "app/appicon.h"
#include "app/constants.h"
#include "support/datarow.h"
#include "support/windowtest.h"

#include <QIcon>
#include <QtTest>

// The window icon is found from the program's folder, whether the program runs from
// its build folder or from an installed prefix, and what is found is one QIcon reads.
class TestAppIcon : public QObject
{
    Q_OBJECT

private slots:
    void findsTheIcon_data()
    {
        QTest::addColumn<QStringList>("present"); // copies of the icon, relative to the prefix
        QTest::addColumn<QString>("expected");    // relative to the prefix; "" for the bare name
        const QString beside = "bin/" + APP_ICON;
        const QString installed = "share/ktr4207-kit-controller/" + APP_ICON;
        dataRow("build folder", QStringList{beside}, beside);
        dataRow("installed", QStringList{installed}, installed);
        dataRow("beside the program wins", QStringList{installed, beside}, beside);
        dataRow("another program's folder", QStringList{"share/other/" + APP_ICON}, "");
        dataRow("a folder of that name", QStringList{beside + "/x"}, "");
        dataRow("none", QStringList(), "");
    }
    void findsTheIcon()
    {
        QFETCH(QStringList, present);
        QFETCH(QString, expected);
        QFile icon(QFINDTESTDATA("../../resources/" + APP_ICON));
        QVERIFY(icon.open(QIODevice::ReadOnly));
        const QByteArray bytes = icon.readAll();
        QTemporaryDir prefix;
        QVERIFY(QDir(prefix.path()).mkpath("bin"));
        for (const QString &file : present)
            writeFile(prefix.filePath(file), bytes);
        const QString found = appIconFile(prefix.filePath("bin"));
        if (expected.isEmpty())
            QCOMPARE(found, APP_ICON);
        else
            QCOMPARE(found, QFileInfo(prefix.filePath(expected)).absoluteFilePath());
        QVERIFY(expected.isEmpty() || !QIcon(found).availableSizes().isEmpty());
    }
};

QTEST_MAIN(TestAppIcon)
#include "tst_appicon.moc"
