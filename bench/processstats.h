#pragma once

#include <QByteArray>
#include <QFile>
#include <sys/resource.h>

// What a benchmark reads of a process's own cost: CPU seconds (user and system) of
// RUSAGE_SELF or RUSAGE_CHILDREN, and the resident memory now, in KiB.
inline double cpuSeconds(int who = RUSAGE_SELF)
{
    rusage usage{};
    getrusage(who, &usage);
    return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec +
           (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

inline qint64 residentKb()
{
    QFile status("/proc/self/status");
    status.open(QIODevice::ReadOnly);
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toLongLong();
    }
    return 0;
}
