#include "engine.h"

#include "wavfile.h"

#include <QAudioOutput>
#include <QCoreApplication>
#include <QDebug>
#include <QPointer>
#include <algorithm>

namespace {

const QString KitDeviceName = QStringLiteral("Cypress Digital Audio");
constexpr int NotifyIntervalMs = 100;
constexpr qint64 BufferDurationUs = 10 * 1000000;
constexpr qint64 LevelWindowUs = 100000;
constexpr int SpectrumLengthSamples = 4096;
constexpr qint64 ReadAheadUs = 500000;
constexpr double SweepEndLimitHz = 300.0;
constexpr double SweepStartHz = 1.0;
constexpr int ExtraCandidateRateHz = 8000;

QList<int> ascendingUnique(QList<int> values)
{
    std::sort(values.begin(), values.end());
    values.erase(std::unique(values.begin(), values.end()), values.end());
    return values;
}

// An object that may be in the middle of emitting a signal goes once control has
// left it; until then it hears and tells nothing more.
void discard(QObject *object)
{
    if (!object)
        return;
    object->disconnect();
    object->deleteLater();
}

} // namespace

Engine::Engine(QObject *parent)
    : QObject(parent), outputDevice(QAudioDeviceInfo::defaultOutputDevice())
{
    rescanAudioDevices();
    qRegisterMetaType<FrequencySpectrum>("FrequencySpectrum");
    qRegisterMetaType<WindowFunction>("WindowFunction");
    connect(&spectrumAnalyser, SIGNAL(spectrumChanged(FrequencySpectrum)), this,
            SLOT(spectrumChanged(FrequencySpectrum)));
    // Neither a file nor a tone yet: a format and a silent buffer, whatever the result.
    initialize();
}

Engine::~Engine()
{
    // Outputs go while the engine is whole, the current one before the buffer it may be
    // reading, and those already dropped with them: an output's teardown runs the event
    // loop once.
    const QList<QAudioOutput *> outputs =
        findChildren<QAudioOutput *>(QString(), Qt::FindDirectChildrenOnly);
    for (QAudioOutput *output : outputs) {
        output->disconnect(this);
        delete output;
    }
    audioOutput = nullptr;
}

bool Engine::loadFile(const QString &fileName)
{
    reset();
    file = new WavFile(this);
    if (!file->open(fileName)) {
        emit errorMessage(tr("Could not open file"), fileName);
        return false;
    }
    if (!isPCMS16LE(file->fileFormat())) {
        emit errorMessage(tr("Audio format not supported"), formatToString(file->fileFormat()));
        return false;
    }
    const bool result = initialize();
    if (result) {
        analysisFile = new WavFile(this);
        analysisFile->open(fileName);
    }
    return result;
}

bool Engine::generateTone(const Tone &tone)
{
    reset();
    toneRequested = true;
    this->tone = SweptTone{tone.frequency, tone.frequency, tone.amplitude};
    return initialize();
}

bool Engine::generateSweptTone(double amplitude)
{
    toneRequested = true;
    tone = SweptTone{SweepStartHz, 0.0, amplitude};
    return initialize();
}

void Engine::reset()
{
    stopPlayback();
    setState(QAudio::AudioInput, QAudio::StoppedState);
    setFormat(QAudioFormat());
    toneRequested = false;
    // The output may be inside a call on the file right now (reset runs from its signal).
    discard(file);
    file = nullptr;
    discard(analysisFile);
    analysisFile = nullptr;
    buffer.clear();
    bufferPosition = 0;
    m_bufferLength = 0;
    dataLength = 0;
    emit dataLengthChanged(0);
    resetAudioDevices();
}

qint64 Engine::bufferLength() const
{
    return file ? file->size() : m_bufferLength;
}

void Engine::setWindowFunction(WindowFunction type)
{
    spectrumAnalyser.setWindowFunction(type);
}

