#include "link/serialcontroller.h"
#include "sensing/sensingchannel.h"
#include "sensing/sensingcontroller.h"
#include "sensing/sensingwidget.h"
#include "support/testsettings.h"

#include <QComboBox>
#include <QSettings>
#include <QSignalSpy>
#include <QSpinBox>
#include <QtTest>

namespace {

SensingChannel *panelOf(SensingWidget &widget, int channel)
{
    return widget.findChild<SensingChannel *>(QStringLiteral("sensingChannel%1").arg(channel));
}

QComboBox *selectorOf(SensingWidget &widget, int channel)
{
    return panelOf(widget, channel)->findChild<QComboBox *>("configSelector");
}

template <typename Box> Box *fieldOf(SensingWidget &widget, int channel, const QString &key)
{
    return panelOf(widget, channel)->findChild<Box *>(key);
}

} // namespace

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

    void editPropagates_data();
    void editPropagates();
    void readReturnsToOwnEntries();
    void decimalCommaReachesTheWireAsPoint();

private:
    TestSettings settings;
    SerialController *serial = nullptr;
    SensingController *controller = nullptr;
};

void TestSensingWidget::editPropagates_data()
{
    QTest::addColumn<int>("entryA");
    QTest::addColumn<int>("entryB");
    QTest::addColumn<int>("shownInA");

    QTest::newRow("own entries stay apart") << 0 << 1 << 100;
    QTest::newRow("same custom entry follows") << 1 << 1 << 101;
    QTest::newRow("A on B's entry, B elsewhere") << 1 << 0 << 100;
}

// The edit is a step up in panel B's low frequency field, from 100.
void TestSensingWidget::editPropagates()
{
    QFETCH(int, entryA);
    QFETCH(int, entryB);
    QFETCH(int, shownInA);

    QSettings().setValue("sensing/1/low_freq_feedback", "100");
    QSettings().setValue("sensing/2/low_freq_feedback", "100");
    SensingWidget widget;
    selectorOf(widget, 0)->setCurrentIndex(entryA);
    selectorOf(widget, 1)->setCurrentIndex(entryB);
    QSignalSpy spy(&widget, &SensingWidget::sigValueChanged);
    QVERIFY(spy.isValid());

    QTest::keyClick(fieldOf<QSpinBox>(widget, 1, "low_freq_feedback"), Qt::Key_Up);

    QCOMPARE(spy.count(), 1);
    QCOMPARE(fieldOf<QSpinBox>(widget, 0, "low_freq_feedback")->value(), shownInA);
}

void TestSensingWidget::readReturnsToOwnEntries()
{
    SensingWidget widget;
    connect(controller, &SensingController::sigUpdateUi, &widget, &SensingWidget::updateUi);
    selectorOf(widget, 0)->setCurrentIndex(3);
    selectorOf(widget, 1)->setCurrentIndex(2);
    QSettings().setValue("sensing/1/off_offset", "12.5");

    controller->readSettings();

    QCOMPARE(selectorOf(widget, 0)->currentIndex(), 0);
    QCOMPARE(selectorOf(widget, 1)->currentIndex(), 1);
    QCOMPARE(fieldOf<QDoubleSpinBox>(widget, 0, "off_offset")->value(), 12.5);
    QVERIFY(fieldOf<QDoubleSpinBox>(widget, 1, "off_offset")->isEnabled());
}

// An edit under a decimal comma locale is stored and sent with a point, channel A first.
void TestSensingWidget::decimalCommaReachesTheWireAsPoint()
{
    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    QSettings().setValue("sensing/1/low_amp_multiplicator", "0.74");
    SensingWidget widget;
    connect(&widget, &SensingWidget::sigSend, controller, &SensingController::sendSettings);
    QSignalSpy spy(controller, &SerialDispatcher::sigSendData);
    QVERIFY(spy.isValid());

    auto *field = fieldOf<QDoubleSpinBox>(widget, 0, "low_amp_multiplicator");
    QTest::keyClick(field, Qt::Key_Up);
    QCOMPARE(field->text(), QString("0,75"));
    QCOMPARE(QSettings().value("sensing/1/low_amp_multiplicator").toString(), QString("0.75"));

    widget.send();
    QCOMPARE(spy.count(), 38);
    QCOMPARE(spy.at(0).at(0).toByteArray(), QByteArray::fromHex("323030004B"));
    QCOMPARE(spy.at(19).at(0).toByteArray(), QByteArray::fromHex("3231300000"));
}

QTEST_MAIN(TestSensingWidget)
#include "tst_sensingwidget.moc"
