#include "sensingsettings.h"

#include "sensingparameters.h"
#include "sensingpreset.h"

#include <QSettings>

namespace {

constexpr int CustomEntryCount = 2;

} // namespace

int sensingArraySize()
{
    QSettings settings;
    const int size = settings.beginReadArray(SensingArrayKey);
    settings.endArray();
    return size;
}

bool writeSensingEntries(const std::function<void(int index, QSettings &entry)> &write)
{
    const int size = sensingArraySize();
    if (size > MaxSensingEntries)
        return false;
    QSettings settings;
    settings.beginWriteArray(SensingArrayKey, -1);
    for (int i = 0; i < size; ++i) {
        settings.setArrayIndex(i);
        write(i, settings);
    }
    settings.endArray();
    settings.sync();
    return true;
}

bool writeSensingEntry(int index, const std::function<void(QSettings &entry)> &write)
{
    if (index < 0 || index >= sensingArraySize())
        return false;
    return writeSensingEntries([&](int i, QSettings &entry) {
        if (i == index)
            write(entry);
    });
}

void installSensingDefaults()
{
    if (sensingArraySize() > 0)
        return;
    QSettings settings;
    settings.beginWriteArray(SensingArrayKey, -1);
    for (int i = 0; i < CustomEntryCount; ++i) {
        settings.setArrayIndex(i);
        settings.setValue(SensingEditableKey, true);
        settings.setValue(SensingNameKey, QStringLiteral("Custom %1").arg(i));
        for (const SensingParameter &parameter : sensingParameters())
            settings.setValue(parameter.key, 0);
    }
    const QList<SensingPreset> &presets = sensingPresets();
    for (int p = 0; p < presets.size(); ++p) {
        const SensingPreset &preset = presets.at(p);
        settings.setArrayIndex(CustomEntryCount + p);
        settings.setValue(SensingEditableKey, preset.editable);
        settings.setValue(SensingNameKey, preset.name);
        for (const SensingParameter &parameter : sensingParameters())
            settings.setValue(parameter.key, presetValue(preset, parameter));
    }
    settings.endArray();
    settings.sync();
}
