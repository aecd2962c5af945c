// Plays a large 44.1 kHz stereo WAV file through the engine into a virtual ALSA device
// that stands for the kit's, then plays the same file on the same device with aplay,
// and prints the growth of resident memory and the CPU time per second of audio.
//
//     bench_audio_playback [megabytes]      (default 1024)

#include "audio/engine.h"
#include "virtualaudiodevice.h"
#include "wavwriter.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTimer>
#include <cstdio>
#include <sys/resource.h>

namespace {

constexpr int Rate = 44100;
constexpr int Channels = 2;
constexpr int BytesPerSecond = Rate * Channels * 2;

qint64 residentKb()
{
    QFile status("/proc/self/status");
    status.open(QIODevice::ReadOnly);
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toLongLong();
    }
    return 0;
}

double cpuSeconds(int who)
{
    rusage usage{};
    getrusage(who, &usage);
    return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec +
           (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

bool writeWav(const QString &fileName, qint64 dataBytes)
{
    const WavWriter wav(Channels, Rate);
    QFile file(fileName);
    if (!file.open(QIODevice::WriteOnly) || file.write(wav.header(quint32(dataBytes))) != 44)
        return false;
    const QByteArray chunk = wav.samples(1 << 18); // 1 MiB
    for (qint64 left = dataBytes; left > 0; left -= chunk.size()) {
        if (file.write(chunk.constData(), qMin<qint64>(left, chunk.size())) <= 0)
            return false;
    }
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    VirtualAudioDevice device; // before the application object and any audio use
    QCoreApplication app(argc, argv);
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &text) {
        if (type != QtDebugMsg) // the engine's debug lines, ten a second
            fprintf(stderr, "%s\n", qPrintable(text));
    });
    const qint64 megabytes = argc > 1 ? QByteArray(argv[1]).toLongLong() : 1024;
    const qint64 dataBytes = megabytes * 1024 * 1024 / 4 * 4;
    const double audioSeconds = double(dataBytes) / BytesPerSecond;

    // What the device receives goes nowhere: a gigabyte needs no second copy on disk.
    QFile::link("/dev/null", device.kitOutput());
    const QString fileName = device.path() + "/bench.wav";
    printf("Writing %lld MB of 44.1 kHz stereo (%.0f s of audio)...\n", megabytes, audioSeconds);
    if (!writeWav(fileName, dataBytes)) {
        fprintf(stderr, "cannot write %s\n", qPrintable(fileName));
        return 1;
    }

    Engine engine;
    if (!engine.audioOutputDevice().deviceName().contains("Cypress Digital Audio")) {
        fprintf(stderr, "the virtual kit device was not found\n");
        return 1;
    }
    if (!engine.loadFile(fileName))
        return 1;

    const qint64 rssBefore = residentKb();
    qint64 rssPeak = rssBefore;
    QTimer sampler;
    QObject::connect(&sampler, &QTimer::timeout, &sampler,
                     [&] { rssPeak = qMax(rssPeak, residentKb()); });
    sampler.start(100);
    QObject::connect(&engine, &Engine::stateChanged, &engine,
                     [&](QAudio::Mode, QAudio::State state) {
                         if (state == QAudio::StoppedState)
                             app.quit();
                     });
    const double cpuBefore = cpuSeconds(RUSAGE_SELF);
    QElapsedTimer wall;
    wall.start();
    QTimer::singleShot(0, &engine, &Engine::startPlayback);
    app.exec();
    const double engineCpu = cpuSeconds(RUSAGE_SELF) - cpuBefore;
    const double engineWall = wall.elapsed() / 1000.0;
    rssPeak = qMax(rssPeak, residentKb());

    QProcess aplay;
    const double childBefore = cpuSeconds(RUSAGE_CHILDREN);
    wall.restart();
    aplay.start("aplay", {"-q", "-D", VirtualAudioDevice::KitName, fileName});
    const bool aplayRan = aplay.waitForFinished(-1) && aplay.exitCode() == 0;
    const double aplayCpu = cpuSeconds(RUSAGE_CHILDREN) - childBefore;
    const double aplayWall = wall.elapsed() / 1000.0;
    QFile::remove(fileName);

    printf("engine: resident memory growth %.1f MB (%.1f MB before, %.1f MB at peak)\n",
           (rssPeak - rssBefore) / 1024.0, rssBefore / 1024.0, rssPeak / 1024.0);
    printf("engine: %.3f s CPU in %.1f s, %.2f ms CPU per second of audio\n", engineCpu, engineWall,
           engineCpu * 1000 / audioSeconds);
    if (!aplayRan) {
        printf("aplay: did not run (%s)\n", qPrintable(aplay.errorString()));
        return 0;
    }
    printf("aplay:  %.3f s CPU in %.1f s, %.2f ms CPU per second of audio\n", aplayCpu, aplayWall,
           aplayCpu * 1000 / audioSeconds);
    printf("engine / aplay CPU: %.2f\n", aplayCpu > 0 ? engineCpu / aplayCpu : 0.0);
    return 0;
}