void Engine::startPlayback()
{
    if (!audioOutput)
        return;
    if (m_mode == QAudio::AudioOutput && m_state == QAudio::SuspendedState) {
        audioOutput->suspend();
        audioOutput->resume();
        return;
    }

    spectrumAnalyser.cancelCalculation();
    emit spectrumChanged(0, 0, FrequencySpectrum(0));
    playPosition = 0;
    emit playPositionChanged(0);
    m_mode = QAudio::AudioOutput;
    // A replay after a stop finds these connections still in place.
    connect(audioOutput, SIGNAL(stateChanged(QAudio::State)), this,
            SLOT(audioStateChanged(QAudio::State)), Qt::UniqueConnection);
    connect(audioOutput, SIGNAL(notify()), this, SLOT(audioNotify()), Qt::UniqueConnection);
    if (file) {
        file->seek(file->headerLength());
        bufferPosition = 0;
        dataLength = 0;
        audioOutput->start(file);
    } else {
        outputBuffer.close();
        outputBuffer.setBuffer(&buffer);
        outputBuffer.open(QIODevice::ReadOnly);
        audioOutput->start(&outputBuffer);
    }
}

void Engine::suspend()
{
    if ((m_state == QAudio::ActiveState || m_state == QAudio::IdleState) &&
        m_mode == QAudio::AudioOutput && audioOutput)
        audioOutput->stop();
}

void Engine::setAudioOutputDevice(const QAudioDeviceInfo &device)
{
    if (device.deviceName() == outputDevice.deviceName())
        return;
    outputDevice = device;
    initialize();
}

void Engine::rescanAudioDevices()
{
    const QList<QAudioDeviceInfo> devices = QAudioDeviceInfo::availableDevices(QAudio::AudioOutput);
    for (const QAudioDeviceInfo &device : devices) {
        if (device.deviceName().contains(KitDeviceName)) {
            setAudioOutputDevice(device);
            return;
        }
    }
}

void Engine::audioNotify()
{
    if (m_mode != QAudio::AudioOutput || !audioOutput)
        return;

    const qint64 played = audioLength(m_format, audioOutput->processedUSecs());
    setPlayPosition(qMin(bufferLength(), played));
    const qint64 levelPosition = played - levelBufferLength;
    const qint64 spectrumPosition = played - spectrumBufferLength;

    if (!file) {
        if (played >= dataLength)
            stopPlayback();
        return;
    }

    if (!analysisFile)
        return;
    if (levelPosition > bufferPosition || spectrumPosition > bufferPosition ||
        qMax(levelBufferLength, spectrumBufferLength) > dataLength) {
        bufferPosition = 0;
        dataLength = 0;
        const qint64 readPos = qMax(qint64(0), qMin(levelPosition, spectrumPosition));
        const qint64 readEnd = qMin(analysisFile->size(), played);
        // Never negative, whatever a broken header made of the format.
        const qint64 readLen =
            qMax(qint64(0), readEnd - readPos + audioLength(m_format, ReadAheadUs));
        qDebug() << "Engine::audioNotify [1]"
                 << "analysisFileSize" << analysisFile->size() << "readPos" << readPos << "readLen"
                 << readLen;
        if (analysisFile->seek(analysisFile->headerLength() + readPos)) {
            buffer.resize(int(readLen));
            bufferPosition = readPos;
            dataLength = qMax(qint64(0), analysisFile->read(buffer.data(), readLen));
            qDebug() << "Engine::audioNotify [2]"
                     << "bufferPosition" << bufferPosition << "dataLength" << dataLength;
        } else {
            qDebug() << "Engine::audioNotify [2]"
                     << "file seek error";
        }
        emit bufferChanged(bufferPosition, dataLength, buffer);
    }
}

void Engine::audioStateChanged(QAudio::State state)
{
    // A device faster than real time takes a whole tone before the next notify, and an
    // idle output notifies no more: the end of the buffer is the end of the tone.
    const bool ended =
        file ? file->pos() == file->size() : outputBuffer.isOpen() && outputBuffer.atEnd();
    if (state == QAudio::IdleState && ended) {
        stopPlayback();
        return;
    }
    if (state == QAudio::StoppedState && m_mode == QAudio::AudioOutput && audioOutput &&
        audioOutput->error() != QAudio::NoError) {
        reset();
        return;
    }
    setState(state);
}

void Engine::spectrumChanged(const FrequencySpectrum &spectrum)
{
    emit spectrumChanged(spectrumPosition, spectrumBufferLength, spectrum);
}

