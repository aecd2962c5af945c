#include "sensing/sensingchannel.h"
#include "sensing/sensingparameters.h"
#include "sensing/sensingsettings.h"
#include "support/testsettings.h"

#include <QComboBox>
#include <QSettings>
#include <QSignalSpy>
#include <QSpinBox>
#include <QtTest>

namespace {

constexpr int Custom0 = 0;
constexpr int Tdk = 2;
constexpr int Mide = 3;

QVariant stored(int index, const QString &key)
{
    return QSettings().value(QStringLiteral("sensing/%1/%2").arg(index + 1).arg(key));
}

void store(int index, const QString &key, const QVariant &value)
{
    writeSensingEntry(index, [&](QSettings &entry) { entry.setValue(key, value); });
}

} // namespace

class TestSensingChannel : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        settings.reset();
        installSensingDefaults();
    }
    void cleanup() { QLocale::setDefault(QLocale::c()); }

    void showsStoredValuesWithinRange_data();
    void showsStoredValuesWithinRange();
    void editStoresTheShownValue_data();
    void editStoresTheShownValue();
    void presetIsReadOnlyButSends_data();
    void presetIsReadOnlyButSends();

private:
    TestSettings settings;
};

void TestSensingChannel::showsStoredValuesWithinRange_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("fromPreset"); // reached from the TDK preset rather than reloaded
    QTest::addColumn<QString>("display");
    QTest::addColumn<QVariant>("storedAfter");

    QTest::newRow("zero count shown at construction and reloaded stays zero")
        << "low_freq_feedback" << QVariant(0) << false << "1" << QVariant(0);
    QTest::newRow("zero count reached from preset is corrected")
        << "low_freq_feedback" << QVariant(0) << true << "1" << QVariant("1");
    QTest::newRow("limit equal to what was shown corrects nothing")
        << "nb_prd_click" << QVariant(0) << true << "1" << QVariant(0);
    QTest::newRow("count above range")
        << "high_sens_press_thresh" << QVariant("300") << true << "255" << QVariant("255");
    QTest::newRow("real above range")
        << "off_amplitude" << QVariant("120") << true << "95.00" << QVariant("95.00");
    QTest::newRow("real below range")
        << "low_amp_multiplicator" << QVariant(-0.5f) << true << "0.00" << QVariant("0.00");
    QTest::newRow("text with two decimals is quiet")
        << "off_vmin" << QVariant("-10.30") << true << "-10.30" << QVariant("-10.30");
    QTest::newRow("float with two decimals is quiet")
        << "on_offset" << QVariant(-10.3f) << true << "-10.30" << QVariant(-10.3f);
    QTest::newRow("third decimal is rounded away")
        << "high_amp_release" << QVariant("0.123") << true << "0.12" << QVariant("0.12");
    QTest::newRow("text that is no number reads as 0")
        << "off_offset" << QVariant("abc") << true << "0.00" << QVariant("abc");
}

void TestSensingChannel::showsStoredValuesWithinRange()
{
    QFETCH(QString, key);
    QFETCH(QVariant, value);
    QFETCH(bool, fromPreset);
    QFETCH(QString, display);
    QFETCH(QVariant, storedAfter);

    // Custom 0 equals the preset but for the field under test, so that only that
    // field can change on the way from the preset to the custom entry.
    for (const SensingParameter &parameter : sensingParameters())
        store(Custom0, parameter.key, stored(Tdk, parameter.key));
    store(Custom0, key, value);
    SensingChannel panel(0);
    auto *selector = panel.findChild<QComboBox *>("configSelector");
    if (fromPreset)
        selector->setCurrentIndex(Tdk);
    QSignalSpy spy(&panel, &SensingChannel::someValueChanged);
    QVERIFY(spy.isValid());

    if (fromPreset)
        selector->setCurrentIndex(Custom0);
    else
        panel.updateFields(Custom0);

    QCOMPARE(panel.findChild<QAbstractSpinBox *>(key)->text(), display);
    QCOMPARE(stored(Custom0, key), storedAfter);
    QCOMPARE(spy.count(), storedAfter == value ? 0 : 1);
}

void TestSensingChannel::editStoresTheShownValue_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("before");
    QTest::addColumn<bool>("decimalComma");
    QTest::addColumn<QString>("display");
    QTest::addColumn<QString>("storedAfter");

    QTest::newRow("count") << "low_freq_feedback"
                           << "100" << false << "101"
                           << "101";
    QTest::newRow("output range") << "off_vmin"
                                  << "-10" << false << "-9.90"
                                  << "-9.90";
    QTest::newRow("amplitude, decimal comma") << "low_amp_multiplicator"
                                              << "0.74" << true << "0,75"
                                              << "0.75";
}

void TestSensingChannel::editStoresTheShownValue()
{
    QFETCH(QString, key);
    QFETCH(QString, before);
    QFETCH(bool, decimalComma);
    QFETCH(QString, display);
    QFETCH(QString, storedAfter);

    if (decimalComma)
        QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    store(Custom0, key, before);
    SensingChannel panel(0);
    QSignalSpy spy(&panel, &SensingChannel::someValueChanged);
    QVERIFY(spy.isValid());

    auto *field = panel.findChild<QAbstractSpinBox *>(key);
    QTest::keyClick(field, Qt::Key_Up);

    QCOMPARE(field->text(), display);
    QCOMPARE(stored(Custom0, key).toString(), storedAfter);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(sensingArraySize(), 4);
}

void TestSensingChannel::presetIsReadOnlyButSends_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<int>("argument"); // position in the send signature, channel at 0
    QTest::addColumn<QString>("text");

    QTest::newRow("TDK low press threshold") << Tdk << 7 << "15";
    QTest::newRow("TDK off vmin") << Tdk << 15 << "-10";
    QTest::newRow("TDK multiplicator") << Tdk << 1 << "0.75";
    QTest::newRow("MIDE low release threshold") << Mide << 9 << "130";
    QTest::newRow("MIDE high release threshold") << Mide << 8 << "90";
}

void TestSensingChannel::presetIsReadOnlyButSends()
{
    QFETCH(int, index);
    QFETCH(int, argument);
    QFETCH(QString, text);

    SensingChannel panel(1);
    panel.findChild<QComboBox *>("configSelector")->setCurrentIndex(index);
    const QList<QAbstractSpinBox *> fields = panel.findChildren<QAbstractSpinBox *>();
    QCOMPARE(fields.size(), 19);
    for (QAbstractSpinBox *field : fields)
        QVERIFY2(!field->isEnabled(), qPrintable(field->objectName()));

    QSignalSpy spy(&panel, &SensingChannel::sigSend);
    QVERIFY(spy.isValid());
    panel.send();
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).toString(), QString("1"));
    QCOMPARE(spy.at(0).at(argument).toString(), text);
}

QTEST_MAIN(TestSensingChannel)
#include "tst_sensingchannel.moc"
