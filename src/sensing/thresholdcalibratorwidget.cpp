#include "thresholdcalibratorwidget.h"

#include "thresholdcalibratorcontroller.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

namespace {
constexpr int BUTTON_WIDTH = 150;
}

ThresholdCalibratorWidget::ThresholdCalibratorWidget(QWidget *parent)
    : QWidget(parent), timer(new QTimer(this))
{
    auto *row = new QHBoxLayout(this);
    auto *column = new QVBoxLayout;
    measureButton = new QPushButton(QStringLiteral("Measure"));
    measureButton->setObjectName(QStringLiteral("measureButton"));
    measureButton->setFixedWidth(BUTTON_WIDTH);
    messageLabel = new QLabel(
        QStringLiteral("Press button to start measuring. Then press on channel A piezo."));
    messageLabel->setObjectName(QStringLiteral("measureLabel"));
    readingLabel = new QLabel;
    readingLabel->setObjectName(QStringLiteral("kitReadingLabel"));
    column->addWidget(measureButton);
    column->addWidget(messageLabel);
    column->addWidget(readingLabel);
    column->addStretch();
    row->addLayout(column);
    row->addStretch();

    timer->setInterval(TickMs);
    connect(measureButton, &QPushButton::released, this, &ThresholdCalibratorWidget::calibrate);
    connect(timer, &QTimer::timeout, this, &ThresholdCalibratorWidget::timerTimeout);
}

void ThresholdCalibratorWidget::showCountdown()
{
    messageLabel->setText(
        QStringLiteral("You have %1 seconds left to press the piezo").arg(secondsLeft));
}

void ThresholdCalibratorWidget::clearReading()
{
    kitReading = -1;
    readingLabel->clear();
    messageLabel->setToolTip(QString());
}

void ThresholdCalibratorWidget::calibrate()
{
    clearReading();
    secondsLeft = CountdownSeconds;
    timer->start();
    showCountdown();
    emit sigEnableSensing();
    emit sigCalibrateThreshold();
}

void ThresholdCalibratorWidget::timerTimeout()
{
    --secondsLeft;
    showCountdown();
    if (secondsLeft < 1) {
        timer->stop();
        emit sigGetMaxThreshold();
    }
}

void ThresholdCalibratorWidget::setKitReading(int reading)
{
    kitReading = reading;
}

// The kit's log shows the reading itself, so the page says how its number follows.
void ThresholdCalibratorWidget::setMaxThreshold(int max_thresh)
{
    messageLabel->setText(QStringLiteral("The measured value is %1").arg(max_thresh));
    if (kitReading < 0)
        return;
    const QString relation =
        QStringLiteral("The kit read %1; shown is %1 \u00D7 %2 = %3, rounded.")
            .arg(kitReading)
            .arg(double(ThresholdCalibratorController::DisplayScale))
            .arg(double(kitReading) * double(ThresholdCalibratorController::DisplayScale));
    readingLabel->setText(relation);
    messageLabel->setToolTip(relation);
    kitReading = -1;
}

void ThresholdCalibratorWidget::setEnabled(bool enabled)
{
    measureButton->setEnabled(enabled);
    timer->stop();
    clearReading();
    messageLabel->setText(
        QStringLiteral("1. Press button to measure.\n2. Then press the piezo on channel A."));
}