bool Engine::initialize()
{
    if (!selectFormat()) {
        if (file)
            emit errorMessage(tr("Audio format not supported"), formatToString(m_format));
        else if (toneRequested)
            emit errorMessage(tr("No suitable format found"), QString());
        else
            emit errorMessage(tr("No common input / output format found"), QString());
        return false;
    }

    resetAudioDevices();
    bool result = false;
    if (file) {
        emit bufferLengthChanged(bufferLength());
        emit dataLengthChanged(dataLength);
        emit bufferChanged(0, 0, buffer);
        result = true;
    } else {
        m_bufferLength = audioLength(m_format, BufferDurationUs);
        buffer.resize(int(m_bufferLength));
        buffer.fill(0);
        emit bufferLengthChanged(bufferLength());
        if (toneRequested) {
            if (tone.endFreq == 0.0)
                tone.endFreq = qMin(SweepEndLimitHz, nyquistFrequency(m_format));
            ::generateTone(tone, m_format, buffer);
            dataLength = m_bufferLength;
            emit dataLengthChanged(dataLength);
            emit bufferChanged(0, dataLength, buffer);
            result = true;
        }
    }

    audioOutput = new QAudioOutput(outputDevice, m_format, this);
    audioOutput->setNotifyInterval(NotifyIntervalMs);
    return result;
}

bool Engine::selectFormat()
{
    if (file || m_format != QAudioFormat()) {
        const QAudioFormat candidate = file ? file->fileFormat() : m_format;
        if (!outputDevice.isFormatSupported(candidate))
            return false;
        setFormat(candidate);
        return true;
    }

    const QList<int> rates =
        ascendingUnique(QList<int>{ExtraCandidateRateHz} + outputDevice.supportedSampleRates());
    const QList<int> channelCounts = ascendingUnique(outputDevice.supportedChannelCounts());
    QAudioFormat candidate;
    candidate.setByteOrder(QAudioFormat::LittleEndian);
    candidate.setCodec(QStringLiteral("audio/pcm"));
    candidate.setSampleSize(16);
    candidate.setSampleType(QAudioFormat::SignedInt);
    for (int rate : rates) {
        candidate.setSampleRate(rate);
        for (int channels : channelCounts) {
            candidate.setChannelCount(channels);
            if (outputDevice.isFormatSupported(candidate)) {
                setFormat(candidate);
                return true;
            }
        }
    }
    setFormat(QAudioFormat());
    return false;
}

void Engine::stopPlayback()
{
    if (!audioOutput)
        return;
    QPointer<QAudioOutput> output = audioOutput;
    output->stop();
    // Lets the stopped state reach audioStateChanged before the connections go.
    QCoreApplication::processEvents();
    // That state may have reset the engine and dropped this output meanwhile.
    if (output && output == audioOutput)
        output->disconnect();
    setPlayPosition(0);
}

void Engine::setState(QAudio::State state)
{
    const bool changed = m_state != state;
    m_state = state;
    if (changed)
        emit stateChanged(m_mode, m_state);
}

void Engine::setState(QAudio::Mode mode, QAudio::State state)
{
    const bool changed = m_mode != mode || m_state != state;
    m_mode = mode;
    m_state = state;
    if (changed)
        emit stateChanged(m_mode, m_state);
}

void Engine::setFormat(const QAudioFormat &format)
{
    const bool changed = format != m_format;
    m_format = format;
    levelBufferLength = int(audioLength(m_format, LevelWindowUs));
    spectrumBufferLength =
        SpectrumLengthSamples * (m_format.sampleSize() / 8) * m_format.channelCount();
    if (changed)
        emit formatChanged(m_format);
}

void Engine::setPlayPosition(qint64 position)
{
    const bool changed = playPosition != position;
    playPosition = position;
    if (changed)
        emit playPositionChanged(playPosition);
}

void Engine::resetAudioDevices()
{
    if (audioOutput) {
        // Stopped here so that a replaced output plays no further; it may be inside
        // its own signal, so it goes later.
        audioOutput->disconnect(this);
        audioOutput->stop();
        discard(audioOutput);
        audioOutput = nullptr;
        if (m_state != QAudio::StoppedState)
            setState(QAudio::StoppedState);
    }
    setPlayPosition(0);
    spectrumPosition = 0;
    rmsLevel = 0.0;
    peakLevel = 0.0;
    emit levelChanged(0.0, 0.0, 0);
}
