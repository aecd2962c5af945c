#pragma once

#include <QDialog>

class QCheckBox;
class QDoubleSpinBox;
class QSlider;
class QSpinBox;
class QWidget;

// Asks for a tone to play: a fixed frequency or a sweep, and an amplitude.
class ToneGeneratorDialog : public QDialog
{
    Q_OBJECT
public:
    explicit ToneGeneratorDialog(QWidget *parent = nullptr);

    bool isFrequencySweepEnabled() const;
    // Hz, 1 to 300.
    double frequency() const;
    // 0.0 to 1.0 of full scale.
    double amplitude() const;

private slots:
    void frequencySweepEnabled(bool enabled);

private:
    QCheckBox *frequencySweepEnabledCheckBox = nullptr;
    QWidget *amplitudePanel = nullptr;
    QWidget *frequencyPanel = nullptr;
    QSlider *frequencySlider = nullptr;
    QSpinBox *frequencySpinBox = nullptr;
    QDoubleSpinBox *amplitudeSpinBox = nullptr;
};
