#pragma once

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QLibraryInfo>
#include <QString>

// Points Qt at a plugin folder made in `folder`, like the system's but with only the
// audio plugins whose file names match `pattern` ("*alsa*", "*pulse*"), so that the
// audio backend under test is the one that plays.
inline void useOnlyAudioPlugin(const QString &folder, const QString &pattern)
{
    const QDir system(QLibraryInfo::location(QLibraryInfo::PluginsPath));
    QDir plugins(folder);
    plugins.mkpath("audio");
    for (const QString &entry : system.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        if (entry != "audio")
            QFile::link(system.filePath(entry), plugins.filePath(entry));
    }
    for (const QString &plugin : QDir(system.filePath("audio")).entryList({pattern}))
        QFile::link(system.filePath("audio/" + plugin), plugins.filePath("audio/" + plugin));
    QCoreApplication::setLibraryPaths({plugins.path()});
}
