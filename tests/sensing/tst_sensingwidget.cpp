#include "link/serialcontroller.h"
#include "sensing/sensingchannel.h"
#include "sensing/sensingcontroller.h"
#include "sensing/sensingparameters.h"
#include "sensing/sensingsettings.h"
#include "sensing/sensingwidget.h"
#include "support/testsettings.h"

#include <QComboBox>
#include <QSettings>
#include <QSignalSpy>
#include <QSpinBox>
#include <QtTest>

namespace {

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

SensingChannel *panelOf(SensingWidget &widget, int channel)
{
    return widget.findChild<SensingChannel *>(QStringLiteral("sensingChannel%1").arg(channel));
}

QComboBox *selectorOf(SensingWidget &widget, int channel)
{
    return panelOf(widget, channel)->findChild<QComboBox *>("configSelector");
}

template <typename Box = QAbstractSpinBox>
Box *fieldOf(SensingWidget &widget, int channel, const QString &key)
{
    return panelOf(widget, channel)->findChild<Box *>(key);
}

void rangeRow(const char *name, const char *key, const QVariant &value, bool fromPreset,
              const char *display, const QVariant &storedAfter)
{
    QTest::newRow(name) << QString(key) << value << fromPreset << QString(display) << storedAfter;
}

} // namespace

