#include "engine.h"

#include "wavfile.h"

#include <QAudioOutput>
#include <QCoreApplication>
#include <QDebug>
#include <QPointer>
#include <algorithm>

namespace {

constexpr int NotifyIntervalMs = 100;
constexpr qint64 BufferDurationUs = 10 * 1000000;
constexpr qint64 LevelWindowUs = 100000;
constexpr int SpectrumLengthSamples = 4096;
constexpr qint64 ReadAheadUs = 500000;
constexpr double SweepEndLimitHz = 300.0;
constexpr double SweepStartHz = 1.0;
constexpr int ExtraCandidateRateHz = 8000;
// Rates and channel counts that real devices play: below 1 kHz is no audio a card
// offers (and Qt's PulseAudio plugin divides by zero at 1 Hz), 384 kHz is the highest
// rate of USB audio class 2 and PulseAudio, which carries at most 32 channels.
constexpr int MinRateHz = 1000;
constexpr int MaxRateHz = 384000;
constexpr int MaxChannels = 32;
constexpr int WatchIntervalMs = 100;
// How often a playing output's device is looked for among those present; a sound
// server may move the stream elsewhere when the device goes, and Qt does not tell.
constexpr qint64 DeviceCheckMs = 1000;
// An output whose clock stood still this long has lost its device, listed or not.
constexpr qint64 StallLimitMs = 5000;
// Beyond the output's own buffer, how long an idle output at the end of its data may
// take to report the last of it as played.
constexpr qint64 IdleGraceMs = 500;
constexpr qint64 EndMarginMs = 50;

bool deviceAvailable(const QAudioDeviceInfo &device)
{
    const QList<QAudioDeviceInfo> devices = QAudioDeviceInfo::availableDevices(QAudio::AudioOutput);
    return std::any_of(devices.begin(), devices.end(), [&](const QAudioDeviceInfo &other) {
        return other.deviceName() == device.deviceName();
    });
}

// The system's default output. Qt's ALSA plugin calls the first device it lists the
// default, often a rate converter that plays nothing; ALSA's own "default" is the one.
QAudioDeviceInfo systemDefaultOutput(const QList<QAudioDeviceInfo> &devices)
{
    for (const QAudioDeviceInfo &device : devices) {
        if (device.deviceName() == QLatin1String("default"))
            return device;
    }
    return QAudioDeviceInfo::defaultOutputDevice();
}

// Stops an output before it goes: a stopped output has no stream for a late call of its
// backend to find half torn down.
void stopOutput(QAudioOutput *output)
{
    if (output->state() != QAudio::StoppedState)
        output->stop();
}

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

// The output is chosen by the first rescan, from the one listing it makes.
Engine::Engine(QObject *parent) : QObject(parent)
{
    watchTimer.setInterval(WatchIntervalMs);
    connect(&watchTimer, SIGNAL(timeout()), this, SLOT(watchOutput()));
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
        stopOutput(output);
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
    const QAudioFormat &format = file->fileFormat();
    if (format.sampleRate() < MinRateHz || format.sampleRate() > MaxRateHz ||
        format.channelCount() < 1 || format.channelCount() > MaxChannels) {
        emit errorMessage(tr("Audio format not supported"), formatToString(format));
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
    lastProcessedUs = -1;
    sinceProgress.start();
    sinceIdle.invalidate();
    sinceEnd.invalidate();
    sinceDeviceCheck.start();
    watchTimer.start();
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
    emit outputDeviceChanged();
}

void Engine::rescanAudioDevices()
{
    // Listing the devices is slow (ALSA parses its whole configuration), so one listing
    // serves the choice here and the page's list of outputs.
    outputs = QAudioDeviceInfo::availableDevices(QAudio::AudioOutput);
    const QList<QAudioDeviceInfo> &devices = outputs;
    const QHash<QString, QString> cards = alsaCardNames();
    const QAudioDeviceInfo *best = nullptr;
    int bestRank = 0;
    for (const QAudioDeviceInfo &device : devices) {
        if (!chosen.isEmpty() && device.deviceName() == chosen) {
            setAudioOutputDevice(device);
            return;
        }
        const int rank = kitDeviceRank(device.deviceName(), cards);
        if (rank > bestRank) {
            best = &device;
            bestRank = rank;
        }
    }
    setAudioOutputDevice(best ? *best : systemDefaultOutput(devices));
}

void Engine::setChosenOutput(const QString &deviceName)
{
    chosen = deviceName;
    rescanAudioDevices();
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
        qCDebug(lcAudio) << "Engine::audioNotify [1]"
                         << "analysisFileSize" << analysisFile->size() << "readPos" << readPos
                         << "readLen" << readLen;
        if (analysisFile->seek(analysisFile->headerLength() + readPos)) {
            buffer.resize(int(readLen));
            bufferPosition = readPos;
            dataLength = qMax(qint64(0), analysisFile->read(buffer.data(), readLen));
            qCDebug(lcAudio) << "Engine::audioNotify [2]"
                             << "bufferPosition" << bufferPosition << "dataLength" << dataLength;
        } else {
            qCDebug(lcAudio) << "Engine::audioNotify [2]"
                             << "file seek error";
        }
        emit bufferChanged(bufferPosition, dataLength, buffer);
    }
}

void Engine::audioStateChanged(QAudio::State state)
{
    if (state == QAudio::IdleState && sourceExhausted()) {
        // The end of the data is known; the watch stops playback once the output has
        // played it, whatever the order of the signals that follow.
        watchOutput();
        return;
    }
    if (state == QAudio::StoppedState && m_mode == QAudio::AudioOutput && audioOutput &&
        (audioOutput->error() == QAudio::IOError || audioOutput->error() == QAudio::FatalError)) {
        loseOutput();
        return;
    }
    setState(state);
}

bool Engine::sourceExhausted() const
{
    return file ? file->pos() >= file->size() : outputBuffer.isOpen() && outputBuffer.atEnd();
}

qint64 Engine::playableLength() const
{
    if (!file)
        return dataLength;
    // Whole frames only: a device never plays a frame's last few bytes.
    const qint64 frame = qint64(m_format.channelCount()) * (m_format.sampleSize() / 8);
    const qint64 bytes = file->size() - file->headerLength();
    return frame > 0 ? bytes - bytes % frame : bytes;
}

void Engine::watchOutput()
{
    if (!audioOutput || m_mode != QAudio::AudioOutput) {
        watchTimer.stop();
        return;
    }
    const QAudio::State outputState = audioOutput->state();
    if (outputState == QAudio::StoppedState) {
        watchTimer.stop();
        audioStateChanged(outputState); // in case its signal never came
        return;
    }
    if (outputState == QAudio::SuspendedState)
        return;

    const qint64 processedUs = audioOutput->processedUSecs();
    const bool exhausted = sourceExhausted();
    if (exhausted) {
        if (outputState == QAudio::IdleState && !sinceIdle.isValid())
            sinceIdle.start();
        const qint64 bufferMs = audioLength(m_format, 1000) > 0
                                    ? audioOutput->bufferSize() / audioLength(m_format, 1000)
                                    : 0;
        if (audioLength(m_format, processedUs) >= playableLength() ||
            (sinceIdle.isValid() && sinceIdle.elapsed() > bufferMs + IdleGraceMs)) {
            // A sound server counts the last samples as played while its sink still
            // holds some of them: stopping goes one look later, or they are cut.
            if (!sinceEnd.isValid())
                sinceEnd.start();
            else if (sinceEnd.elapsed() >= EndMarginMs) {
                stopPlayback();
                return;
            }
        }
    }
    if (processedUs != lastProcessedUs) {
        lastProcessedUs = processedUs;
        sinceProgress.restart();
    }
    bool lost = sinceProgress.elapsed() > StallLimitMs;
    // Listing the devices can take long (ALSA parses its whole configuration each time):
    // the looks are spaced so that they never take more than a twentieth of the time.
    if (!lost && sinceDeviceCheck.elapsed() >= qMax(DeviceCheckMs, 20 * deviceCheckCostMs)) {
        sinceDeviceCheck.restart();
        lost = !deviceAvailable(outputDevice);
        deviceCheckCostMs = sinceDeviceCheck.elapsed();
    }
    if (lost) {
        loseOutput();
        return;
    }
    // Idle at the end of the data is still playing: the end comes as above.
    if (outputState != m_state && !exhausted)
        setState(outputState);
}

void Engine::loseOutput()
{
    const QString name = outputDevice.deviceName();
    watchTimer.stop();
    if (audioOutput) {
        QPointer<QAudioOutput> output = audioOutput;
        output->disconnect(this);
        stopOutput(output);
        if (output && output == audioOutput)
            setPlayPosition(0);
    }
    setState(QAudio::StoppedState);
    // Another device takes over with what is loaded, ready to play again.
    rescanAudioDevices();
    emit outputLost(name);
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
    watchTimer.stop();
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
        watchTimer.stop();
        audioOutput->disconnect(this);
        stopOutput(audioOutput);
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
