#pragma once

#include "audiopluginfolder.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLibraryInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>

// A PulseAudio server of the process's own, with two null sinks that play in real time
// like real cards: the kit's, named and described as Linux names the kit's USB audio,
// and a laptop's own output, the default. Build it before the application object and
// before any audio use: it points the process (HOME, XDG_RUNTIME_DIR, PULSE_SERVER) at
// the server and leaves Qt only its PulseAudio plugin. No user's server is touched; the
// server ends with this object, by its process id.
class PulseAudioServer
{
public:
    static constexpr const char *KitSink =
        "alsa_output.usb-Cypress_Semiconductor_Cypress_Digital_Audio-00.analog-stereo";
    static constexpr const char *LaptopSink = "alsa_output.pci-0000_00_1f.3.analog-stereo";

    PulseAudioServer()
    {
        const QString home = dir.filePath("home"), runtime = dir.filePath("runtime");
        QDir().mkpath(home);
        QDir().mkpath(runtime);
        QFile::setPermissions(runtime, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        qputenv("HOME", home.toLocal8Bit());
        qputenv("XDG_RUNTIME_DIR", runtime.toLocal8Bit());
        qputenv("PULSE_RUNTIME_PATH", runtime.toLocal8Bit());
        qputenv("PULSE_SERVER", ("unix:" + socket()).toLocal8Bit());
        writeFile("client.conf", "autospawn = no\n");
        qputenv("PULSE_CLIENTCONFIG", dir.filePath("client.conf").toLocal8Bit());
        writeFile("server.pa",
                  "load-module module-native-protocol-unix auth-anonymous=1 socket=" +
                      socket().toLocal8Bit() +
                      "\nload-module module-null-sink sink_name=" + LaptopSink +
                      " sink_properties=\"device.description='Built-in Audio Analog Stereo'\"\n" +
                      "set-default-sink " + LaptopSink + "\n");
        useOnlyAudioPlugin(dir.filePath("plugins"), "*pulse*");
    }
    ~PulseAudioServer()
    {
        if (server.state() != QProcess::NotRunning) {
            server.terminate(); // SIGTERM to the server's own process id
            if (!server.waitForFinished(5000))
                server.kill();
        }
    }

    // Starts the server with the kit's sink; empty on success, else why it could not.
    QString start()
    {
        if (QStandardPaths::findExecutable("pulseaudio").isEmpty() ||
            QStandardPaths::findExecutable("pactl").isEmpty())
            return "pulseaudio or pactl is not installed";
        server.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        server.start("pulseaudio", {"--system=false", "-n", "--daemonize=no", "--exit-idle-time=-1",
                                    "--disable-shm=yes", "--log-target=stderr", "--log-level=error",
                                    "-F", dir.filePath("server.pa")});
        if (!server.waitForStarted())
            return "pulseaudio did not start: " + server.errorString();
        QElapsedTimer waited;
        waited.start();
        while (!pactl({"info"})) {
            if (server.state() == QProcess::NotRunning || waited.elapsed() > 10000)
                return "pulseaudio did not answer";
            QThread::msleep(50);
        }
        return addKitSink() ? QString() : QString("the kit's sink could not be made");
    }

    // The kit's sink comes and goes as the kit is plugged in and out.
    bool addKitSink()
    {
        QByteArray id;
        if (!pactl({"load-module", "module-null-sink", QString("sink_name=") + KitSink,
                    "sink_properties=\"device.description='Cypress Digital Audio Analog Stereo'\""},
                   &id))
            return false;
        kitModule = id.trimmed();
        return true;
    }
    bool removeKitSink() { return pactl({"unload-module", kitModule}); }

    // Records what sink plays, as 44.1 kHz 16-bit stereo, into a file of this server.
    void startRecording(QProcess &recorder, const QString &sink) const
    {
        recorder.setStandardOutputFile(recording(sink));
        recorder.start("parec", {"-d", sink + ".monitor", "--raw", "--format=s16le", "--rate=44100",
                                 "--channels=2", "--latency-msec=20"});
        recorder.waitForStarted();
    }
    QByteArray stopRecording(QProcess &recorder, const QString &sink) const
    {
        recorder.terminate();
        recorder.waitForFinished(5000);
        return recorded(sink);
    }
    // What the recorder of sink has written so far.
    QByteArray recorded(const QString &sink) const
    {
        QFile file(recording(sink));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    QString path() const { return dir.path(); }
    qint64 processId() const { return server.processId(); }

private:
    QString socket() const { return dir.filePath("runtime/native"); }
    QString recording(const QString &sink) const { return dir.filePath(sink + ".raw"); }
    void writeFile(const QString &name, const QByteArray &contents) const
    {
        QFile file(dir.filePath(name));
        if (file.open(QIODevice::WriteOnly))
            file.write(contents);
    }
    static bool pactl(const QStringList &arguments, QByteArray *output = nullptr)
    {
        QProcess process;
        process.start("pactl", arguments);
        const bool ok = process.waitForFinished(5000) &&
                        process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
        if (output)
            *output = process.readAllStandardOutput();
        return ok;
    }

    QTemporaryDir dir;
    QProcess server;
    QString kitModule;
};
