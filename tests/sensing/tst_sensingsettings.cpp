#include "sensing/sensingparameters.h"
#include "sensing/sensingsettings.h"
#include "support/testsettings.h"

#include <QSettings>
#include <QtTest>

class TestSensingSettings : public QObject
{
    Q_OBJECT

private slots:
    void init() { settings.reset(); }

    void installsFourEntriesInOrder();
    void presetValuesAreExact_data();
    void presetValuesAreExact();
    void secondStartChangesNothing();
    void existingArrayOfOneIsLeftAlone();
    void writeKeepsTheArrayWhole_data();
    void writeKeepsTheArrayWhole();

private:
    TestSettings settings;
};

void TestSensingSettings::installsFourEntriesInOrder()
{
    installSensingDefaults();

    QSettings s;
    QCOMPARE(s.beginReadArray(SensingArrayKey), 4);
    const QStringList names{"Custom 0", "Custom 1", "TDK PowerHap 2.5G", "MIDE PPA-2014"};
    const QList<bool> editable{true, true, false, false};
    for (int i = 0; i < 4; ++i) {
        s.setArrayIndex(i);
        QCOMPARE(s.value(SensingNameKey).toString(), names.at(i));
        QCOMPARE(s.value(SensingEditableKey).toBool(), editable.at(i));
        QCOMPARE(s.childKeys().size(), 21);
        if (i < 2) {
            // Below the panel's minimum of 1 for several fields; that is by design.
            for (const SensingParameter &parameter : sensingParameters())
                QCOMPARE(s.value(parameter.key).toInt(), 0);
        }
    }
    s.endArray();
}

void TestSensingSettings::presetValuesAreExact_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("text");

    QTest::newRow("TDK multiplicator") << 2 << "low_amp_multiplicator"
                                       << "0.75";
    QTest::newRow("TDK press amplitude") << 2 << "high_amp_press"
                                         << "1";
    QTest::newRow("TDK low press threshold") << 2 << "low_sens_press_thresh"
                                             << "15";
    QTest::newRow("TDK high press threshold") << 2 << "high_sens_press_thresh"
                                              << "12";
    QTest::newRow("TDK off vmin") << 2 << "off_vmin"
                                  << "-10";
    QTest::newRow("TDK long feedback") << 2 << "nb_prd_long"
                                       << "10";
    QTest::newRow("MIDE low release threshold") << 3 << "low_sens_release_thresh"
                                                << "130";
    QTest::newRow("MIDE high release threshold") << 3 << "high_sens_release_thresh"
                                                 << "90";
    QTest::newRow("MIDE on vmin") << 3 << "on_vmin"
                                  << "-95";
    QTest::newRow("MIDE high frequency") << 3 << "high_freq_feedback"
                                         << "180";
}

void TestSensingSettings::presetValuesAreExact()
{
    QFETCH(int, index);
    QFETCH(QString, key);
    QFETCH(QString, text);

    installSensingDefaults();
    QSettings s;
    s.beginReadArray(SensingArrayKey);
    s.setArrayIndex(index);
    QCOMPARE(s.value(key).toString(), text);
    s.endArray();
}

void TestSensingSettings::secondStartChangesNothing()
{
    installSensingDefaults();
    QSettings().setValue("sensing/1/low_freq_feedback", "101");
    const QString before = QSettings().value("sensing/3/name").toString();

    installSensingDefaults();
    QSettings s;
    QCOMPARE(s.value("sensing/size").toInt(), 4);
    QCOMPARE(s.value("sensing/1/low_freq_feedback").toString(), QString("101"));
    QCOMPARE(s.value("sensing/3/name").toString(), before);
}

void TestSensingSettings::existingArrayOfOneIsLeftAlone()
{
    {
        QSettings s;
        s.beginWriteArray(SensingArrayKey, 1);
        s.setArrayIndex(0);
        s.setValue(SensingNameKey, "Old");
        s.endArray();
    }
    installSensingDefaults();
    QCOMPARE(sensingArraySize(), 1);
    QCOMPARE(QSettings().value("sensing/1/name").toString(), QString("Old"));
    QVERIFY(!QSettings().contains("sensing/2/name"));
}

void TestSensingSettings::writeKeepsTheArrayWhole_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<bool>("written");

    QTest::newRow("first") << 0 << true;
    QTest::newRow("middle") << 2 << true;
    QTest::newRow("last") << 3 << true;
    QTest::newRow("one past the end") << 4 << false;
    QTest::newRow("negative") << -1 << false;
}

void TestSensingSettings::writeKeepsTheArrayWhole()
{
    QFETCH(int, index);
    QFETCH(bool, written);

    installSensingDefaults();
    const bool result = writeSensingEntry(
        index, [](QSettings &entry) { entry.setValue("nb_prd_click", QStringLiteral("7")); });
    QCOMPARE(result, written);
    QCOMPARE(sensingArraySize(), 4);
    QSettings s;
    for (int i = 0; i < 6; ++i) {
        const QString key = QStringLiteral("sensing/%1/nb_prd_click").arg(i + 1);
        QCOMPARE(s.value(key).toString() == QLatin1String("7"), written && i == index);
    }
    QVERIFY(!s.contains("sensing/5/name"));
}

QTEST_MAIN(TestSensingSettings)
#include "tst_sensingsettings.moc"
