#pragma once

#include "frequencyspectrum.h"

#include <QAudioFormat>
#include <QByteArray>
#include <QObject>

class SpectrumAnalyserThread;

enum WindowFunction
{
    NoWindow = 0,
    HannWindow = 1
};
Q_DECLARE_METATYPE(WindowFunction)

// The GUI thread's side of the spectrum analysis: it hands one calculation at a time
// to a worker on a thread of its own and relays the answer unless it was cancelled.
// Destroying it ends the worker's thread and waits for it.
class SpectrumAnalyser : public QObject
{
    Q_OBJECT
public:
    explicit SpectrumAnalyser(QObject *parent = nullptr);
    ~SpectrumAnalyser() override;

    void setWindowFunction(WindowFunction type);
    // Asks for the spectrum of buffer; dropped unless the analyser is idle.
    void calculate(const QByteArray &buffer, const QAudioFormat &format);
    bool isReady() const;
    // A busy calculation's answer will be swallowed when it comes.
    void cancelCalculation();

signals:
    void spectrumChanged(FrequencySpectrum spectrum);

private slots:
    void calculationComplete(FrequencySpectrum spectrum);

private:
    enum State
    {
        Idle = 0,
        Busy = 1,
        Cancelled = 2
    };

    SpectrumAnalyserThread *thread = nullptr;
    State analyserState = Idle;
};
