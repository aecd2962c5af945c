#include "spectrumanalyserthread.h"

#include <QThread>
#include <cmath>

namespace {
constexpr int SpectrumLengthSamples = 4096;
constexpr double TwoPi = 6.283185307179586;
} // namespace

SpectrumAnalyserThread::SpectrumAnalyserThread(QObject *parent)
    : QObject(parent), numSamples(SpectrumLengthSamples), windowFunction(NoWindow),
      window(SpectrumLengthSamples, 0.0), input(SpectrumLengthSamples, 0.0),
      output(SpectrumLengthSamples, 0.0), spectrum(SpectrumLengthSamples),
      workerThread(new QThread(this))
{
    // An object with a parent cannot move to another thread.
    setParent(nullptr);
    moveToThread(workerThread);
    workerThread->start(QThread::InheritPriority);
    calculateWindow();
}

void SpectrumAnalyserThread::stop()
{
    workerThread->quit();
    workerThread->wait();
}

void SpectrumAnalyserThread::setWindowFunction(WindowFunction type)
{
    windowFunction = type;
    calculateWindow();
}

void SpectrumAnalyserThread::calculateWindow()
{
    for (int i = 0; i < numSamples; ++i) {
        double weight = 0.0;
        switch (windowFunction) {
        case NoWindow:
            weight = 1.0;
            break;
        case HannWindow:
            weight = 0.5 * (1 - std::cos(TwoPi * i / (numSamples - 1)));
            break;
        }
        window[i] = weight;
    }
}

void SpectrumAnalyserThread::calculateSpectrum(QByteArray, int, int)
{
    emit calculationComplete(spectrum);
}
