#include "app/settingsfile.h"

#include <QtTest>

class TestSettingsFile : public QObject
{
    Q_OBJECT

private slots:
    void replaceWithCopy_data();
    void replaceWithCopy();
};

void TestSettingsFile::replaceWithCopy_data()
{
    QTest::addColumn<QString>("source"); // relative to a folder holding source.ini and target.ini
    QTest::addColumn<QString>("target");
    QTest::addColumn<QByteArray>("targetAfter"); // each file holds its own name

    auto row = [](const char *name, const char *source, const char *target, const char *after) {
        QTest::newRow(name) << QString(source) << QString(target) << QByteArray(after);
    };
    row("existing target replaced", "source.ini", "target.ini", "source.ini");
    row("missing folder created", "source.ini", "sub/dir/target.ini", "source.ini");
    row("missing source keeps target", "absent.ini", "target.ini", "target.ini");
    row("target under a file fails", "source.ini", "target.ini/x.ini", "<missing>");
}

void TestSettingsFile::replaceWithCopy()
{
    QFETCH(QString, source);
    QFETCH(QString, target);
    QFETCH(QByteArray, targetAfter);

    QTemporaryDir dir;
    for (const char *name : {"source.ini", "target.ini"}) {
        QFile file(dir.filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(name) > 0);
    }

    const auto readFile = [&dir](const QString &name) {
        QFile file(dir.filePath(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
    };
    QCOMPARE(::replaceWithCopy(dir.filePath(source), dir.filePath(target)),
             targetAfter == readFile("source.ini"));
    QCOMPARE(readFile(target), targetAfter);
    // Nothing half-written is left behind beside the target.
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files, QDir::Name),
             QStringList({"source.ini", "target.ini"}));
}

QTEST_MAIN(TestSettingsFile)
#include "tst_settingsfile.moc"
