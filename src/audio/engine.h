#pragma once

#include "audioutils.h"
#include "frequencyspectrum.h"
#include "spectrumanalyser.h"

#include <QAudio>
#include <QAudioDeviceInfo>
#include <QAudioFormat>
#include <QBuffer>
#include <QByteArray>
#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

class QAudioOutput;
class WavFile;

// The non-visual core of audio playback. It plays a WAV file, or a generated tone
// held in memory, on one output device: the kit's USB audio device when one is
// present, otherwise the system default. It negotiates a format with the device and
// publishes the play position every 100 ms. All positions and lengths are bytes of
// audio data. A file is played from disk and never held whole.
class Engine : public QObject
{
    Q_OBJECT
public:
    explicit Engine(QObject *parent = nullptr);
    ~Engine() override;

    // Loads a WAV file for playback; false, with errorMessage, when it can't be played.
    bool loadFile(const QString &fileName);
    // Prepares 10 s of a fixed tone.
    bool generateTone(const Tone &tone);
    // Prepares 10 s of a sweep from 1 Hz up to 300 Hz or the Nyquist frequency.
    bool generateSweptTone(double amplitude);
    // Stops playback and drops what is loaded.
    void reset();

    // The file's size, header included, while a file is loaded; else the generated length.
    qint64 bufferLength() const;
    QAudio::State state() const { return m_state; }
    QAudio::Mode mode() const { return m_mode; }
    const QAudioFormat &format() const { return m_format; }
    const QAudioDeviceInfo &audioOutputDevice() const { return outputDevice; }
    // The output the user chose by name; empty for the kit's device or the default.
    QString chosenOutput() const { return chosen; }
    // The outputs as the last rescanAudioDevices() found them.
    QList<QAudioDeviceInfo> availableOutputs() const { return outputs; }

    void setWindowFunction(WindowFunction type);

public slots:
    void startPlayback();
    // Stops the output; playing again starts from the beginning.
    void suspend();
    void setAudioOutputDevice(const QAudioDeviceInfo &device);
    // Picks the chosen output while it exists, else the device that stands best for the
    // kit's (kitDeviceRank), else the system default.
    void rescanAudioDevices();
    // Remembers deviceName as the user's choice (empty: the automatic rule) and rescans.
    void setChosenOutput(const QString &deviceName);

signals:
    void stateChanged(QAudio::Mode mode, QAudio::State state);
    void infoMessage(const QString &message, int durationMs);
    void errorMessage(const QString &heading, const QString &detail);
    void formatChanged(const QAudioFormat &format);
    void bufferLengthChanged(qlonglong duration);
    void dataLengthChanged(qlonglong duration);
    void recordPositionChanged(qlonglong position);
    void playPositionChanged(qlonglong position);
    void levelChanged(double rmsLevel, double peakLevel, int numSamples);
    void spectrumChanged(qlonglong position, qlonglong length, const FrequencySpectrum &spectrum);
    void bufferChanged(qlonglong position, qlonglong length, const QByteArray &buffer);
    // The device that plays has changed.
    void outputDeviceChanged();
    // The device deviceName went away during playback, which has ended.
    void outputLost(const QString &deviceName);

private slots:
    void audioNotify();
    void audioStateChanged(QAudio::State state);
    void spectrumChanged(const FrequencySpectrum &spectrum);
    void watchOutput();

private:
    bool sourceExhausted() const;
    qint64 playableLength() const;
    void loseOutput();
    bool initialize();
    bool selectFormat();
    void stopPlayback();
    void setState(QAudio::State state);
    void setState(QAudio::Mode mode, QAudio::State state);
    void setFormat(const QAudioFormat &format);
    void setPlayPosition(qint64 position);
    void resetAudioDevices();

    QAudio::Mode m_mode = QAudio::AudioInput;
    QAudio::State m_state = QAudio::StoppedState;
    bool toneRequested = false;
    SweptTone tone;
    WavFile *file = nullptr;
    WavFile *analysisFile = nullptr;
    QAudioFormat m_format;
    QAudioDeviceInfo outputDevice;
    QAudioOutput *audioOutput = nullptr;
    qint64 playPosition = 0;
    QBuffer outputBuffer;
    QByteArray buffer;
    qint64 bufferPosition = 0;
    qint64 m_bufferLength = 0;
    qint64 dataLength = 0;
    int levelBufferLength = 0;
    double rmsLevel = 0.0;
    double peakLevel = 0.0;
    int spectrumBufferLength = 0;
    SpectrumAnalyser spectrumAnalyser;
    qint64 spectrumPosition = 0;

    QString chosen;
    QList<QAudioDeviceInfo> outputs;
    // Follows the output while it plays, so that neither a late or missed state signal
    // nor a device that vanished leaves playback hanging.
    QTimer watchTimer;
    qint64 lastProcessedUs = -1;
    QElapsedTimer sinceProgress;
    QElapsedTimer sinceIdle;
    QElapsedTimer sinceEnd;
    QElapsedTimer sinceDeviceCheck;
    qint64 deviceCheckCostMs = 0; // how long the last look at the devices took
};
