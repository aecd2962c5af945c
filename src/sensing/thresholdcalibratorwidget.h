#pragma once

#include <QWidget>

class QLabel;
class QPushButton;
class QTimer;

// The page "Force Measurement": a six-second countdown during which the user
// presses the piezo of channel A, then the value the press reached.
class ThresholdCalibratorWidget : public QWidget
{
    Q_OBJECT
public:
    explicit ThresholdCalibratorWidget(QWidget *parent = nullptr);

    static constexpr int CountdownSeconds = 6;
    static constexpr int TickMs = 1000;

signals:
    void sigCalibrateThreshold();
    void sigGetMaxThreshold();
    void sigEnableSensing();

public slots:
    void setMaxThreshold(int max_thresh);
    // The kit's reading that the next value shown comes from.
    void setKitReading(int reading);
    // Enables the button only; resets the page to idle either way.
    void setEnabled(bool enabled);

private slots:
    void calibrate();
    void timerTimeout();

private:
    void showCountdown();
    void clearReading();

    QPushButton *measureButton = nullptr;
    QLabel *messageLabel = nullptr;
    QLabel *readingLabel = nullptr; // how the value shown comes from the kit's reading
    QTimer *timer = nullptr;
    int secondsLeft = CountdownSeconds;
    int kitReading = -1; // none yet
};
