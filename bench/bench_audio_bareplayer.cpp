// The least a Qt program does to play a WAV file: QAudioOutput pulling from the file,
// nothing else. It idles first, then plays, and prints its own CPU time and resident
// memory for each, so that bench_audio_playback can net out the idle part.
//
//     bench_audio_bareplayer file.wav [idle seconds]
//
// Prints "idle <cpu s> <wall s>", "play <cpu s> <wall s>", "rss <before> <peak> <after>" (kB).

#include "processstats.h"
#include <QAudioDeviceInfo>
#include <QAudioOutput>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTimer>
#include <cstdio>
#include <sys/resource.h>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (argc < 2)
        return 2;
    QFile file(argv[1]);
    if (!file.open(QIODevice::ReadOnly) || !file.seek(44))
        return 1;
    const int idleMs = int((argc > 2 ? QByteArray(argv[2]).toDouble() : 2.0) * 1000);
    QAudioFormat format;
    format.setCodec("audio/pcm");
    format.setSampleRate(44100);
    format.setChannelCount(2);
    format.setSampleSize(16);
    format.setSampleType(QAudioFormat::SignedInt);
    format.setByteOrder(QAudioFormat::LittleEndian);
    QAudioOutput output(QAudioDeviceInfo::defaultOutputDevice(), format);

    const qint64 rssBefore = residentKb();
    qint64 rssPeak = rssBefore;
    QTimer sampler;
    QObject::connect(&sampler, &QTimer::timeout, &app,
                     [&] { rssPeak = qMax(rssPeak, residentKb()); });
    sampler.start(100);

    QElapsedTimer wall;
    double cpu = cpuSeconds();
    wall.start();
    QTimer::singleShot(idleMs, &app, [&] {
        printf("idle %.4f %.3f\n", cpuSeconds() - cpu, wall.elapsed() / 1000.0);
        cpu = cpuSeconds();
        wall.restart();
        output.start(&file);
    });
    QObject::connect(&output, &QAudioOutput::stateChanged, &app, [&](QAudio::State state) {
        if (state == QAudio::IdleState && file.atEnd()) {
            printf("play %.4f %.3f\n", cpuSeconds() - cpu, wall.elapsed() / 1000.0);
            output.stop();
            app.quit();
        }
    });
    app.exec();
    printf("rss %lld %lld %lld\n", rssBefore, rssPeak, residentKb());
    return 0;
}