// The page and its two channel panels, over the sensing array.
class TestSensingWidget : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { qRegisterMetaType<ReadType>("ReadType"); }
    void init()
    {
        settings.reset();
        serial = new SerialController([] { return QList<PortCandidate>(); });
        controller = new SensingController(serial);
    }
    void cleanup()
    {
        delete controller;
        delete serial;
        QLocale::setDefault(QLocale::c());
    }

    void showsStoredValuesWithinRange_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<bool>("fromPreset"); // reached from the TDK preset, not reloaded
        QTest::addColumn<QString>("display");
        QTest::addColumn<QVariant>("storedAfter");

        rangeRow("zero count shown at start and reloaded stays zero", "low_freq_feedback", 0, false,
                 "1", 0);
        rangeRow("zero count reached from preset is corrected", "low_freq_feedback", 0, true, "1",
                 "1");
        rangeRow("limit equal to what was shown corrects nothing", "nb_prd_click", 0, true, "1", 0);
        rangeRow("real above range", "off_amplitude", "120", true, "95.00", "95.00");
        rangeRow("text with two decimals is quiet", "off_vmin", "-10.30", true, "-10.30", "-10.30");
        rangeRow("float with two decimals is quiet", "on_offset", -10.3f, true, "-10.30", -10.3f);
        rangeRow("third decimal is rounded away", "high_amp_release", "0.123", true, "0.12",
                 "0.12");
    }
    void showsStoredValuesWithinRange()
    {
        QFETCH(QString, key);
        QFETCH(QVariant, value);
        QFETCH(bool, fromPreset);
        QFETCH(QString, display);
        QFETCH(QVariant, storedAfter);

        // Custom 0 equals the preset but for the field under test, so that only that
        // field can change on the way from the preset to the custom entry.
        for (const SensingParameter &parameter : sensingParameters())
            store(0, parameter.key, stored(Tdk, parameter.key));
        store(0, key, value);
        SensingWidget widget;
        if (fromPreset)
            selectorOf(widget, 0)->setCurrentIndex(Tdk);
        QSignalSpy spy(&widget, &SensingWidget::sigValueChanged);
        QVERIFY(spy.isValid());

        if (fromPreset)
            selectorOf(widget, 0)->setCurrentIndex(0);
        else
            panelOf(widget, 0)->updateFields(0);

        QCOMPARE(fieldOf(widget, 0, key)->text(), display);
        QCOMPARE(stored(0, key), storedAfter);
        QCOMPARE(spy.count(), storedAfter == value ? 0 : 1);
    }

    void presetIsReadOnlyButSends_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<int>("argument"); // position in the send signature, channel at 0
        QTest::addColumn<QString>("text");

        QTest::newRow("TDK low press threshold") << Tdk << 7 << "15";
        QTest::newRow("TDK off vmin") << Tdk << 15 << "-10";
        QTest::newRow("MIDE high release threshold") << Mide << 8 << "90";
    }
    void presetIsReadOnlyButSends()
    {
        QFETCH(int, index);
        QFETCH(int, argument);
        QFETCH(QString, text);

        SensingWidget widget;
        selectorOf(widget, 0)->setCurrentIndex(index);
        selectorOf(widget, 1)->setCurrentIndex(index);
        const QList<QAbstractSpinBox *> fields = widget.findChildren<QAbstractSpinBox *>();
        QCOMPARE(fields.size(), 38);
        for (QAbstractSpinBox *field : fields)
            QVERIFY2(!field->isEnabled(), qPrintable(field->objectName()));

        QSignalSpy spy(&widget, &SensingWidget::sigSend);
        QVERIFY(spy.isValid());
        widget.send();
        QCOMPARE(spy.count(), 2);
        QCOMPARE(spy.at(0).at(0).toString(), QString("0"));
        QCOMPARE(spy.at(1).at(0).toString(), QString("1"));
        QCOMPARE(spy.at(1).at(argument).toString(), text);
        QCOMPARE(spy.at(0).mid(1), spy.at(1).mid(1));
    }

    // The edit is a step up in panel B's low frequency field, from 100.
    void editPropagates_data()
    {
        QTest::addColumn<int>("entryA");
        QTest::addColumn<int>("entryB");
        QTest::addColumn<int>("shownInA");

        QTest::newRow("own entries stay apart") << 0 << 1 << 100;
        QTest::newRow("same custom entry follows") << 1 << 1 << 101;
        QTest::newRow("A on B's entry, B elsewhere") << 1 << 0 << 100;
    }
    void editPropagates()
    {
        QFETCH(int, entryA);
        QFETCH(int, entryB);
        QFETCH(int, shownInA);

        store(0, "low_freq_feedback", "100");
        store(1, "low_freq_feedback", "100");
        SensingWidget widget;
        selectorOf(widget, 0)->setCurrentIndex(entryA);
        selectorOf(widget, 1)->setCurrentIndex(entryB);
        QSignalSpy spy(&widget, &SensingWidget::sigValueChanged);
        QVERIFY(spy.isValid());

        QTest::keyClick(fieldOf(widget, 1, "low_freq_feedback"), Qt::Key_Up);

        QCOMPARE(spy.count(), 1);
        QCOMPARE(stored(entryB, "low_freq_feedback").toString(), QString("101"));
        QCOMPARE(fieldOf<QSpinBox>(widget, 0, "low_freq_feedback")->value(), shownInA);
        QCOMPARE(sensingArraySize(), 4);
    }

    void readReturnsToOwnEntries()
    {
        SensingWidget widget;
        connect(controller, &SensingController::sigUpdateUi, &widget, &SensingWidget::updateUi);
        selectorOf(widget, 0)->setCurrentIndex(Mide);
        selectorOf(widget, 1)->setCurrentIndex(Tdk);
        store(0, "off_offset", "12.5");

        controller->readSettings();

        QCOMPARE(selectorOf(widget, 0)->currentIndex(), 0);
        QCOMPARE(selectorOf(widget, 1)->currentIndex(), 1);
        QCOMPARE(fieldOf(widget, 0, "off_offset")->text(), QString("12.50"));
        QVERIFY(fieldOf(widget, 1, "off_offset")->isEnabled());
    }

    // Whatever the locale shows, the stored text and the wire carry a decimal point.
    void decimalCommaReachesTheWireAsPoint()
    {
        QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
        store(0, "low_amp_multiplicator", "0.74");
        SensingWidget widget;
        connect(&widget, &SensingWidget::sigSend, controller, &SensingController::sendSettings);
        QSignalSpy spy(controller, &SerialDispatcher::sigSendData);
        QVERIFY(spy.isValid());

        auto *field = fieldOf(widget, 0, "low_amp_multiplicator");
        QTest::keyClick(field, Qt::Key_Up);
        QCOMPARE(field->text(), QString("0,75"));
        QCOMPARE(stored(0, "low_amp_multiplicator").toString(), QString("0.75"));

        widget.send();
        QCOMPARE(spy.count(), 38);
        QCOMPARE(spy.at(0).at(0).toByteArray(), QByteArray::fromHex("323030004B"));
    }

private:
    TestSettings settings;
    SerialController *serial = nullptr;
    SensingController *controller = nullptr;
};

QTEST_MAIN(TestSensingWidget)
#include "tst_sensingwidget.moc"
