#include "spectrumanalyser.h"

#include "spectrumanalyserthread.h"

SpectrumAnalyser::SpectrumAnalyser(QObject *parent)
    : QObject(parent), thread(new SpectrumAnalyserThread(this))
{
    // Both cross the worker's thread in queued calls.
    qRegisterMetaType<FrequencySpectrum>("FrequencySpectrum");
    qRegisterMetaType<WindowFunction>("WindowFunction");
    connect(thread, SIGNAL(calculationComplete(FrequencySpectrum)), this,
            SLOT(calculationComplete(FrequencySpectrum)));
}

SpectrumAnalyser::~SpectrumAnalyser()
{
    // The worker has no parent on its own thread: end that thread first, then the
    // worker (and with it the thread object) can go from here.
    thread->stop();
    delete thread;
}

void SpectrumAnalyser::setWindowFunction(WindowFunction type)
{
    QMetaObject::invokeMethod(thread, "setWindowFunction", Qt::AutoConnection,
                              Q_ARG(WindowFunction, type));
}

void SpectrumAnalyser::calculate(const QByteArray &buffer, const QAudioFormat &format)
{
    if (analyserState != Idle)
        return;
    analyserState = Busy;
    const int bytesPerSample = format.sampleSize() * format.channelCount() / 8;
    QMetaObject::invokeMethod(thread, "calculateSpectrum", Qt::AutoConnection,
                              Q_ARG(QByteArray, buffer), Q_ARG(int, format.sampleRate()),
                              Q_ARG(int, bytesPerSample));
}

bool SpectrumAnalyser::isReady() const
{
    return analyserState == Idle;
}

void SpectrumAnalyser::cancelCalculation()
{
    if (analyserState == Busy)
        analyserState = Cancelled;
}

void SpectrumAnalyser::calculationComplete(FrequencySpectrum spectrum)
{
    if (analyserState == Busy)
        emit spectrumChanged(spectrum);
    analyserState = Idle;
}
