#include "app/settingsfile.h"
#include "support/testsettings.h"

#include <QDir>
#include <QFile>
#include <QSettings>
#include <QtTest>

namespace {

void writeFile(const QString &name, const QByteArray &content)
{
    QFile file(name);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
}

QByteArray readFile(const QString &name)
{
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray("<missing>");
    return file.readAll();
}

} // namespace

class TestSettingsFile : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void replaceWithCopy_data();
    void replaceWithCopy();
    void loadIsSeenBySettings();

private:
    TestSettings settings;
};

void TestSettingsFile::init()
{
    settings.reset();
}

void TestSettingsFile::replaceWithCopy_data()
{
    QTest::addColumn<QString>("source"); // relative to the temporary folder
    QTest::addColumn<QString>("target");
    QTest::addColumn<bool>("replaced");
    QTest::addColumn<QByteArray>("targetAfter");

    QTest::newRow("existing target replaced")
        << "source.ini"
        << "target.ini" << true << QByteArray("[General]\nnew=1\n");
    QTest::newRow("new target written") << "source.ini"
                                        << "fresh.ini" << true << QByteArray("[General]\nnew=1\n");
    QTest::newRow("missing folder created")
        << "source.ini"
        << "sub/dir/target.ini" << true << QByteArray("[General]\nnew=1\n");
    QTest::newRow("missing source keeps target")
        << "absent.ini"
        << "target.ini" << false << QByteArray("[General]\nold=1\n");
    QTest::newRow("folder as source keeps target")
        << "folder"
        << "target.ini" << false << QByteArray("[General]\nold=1\n");
    QTest::newRow("target in a file's place fails")
        << "source.ini"
        << "target.ini/x.ini" << false << QByteArray("<missing>");
}

void TestSettingsFile::replaceWithCopy()
{
    QFETCH(QString, source);
    QFETCH(QString, target);
    QFETCH(bool, replaced);
    QFETCH(QByteArray, targetAfter);

    QTemporaryDir dir;
    writeFile(dir.filePath("source.ini"), "[General]\nnew=1\n");
    writeFile(dir.filePath("target.ini"), "[General]\nold=1\n");
    QVERIFY(QDir(dir.path()).mkdir("folder"));

    QCOMPARE(::replaceWithCopy(dir.filePath(source), dir.filePath(target)), replaced);
    QCOMPARE(readFile(dir.filePath(target)), targetAfter);
    // Nothing half-written is left behind beside the target.
    QStringList expected{"source.ini", "target.ini"};
    if (replaced && !target.contains('/') && !expected.contains(target))
        expected.append(target);
    expected.sort();
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files, QDir::Name), expected);
}

void TestSettingsFile::loadIsSeenBySettings()
{
    QSettings session;
    session.setValue("marker", "old");
    session.sync();

    const QString chosen = settings.dir() + "/chosen.ini";
    writeFile(chosen, "[General]\nmarker=chosen\n");
    QVERIFY(loadSettingsFrom(chosen));
    // A settings object that was open before the load must see the new content.
    QCOMPARE(session.value("marker").toString(), QStringLiteral("chosen"));
    QCOMPARE(QSettings().value("marker").toString(), QStringLiteral("chosen"));
}

QTEST_MAIN(TestSettingsFile)
#include "tst_settingsfile.moc"
