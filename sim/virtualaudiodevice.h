#pragma once

#include "audiopluginfolder.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QLibraryInfo>
#include <QTemporaryDir>

// Stands in for the kit's USB audio device with ALSA devices that write the samples
// they are given into files, faster than real time. Build it before the application
// object and before any audio use: it gives the process a HOME of its own with an
// .asoundrc, and leaves Qt only its ALSA audio plugin (a PulseAudio plugin without a
// server offers an unusable default device).
class VirtualAudioDevice
{
public:
    static constexpr const char *KitName = "Cypress Digital Audio (virtual)";

    explicit VirtualAudioDevice(bool withKit = true)
    {
        qputenv("HOME", dir.path().toLocal8Bit());
        writeConfig(withKit);
        useOnlyAudioPlugin(dir.filePath("plugins"), "*alsa*");
    }

    QString path() const { return dir.path(); }
    // What the kit's device and the default device have written since they were last opened.
    QString kitOutput() const { return dir.filePath("kit.raw"); }
    QString defaultOutput() const { return dir.filePath("default.raw"); }
    QByteArray kitSamples() const { return contents(kitOutput()); }
    QByteArray defaultSamples() const { return contents(defaultOutput()); }
    void clearOutputs() const
    {
        QFile::remove(kitOutput());
        QFile::remove(defaultOutput());
    }

    // Rewrites the configuration; ALSA reads it again at its next look.
    void writeConfig(bool withKit) const
    {
        QFile rc(dir.filePath(".asoundrc"));
        rc.open(QIODevice::WriteOnly | QIODevice::Truncate);
        rc.write(pcm("!default", defaultOutput(), "Default output (virtual)"));
        if (withKit)
            rc.write(pcm(QStringLiteral("\"%1\"").arg(KitName), kitOutput(), KitName));
    }

private:
    static QByteArray pcm(const QString &name, const QString &file, const QString &description)
    {
        return QStringLiteral("pcm.%1 {\n    type file\n    slave.pcm \"null\"\n    file \"%2\"\n"
                              "    format \"raw\"\n    hint { show on description \"%3\" }\n}\n")
            .arg(name, file, description)
            .toLocal8Bit();
    }
    static QByteArray contents(const QString &fileName)
    {
        QFile file(fileName);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    QTemporaryDir dir;
};
