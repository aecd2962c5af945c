#include "link/serialcontroller.h"
#include "sensing/thresholdcalibratorcontroller.h"
#include "sensing/thresholdcalibratorwidget.h"

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
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<int>("shown");
        QTest::newRow("half rounds up") << QByteArray("130") << 98;
        QTest::newRow("255") << QByteArray("255") << 191;
        QTest::newRow("leading zeros") << QByteArray("001") << 1;
        QTest::newRow("above the thresholds' range") << QByteArray("999") << 749;
        QTest::newRow("not a number") << QByteArray("?x") << 0;
    }
    void scalesTheKitsReply()
    {
        QFETCH(QByteArray, reply);
        QFETCH(int, shown);
        SerialController serial([] { return QList<PortCandidate>(); });
        ThresholdCalibratorController controller(&serial);
        QSignalSpy spy(&controller, &ThresholdCalibratorController::sigSetMaxThreshold);
        controller.Dispatch(reply, 3, ReadSensing);
        QCOMPARE(spy.count(), 0);
        controller.Dispatch(reply, 3, ReadMaxThreshold);
        QCOMPARE(spy.count(), 1);
        QCOMPARE(spy.at(0).at(0).toInt(), shown);
    }

    // A second press restarts the countdown; only the end of the last one fetches.
    void countdownFetchesOnceAtZero()
    {
        ThresholdCalibratorWidget page;
        page.setEnabled(true);
        auto *button = page.findChild<QPushButton *>(QStringLiteral("measureButton"));
        auto *label = page.findChild<QLabel *>(QStringLiteral("measureLabel"));
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
    }

    void disablingStopsTheCountdown()
    {
        ThresholdCalibratorWidget page;
        page.setEnabled(true);
        QSignalSpy fetch(&page, &ThresholdCalibratorWidget::sigGetMaxThreshold);
        QTest::mouseClick(page.findChild<QPushButton *>(QStringLiteral("measureButton")),
                          Qt::LeftButton);
        page.setEnabled(false);
        QTest::qWait(1200);
        QCOMPARE(fetch.count(), 0);
        QCOMPARE(
            page.findChild<QLabel *>(QStringLiteral("measureLabel"))->text(),
            QStringLiteral("1. Press button to measure.\n2. Then press the piezo on channel A."));
        QVERIFY(!page.findChild<QPushButton *>(QStringLiteral("measureButton"))->isEnabled());
    }
};

QTEST_MAIN(TestThresholdCalibrator)
#include "tst_thresholdcalibrator.moc"
