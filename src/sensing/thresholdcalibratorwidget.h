#pragma once

#include <QWidget>

// The page "Force Measurement".
class ThresholdCalibratorWidget : public QWidget
{
    Q_OBJECT
public:
    explicit ThresholdCalibratorWidget(QWidget *parent = nullptr);

signals:
    void sigCalibrateThreshold();
    void sigGetMaxThreshold();
    void sigEnableSensing();

public slots:
    void setMaxThreshold(int max_thresh);
    void setEnabled(bool enabled);
};
