#pragma once

#include <QAudioFormat>
#include <QByteArray>
#include <QHash>
#include <QLoggingCategory>
#include <QString>
#include <QtGlobal>

// A fixed sine: frequency in Hz, amplitude from 0.0 to 1.0.
struct Tone
{
    double frequency = 0.0;
    double amplitude = 0.0;
};

// A sine whose frequency rises linearly from startFreq to endFreq (Hz) over the
// buffer it fills; amplitude from 0.0 to 1.0.
struct SweptTone
{
    double startFreq = 0.0;
    double endFreq = 0.0;
    double amplitude = 0.0;
};

// Bytes of audio that last microSeconds in format, rounded down to a multiple of
// channelCount x sampleSize (bits). A default format gives 0.
qint64 audioLength(const QAudioFormat &format, qint64 microSeconds);

// Half the sample rate, in Hz.
double nyquistFrequency(const QAudioFormat &format);

// "44100 Hz 16 bit signed LE stereo"; the codec's name for a codec other than PCM;
// empty for a default format.
QString formatToString(const QAudioFormat &format);

bool isPCM(const QAudioFormat &format);
// 16-bit signed little-endian PCM, the one format this program plays.
bool isPCMS16LE(const QAudioFormat &format);

// A 16-bit sample as a real, full scale about -1.0 to 1.0.
double pcmToReal(qint16 pcm);
// A real from -1.0 to 1.0 as a 16-bit sample, truncated toward zero.
qint16 realToPcm(double real);

// Fills the whole of buffer (sized by the caller) with tone as 16-bit samples, the
// same value in every channel of a frame.
void generateTone(const SweptTone &tone, const QAudioFormat &format, QByteArray &buffer);

// The audio subsystem's debug lines (engine, waveform); off unless enabled through
// QT_LOGGING_RULES="ktr.audio.debug=true".
Q_DECLARE_LOGGING_CATEGORY(lcAudio)

// The ALSA cards of /proc/asound/cards: each card's id and its index, both mapping to
// the card's names (short and long), so a device name can be traced to its product.
QHash<QString, QString> alsaCardNames(const QByteArray &procCards);
// The same, read from this machine's /proc/asound/cards; empty where there is none.
QHash<QString, QString> alsaCardNames();

// How well an output device named deviceName stands for the kit's USB audio device: 0
// when it is not the kit's; higher is better. Matches the kit's product string in the
// name itself, a PulseAudio or PipeWire sink of a USB card with that product
// (alsa_output.usb-<vendor>_Cypress_Digital_Audio<suffix>), and ALSA devices of a card
// whose names (from alsaCardNames) hold it, ranking devices that convert formats
// (plughw, sysdefault) above raw hw.
int kitDeviceRank(const QString &deviceName, const QHash<QString, QString> &cards);
