// Plays a large 44.1 kHz stereo WAV file through the engine into a virtual ALSA device
// that stands for the kit's, then plays the same file on the same device with aplay,
// and prints the growth of resident memory and the CPU time per second of audio.
//
//     bench_audio_playback [megabytes]      (default 1024)
//
// With "pulse", plays in real time on the kit's null sink of a PulseAudio server of its
// own: paplay, bench_audio_bareplayer (QAudioOutput alone) and the engine, each one's
// CPU per second of audio net of its idle CPU, resident memory before, during and after
// playback, and how long Stop takes to answer.
//
//     bench_audio_playback pulse [seconds]  (default 20)

#include "audio/engine.h"
#include "processstats.h"
#include "pulseaudioserver.h"
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

// Runs the engine's part of the PulseAudio bench in this process; the players run as
// children of it.
int benchPulse(int argc, char **argv)
{
    PulseAudioServer server; // before the application object and any audio use
    QCoreApplication app(argc, argv);
    const QString failure = server.start();
    if (!failure.isEmpty()) {
        fprintf(stderr, "no PulseAudio server: %s\n", qPrintable(failure));
        return 1;
    }
    const double seconds = argc > 2 ? QByteArray(argv[2]).toDouble() : 20.0;
    const QString fileName = server.path() + "/bench.wav", shortName = server.path() + "/short.wav";
    if (!writeWav(fileName, qint64(seconds * Rate) * 4) || !writeWav(shortName, Rate / 10 * 4))
        return 1;
    constexpr int IdleMs = 3000;
    printf("%.0f s of 44.1 kHz stereo on the kit's null sink, played in real time\n", seconds);

    // paplay: its net CPU is that of the whole file less that of a 0.1 s file (start, end).
    const auto paplay = [&](const QString &file) {
        const double before = cpuSeconds(RUSAGE_CHILDREN);
        QProcess process;
        process.start("paplay", {"-d", PulseAudioServer::KitSink, file});
        process.waitForFinished(-1);
        return cpuSeconds(RUSAGE_CHILDREN) - before;
    };
    const double paplayNet = paplay(fileName) - paplay(shortName);
    printf("paplay:      %.2f ms CPU per second of audio\n", paplayNet * 1000 / seconds);

    // The bare player measures itself: idle first, then playing.
    QProcess bare;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("QT_PLUGIN_PATH", server.path() + "/plugins");
    environment.insert("PULSE_SINK", PulseAudioServer::KitSink);
    bare.setProcessEnvironment(environment);
    bare.start(QCoreApplication::applicationDirPath() + "/bench_audio_bareplayer",
               {fileName, QString::number(IdleMs / 1000.0)});
    bare.waitForFinished(-1);
    double bareNet = 0.0;
    QList<qint64> bareRss;
    for (const QByteArray &line : bare.readAllStandardOutput().split('\n')) {
        const QList<QByteArray> fields = line.split(' ');
        if (fields.size() == 3 && fields[0] == "idle")
            bareNet -= fields[1].toDouble() / fields[2].toDouble() * seconds;
        else if (fields.size() == 3 && fields[0] == "play")
            bareNet += fields[1].toDouble();
        else if (fields.size() == 4 && fields[0] == "rss")
            bareRss = {fields[1].toLongLong(), fields[2].toLongLong(), fields[3].toLongLong()};
    }
    if (bareRss.isEmpty()) {
        fprintf(stderr, "bench_audio_bareplayer did not run\n");
        return 1;
    }
    printf("bare player: %.2f ms CPU per second of audio; resident %.1f / %.1f / %.1f MB "
           "before / during / after\n",
           bareNet * 1000 / seconds, bareRss[0] / 1024.0, bareRss[1] / 1024.0, bareRss[2] / 1024.0);

    // The engine: idle with the file loaded, then playing it to its end.
    Engine engine;
    if (engine.audioOutputDevice().deviceName() != PulseAudioServer::KitSink ||
        !engine.loadFile(fileName)) {
        fprintf(stderr, "the engine did not take the kit's sink\n");
        return 1;
    }
    const qint64 rssBefore = residentKb();
    qint64 rssPeak = rssBefore;
    QTimer sampler;
    QObject::connect(&sampler, &QTimer::timeout, &sampler,
                     [&] { rssPeak = qMax(rssPeak, residentKb()); });
    sampler.start(100);
    QElapsedTimer wall;
    double cpu = cpuSeconds(RUSAGE_SELF);
    wall.start();
    QTimer::singleShot(IdleMs, &app, &QCoreApplication::quit);
    app.exec();
    const double idlePerSecond = (cpuSeconds(RUSAGE_SELF) - cpu) / (wall.elapsed() / 1000.0);
    QMetaObject::Connection ended = QObject::connect(&engine, &Engine::stateChanged, &app,
                                                     [&](QAudio::Mode, QAudio::State state) {
                                                         if (state == QAudio::StoppedState)
                                                             app.quit();
                                                     });
    cpu = cpuSeconds(RUSAGE_SELF);
    wall.restart();
    QTimer::singleShot(0, &engine, &Engine::startPlayback);
    app.exec();
    const double playWall = wall.elapsed() / 1000.0;
    const double engineNet = cpuSeconds(RUSAGE_SELF) - cpu - idlePerSecond * playWall;
    QObject::disconnect(ended);
    QTimer::singleShot(1000, &app, &QCoreApplication::quit);
    app.exec();
    printf("engine:      %.2f ms CPU per second of audio (ended %.2f s after the start); "
           "resident %.1f / %.1f / %.1f MB before / during / after\n",
           engineNet * 1000 / seconds, playWall, rssBefore / 1024.0, rssPeak / 1024.0,
           residentKb() / 1024.0);
    printf("engine / bare player CPU: %.2f; engine / paplay: %.1f\n",
           bareNet > 0 ? engineNet / bareNet : 0.0, paplayNet > 0 ? engineNet / paplayNet : 0.0);

    // Stop one second into playback: the time until the engine reports it stopped.
    QElapsedTimer answer;
    qint64 stopMs = -1;
    QObject::connect(&engine, &Engine::stateChanged, &app, [&](QAudio::Mode, QAudio::State state) {
        if (state == QAudio::StoppedState && answer.isValid()) {
            stopMs = answer.elapsed();
            app.quit();
        }
    });
    engine.startPlayback();
    QTimer::singleShot(1000, &engine, [&] {
        answer.start();
        engine.suspend();
    });
    app.exec();
    printf("Stop answered in %lld ms\n", stopMs);
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc > 1 && QByteArray(argv[1]) == "pulse")
        return benchPulse(argc, argv);
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
