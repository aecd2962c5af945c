#include "thresholdcalibratorwidget.h"

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
    column->addWidget(measureButton);
    column->addWidget(messageLabel);
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

void ThresholdCalibratorWidget::calibrate()
{
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

void ThresholdCalibratorWidget::setMaxThreshold(int max_thresh)
{
    messageLabel->setText(QStringLiteral("The measured value is %1").arg(max_thresh));
}

void ThresholdCalibratorWidget::setEnabled(bool enabled)
{
    measureButton->setEnabled(enabled);
    timer->stop();
    messageLabel->setText(
        QStringLiteral("1. Press button to measure.\n2. Then press the piezo on channel A."));
}
