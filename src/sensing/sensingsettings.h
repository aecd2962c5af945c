#pragma once

#include <QString>
#include <functional>

class QSettings;

// The settings array "sensing": one entry for each configuration, the custom
// entries of channels A and B first, then the actuator presets.
inline const QString SensingArrayKey = QStringLiteral("sensing");
inline const QString SensingEditableKey = QStringLiteral("editable");
inline const QString SensingNameKey = QStringLiteral("name");

// An array that claims more entries comes from a damaged or hand-edited file: the
// panels list only this many, and no writer touches it.
constexpr int MaxSensingEntries = 1024;

// The number of entries of the array as stored; 0 when there is none.
int sensingArraySize();

// Changes entry `index` of the array: `write` is called with the settings inside
// that entry. Every index is walked so that the array keeps its size; an index
// that names no entry, or an array beyond MaxSensingEntries, writes nothing and
// gives false.
bool writeSensingEntry(int index, const std::function<void(QSettings &entry)> &write);

// Walks every entry once, calling `write` with its index and the settings inside it,
// and saves once: for changes to many entries at a time. An array beyond
// MaxSensingEntries writes nothing and gives false.
bool writeSensingEntries(const std::function<void(int index, QSettings &entry)> &write);

// Installs the custom entries and the presets when the store has no array yet.
// An array that exists is left as it is, whatever it holds.
void installSensingDefaults();
