#pragma once

#include "frequencyspectrum.h"
#include "spectrumanalyser.h"

#include <QByteArray>
#include <QObject>
#include <QVector>

class QThread;

// The worker of the spectrum analysis. It lives on a thread of its own, which it
// starts at construction; stop() ends that thread. It computes nothing yet: every
// request is answered with its spectrum of zeros.
class SpectrumAnalyserThread : public QObject
{
    Q_OBJECT
public:
    explicit SpectrumAnalyserThread(QObject *parent = nullptr);

    // Ends the thread's event loop and waits for it; call before deleting the worker.
    void stop();

public slots:
    void setWindowFunction(WindowFunction type);
    void calculateSpectrum(QByteArray buffer, int inputFrequency, int bytesPerSample);

signals:
    void calculationComplete(FrequencySpectrum spectrum);

private:
    void calculateWindow();

    const int numSamples;
    WindowFunction windowFunction;
    QVector<double> window;
    QVector<double> input;
    QVector<double> output;
    FrequencySpectrum spectrum;
    QThread *workerThread;
};
