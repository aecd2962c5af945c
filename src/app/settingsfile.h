#pragma once

#include <QString>

// Whole-file operations on the session's settings file.

// Replaces target with a copy of source. The copy is written beside the target and
// only then takes its place, so a source that cannot be read or a copy that cannot
// be written leaves the earlier target as it was. Returns whether target now holds
// the copy.
bool replaceWithCopy(const QString &source, const QString &target);

// Replaces the session's settings file with a copy of source and makes the
// toolkit read the new content.
bool loadSettingsFrom(const QString &source);

// Removes the session's settings file, so that the session starts afresh.
void removeSettingsFile();

// Writes a copy of the session's settings file to target, replacing it.
bool saveSettingsTo(const QString &target);
