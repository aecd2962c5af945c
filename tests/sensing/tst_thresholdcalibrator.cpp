#include "link/serialcontroller.h"
#include "sensing/thresholdcalibratorcontroller.h"
#include "sensing/thresholdcalibratorwidget.h"
#include "support/datarow.h"

#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

class TestThresholdCalibrator : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { qRegisterMetaType<ReadType>("ReadType"); }

    void scalesTheKitsReply_data()
    {
        columns<QByteArray, int>({"reply", "shown"});
        dataRow("half rounds up", QByteArray("130"), 98);
        dataRow("a quarter rounds down", QByteArray("255"), 191);
        dataRow("leading zeros", QByteArray("001"), 1);
        dataRow("above the thresholds' range", QByteArray("999"), 749);
        dataRow("not a number", QByteArray("?x"), 0);
    }
    void scalesTheKitsReply()
    {
        const auto [reply, shown] = fetchRow<QByteArray, int>("reply", "shown");
        SerialController serial([] { return QList<PortCandidate>(); });
        ThresholdCalibratorController controller(&serial);
        QSignalSpy spy(&controller, &ThresholdCalibratorController::sigSetMaxThreshold);
        controller.Dispatch(reply, 3, ReadSensing); // not the reply it waits for
        controller.Dispatch(reply, 3, ReadMaxThreshold);
        QCOMPARE(spy.count(), 1);
        QCOMPARE(spy.at(0).at(0).toInt(), shown);
    }

    // A second press restarts the countdown; only the end of the last one fetches, and
    // disabling the page stops it.
    void countdownFetchesOnceAtZero()
    {
        ThresholdCalibratorWidget page;
        page.setEnabled(true);
        auto *button = page.findChild<QPushButton *>("measureButton");
        auto *label = page.findChild<QLabel *>("measureLabel");
        QSignalSpy start(&page, &ThresholdCalibratorWidget::sigCalibrateThreshold);
        QSignalSpy sensing(&page, &ThresholdCalibratorWidget::sigEnableSensing);
        QSignalSpy fetch(&page, &ThresholdCalibratorWidget::sigGetMaxThreshold);
        QTest::mouseClick(button, Qt::LeftButton);
        QMetaObject::invokeMethod(&page, "timerTimeout");
        QTest::mouseClick(button, Qt::LeftButton);
        QCOMPARE(label->text(), QStringLiteral("You have 6 seconds left to press the piezo"));
        for (int tick = 0; tick < 5; ++tick)
            QMetaObject::invokeMethod(&page, "timerTimeout");
        QCOMPARE(fetch.count(), 0);
        QMetaObject::invokeMethod(&page, "timerTimeout");
        QCOMPARE(label->text(), QStringLiteral("You have 0 seconds left to press the piezo"));
        QCOMPARE(start.count(), 2);
        QCOMPARE(sensing.count(), 2);
        QCOMPARE(fetch.count(), 1);
        page.setMaxThreshold(98);
        QCOMPARE(label->text(), QStringLiteral("The measured value is 98"));

        QTest::mouseClick(button, Qt::LeftButton);
        page.setEnabled(false);
        QTest::qWait(1200);
        QCOMPARE(fetch.count(), 1);
        QCOMPARE(label->text(), QStringLiteral("1. Press button to measure.\n"
                                               "2. Then press the piezo on channel A."));
        QVERIFY(!button->isEnabled());
    }
};

QTEST_MAIN(TestThresholdCalibrator)
#include "tst_thresholdcalibrator.moc"
