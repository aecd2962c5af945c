#pragma once

#include "frequencyspectrum.h"

#include <QPair>
#include <QVector>
#include <QWidget>

// Draws a frequency spectrum as bars, one per band of equal width. A click on a
// bar selects it for two seconds and tells its band by infoMessage.
class Spectrograph : public QWidget
{
    Q_OBJECT
public:
    explicit Spectrograph(QWidget *parent = nullptr);

    // numBars bands between lowFreq (Hz, included) and highFreq (Hz, excluded).
    void setParams(int numBars, double lowFreq, double highFreq);

protected:
    void timerEvent(QTimerEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

signals:
    void infoMessage(const QString &message, int intervalMs);

public slots:
    void reset();
    void spectrumChanged(const FrequencySpectrum &spectrum);

private:
    struct Bar
    {
        double value = 0.0; // 0.0 to 1.0 of the bar's height
        bool clipped = false;
    };

    int barIndex(double frequency) const;
    QPair<double, double> barRange(int index) const;
    void updateBars();
    void selectBar(int index);

    QVector<Bar> bars;
    int barSelected = -1;
    int timerId = -1;
    double lowFreq = 0.0;
    double highFreq = 0.0;
    FrequencySpectrum spectrum;
};
