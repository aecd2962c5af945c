#pragma once

#include <QString>
#include <QtGlobal>

// Whole-file operations on the session's settings file. Each one that can fail
// returns false and, when error is given, the reason in words.

// Replaces target with a copy of source. The copy is written beside the target and
// only then takes its place, so a source that cannot be read or a copy that cannot
// be written leaves the earlier target as it was. Returns whether target now holds
// the copy.
bool replaceWithCopy(const QString &source, const QString &target, QString *error = nullptr);

// The largest file taken for a session. A session of either chip revision is about
// 28 KB, its register map with all descriptions included; this leaves room for 30 times
// that, hand-written comments and all, while a file of this size still parses in about
// a quarter of a second.
constexpr qint64 MaxSessionFileBytes = 1 << 20;

// Whether the file reads as an INI file that holds at least one of the groups or
// keys of this program's sessions; the reason when it does not.
bool isSessionFile(const QString &path, QString *error = nullptr);

// Replaces the session's settings file with a copy of source and makes the
// toolkit read the new content. A source that is no session changes nothing.
bool loadSettingsFrom(const QString &source, QString *error = nullptr);

// Removes the session's settings file, so that the session starts afresh.
void removeSettingsFile();

// Writes a copy of the session's settings file to target, replacing it.
bool saveSettingsTo(const QString &target, QString *error = nullptr);

// The name with ".ini" added when it has no suffix of its own.
QString withIniSuffix(const QString &fileName);
