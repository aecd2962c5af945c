#include "sensingpreset.h"

namespace {

SensingPreset tdkPowerHap()
{
    SensingPreset p;
    p.editable = false;
    p.name = QStringLiteral("TDK PowerHap 2.5G");
    p.low_amp_multiplicator = 0.75f;
    p.high_amp_press = 1.0f;
    p.high_amp_release = 0.75f;
    p.low_freq_feedback = 100;
    p.high_freq_feedback = 180;
    p.low_sens_press_thresh = 15;
    p.high_sens_press_thresh = 12;
    p.low_sens_release_thresh = 0;
    p.high_sens_release_thresh = 0;
    p.nb_prd_click = 1;
    p.nb_prd_long = 10;
    p.off_amplitude = 60.0f;
    p.off_offset = 0.0f;
    p.off_vmax = 60.0f;
    p.off_vmin = -10.0f;
    p.on_amplitude = 60.0f;
    p.on_offset = 0.0f;
    p.on_vmax = 60.0f;
    p.on_vmin = -10.0f;
    return p;
}

SensingPreset midePpa()
{
    SensingPreset p;
    p.editable = false;
    p.name = QStringLiteral("MIDE PPA-2014");
    p.low_amp_multiplicator = 0.75f;
    p.high_amp_press = 1.0f;
    p.high_amp_release = 0.75f;
    p.low_freq_feedback = 100;
    p.high_freq_feedback = 180;
    p.low_sens_press_thresh = 130;
    p.high_sens_press_thresh = 90;
    p.low_sens_release_thresh = 130;
    p.high_sens_release_thresh = 90;
    p.nb_prd_click = 1;
    p.nb_prd_long = 10;
    p.off_amplitude = 95.0f;
    p.off_offset = 0.0f;
    p.off_vmax = 95.0f;
    p.off_vmin = -95.0f;
    p.on_amplitude = 95.0f;
    p.on_offset = 0.0f;
    p.on_vmax = 95.0f;
    p.on_vmin = -95.0f;
    return p;
}

} // namespace

const QList<SensingPreset> &sensingPresets()
{
    static const QList<SensingPreset> presets{tdkPowerHap(), midePpa()};
    return presets;
}
