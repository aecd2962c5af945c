#pragma once

#include <QList>
#include <QString>

// A built-in sensing configuration for one actuator. Presets are read-only in the
// panels; the custom entries of the sensing array are where the user edits.
struct SensingPreset
{
    bool editable = false;
    QString name;
    float low_amp_multiplicator = 0;
    float high_amp_press = 0;
    float high_amp_release = 0;
    unsigned low_freq_feedback = 0;
    unsigned high_freq_feedback = 0;
    unsigned low_sens_press_thresh = 0;
    unsigned high_sens_press_thresh = 0;
    unsigned low_sens_release_thresh = 0;
    unsigned high_sens_release_thresh = 0;
    unsigned nb_prd_click = 0;
    unsigned nb_prd_long = 0;
    float off_amplitude = 0;
    float off_offset = 0;
    float off_vmax = 0;
    float off_vmin = 0;
    float on_amplitude = 0;
    float on_offset = 0;
    float on_vmax = 0;
    float on_vmin = 0;
};

// The actuator presets, in the order in which they follow the custom entries.
const QList<SensingPreset> &sensingPresets();
