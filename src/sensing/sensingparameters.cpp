#include "sensingparameters.h"

#include <algorithm>

namespace {

const QString AmplitudeHeading = QStringLiteral("Amplitude Parameters (SW6)");
const QString FrequencyHeading = QStringLiteral("Frequency Parameters (SW5)");
const QString ThresholdHeading = QStringLiteral("Threshold Parameters (SW7)");
const QString ResponseHeading = QStringLiteral("Response Types (number of sine period)");
const QString OutputHeading = QStringLiteral("Output Range (SW1)");

SensingParameter real(const char *key, char code, int wire, int panel, const QString &heading,
                      const char *label, double minimum, double maximum, double step,
                      float SensingPreset::*member)
{
    return {QLatin1String(key),   quint8(code), SensingKind::Real, wire, panel,  heading,
            QLatin1String(label), minimum,      maximum,           step, member, nullptr};
}

// Every count runs up to 255 in steps of 1; only the lower limit differs.
SensingParameter count(const char *key, char code, int wire, int panel, const QString &heading,
                       const char *label, double minimum, unsigned SensingPreset::*member)
{
    return {QLatin1String(key),
            quint8(code),
            SensingKind::Count,
            wire,
            panel,
            heading,
            QLatin1String(label),
            minimum,
            255,
            1,
            nullptr,
            member};
}

QVector<SensingParameter> buildTable()
{
    using P = SensingPreset;
    // clang-format off
    return {
        //    key                         code wire panel heading           label                                   min    max   step
        real("low_amp_multiplicator",    '0',  1,  1, AmplitudeHeading, "Low amplitude multiplicator: ",         0,     1,    0.01, &P::low_amp_multiplicator),
        real("high_amp_press",           '1',  2,  2, AmplitudeHeading, "High amplitude press feedback: ",       0,     1,    0.01, &P::high_amp_press),
        real("high_amp_release",         '2',  3,  3, AmplitudeHeading, "High amplitude release feedback: ",     0,     1,    0.01, &P::high_amp_release),
        count("low_freq_feedback",       '3',  4,  4, FrequencyHeading, "Low frequency feedback: ",              1,                 &P::low_freq_feedback),
        count("high_freq_feedback",      '4',  5,  5, FrequencyHeading, "High frequency feedback: ",             1,                 &P::high_freq_feedback),
        count("low_sens_press_thresh",   '6',  7,  6, ThresholdHeading, "Low sensitivity press threshold: ",     1,                 &P::low_sens_press_thresh),
        count("high_sens_press_thresh",  '5',  6,  7, ThresholdHeading, "High sensitivity press threshold: ",    1,                 &P::high_sens_press_thresh),
        count("low_sens_release_thresh", 'B',  9,  8, ThresholdHeading, "Low sensitivity release threshold: ",   0,                 &P::low_sens_release_thresh),
        count("high_sens_release_thresh",'A',  8,  9, ThresholdHeading, "High sensitivity release threshold: ",  0,                 &P::high_sens_release_thresh),
        count("nb_prd_click",            '7', 10, 10, ResponseHeading,  "Click feedback: ",                      1,                 &P::nb_prd_click),
        count("nb_prd_long",             '9', 11, 11, ResponseHeading,  "Long feedback: ",                       1,                 &P::nb_prd_long),
        real("off_amplitude",            ':', 12, 12, OutputHeading,    "OFF Amplitude: ",                     -95,    95,    0.1,  &P::off_amplitude),
        real("off_offset",               ';', 13, 13, OutputHeading,    "        Offset: ",                    -95,    95,    0.1,  &P::off_offset),
        real("off_vmax",                 '<', 14, 15, OutputHeading,    "        Vmax: ",                      -95,    95,    0.1,  &P::off_vmax),
        real("off_vmin",                 '>', 15, 14, OutputHeading,    "        Vmin: ",                      -95,    95,    0.1,  &P::off_vmin),
        real("on_amplitude",             '?', 16, 16, OutputHeading,    "ON  Amplitude: ",                     -95,    95,    0.1,  &P::on_amplitude),
        real("on_offset",                '!', 17, 17, OutputHeading,    "        Offset: ",                    -95,    95,    0.1,  &P::on_offset),
        real("on_vmax",                  '#', 18, 19, OutputHeading,    "        Vmax: ",                      -95,    95,    0.1,  &P::on_vmax),
        real("on_vmin",                  '@', 19, 18, OutputHeading,    "        Vmin: ",                      -95,    95,    0.1,  &P::on_vmin),
    };
    // clang-format on
}

QVector<const SensingParameter *> sortedBy(int SensingParameter::*position)
{
    QVector<const SensingParameter *> order;
    for (const SensingParameter &parameter : sensingParameters())
        order.append(&parameter);
    std::sort(order.begin(), order.end(),
              [position](const SensingParameter *a, const SensingParameter *b) {
                  return a->*position < b->*position;
              });
    return order;
}

} // namespace

const QVector<SensingParameter> &sensingParameters()
{
    static const QVector<SensingParameter> table = buildTable();
    return table;
}

const QVector<const SensingParameter *> &sensingParametersInWireOrder()
{
    static const QVector<const SensingParameter *> order =
        sortedBy(&SensingParameter::wirePosition);
    return order;
}

const QVector<const SensingParameter *> &sensingParametersInPanelOrder()
{
    static const QVector<const SensingParameter *> order = sortedBy(&SensingParameter::panelRow);
    return order;
}

const SensingParameter *sensingParameterByCode(quint8 code)
{
    for (const SensingParameter &parameter : sensingParameters()) {
        if (parameter.code == code)
            return &parameter;
    }
    return nullptr;
}

KitDecoder::SensingName sensingNameByCode(quint8 code)
{
    const SensingParameter *parameter = sensingParameterByCode(code);
    if (!parameter)
        return {};
    return {parameter->key, parameter->kind == SensingKind::Real};
}

QVariant presetValue(const SensingPreset &preset, const SensingParameter &parameter)
{
    if (parameter.kind == SensingKind::Real)
        return QVariant(preset.*parameter.presetReal);
    return QVariant(preset.*parameter.presetCount);
}
