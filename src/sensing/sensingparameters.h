#pragma once

#include "link/kitdecoder.h"
#include "sensingpreset.h"

#include <QString>
#include <QVariant>
#include <QVector>

// How a sensing parameter is handled everywhere: a real has two decimals and
// travels as fixed-100, a count is a whole number and travels as a word.
enum class SensingKind
{
    Real,
    Count
};

// One of the nineteen parameters that configure a channel's press sensing.
struct SensingParameter
{
    QString key; // settings key in an entry of the sensing array
    quint8 code; // parameter code of the "2" command and of the sensing reply
    SensingKind kind;
    int wirePosition; // 1-based place in the commands of one send
    int panelRow;     // 1-based place among the fields of a channel panel
    QString heading;  // panel heading of the parameter's group
    QString label;    // panel field label, leading blanks included
    double minimum;   // panel range and step
    double maximum;
    double step;
    float SensingPreset::*presetReal;     // set for a real
    unsigned SensingPreset::*presetCount; // set for a count
};

constexpr int SensingParameterCount = 19;
constexpr int SensingRealDecimals = 2;

// The parameters in the order of the keys of an array entry.
const QVector<SensingParameter> &sensingParameters();
// The same parameters in the order of the commands of one send, which is also the
// order of the texts of a send signal (high thresholds before low ones).
const QVector<const SensingParameter *> &sensingParametersInWireOrder();
// The same parameters in the order of the panel's fields (Vmin above Vmax).
const QVector<const SensingParameter *> &sensingParametersInPanelOrder();
// Null for a byte that is no parameter code.
const SensingParameter *sensingParameterByCode(quint8 code);
// The name a log gives to a parameter code, from the same table.
KitDecoder::SensingName sensingNameByCode(quint8 code);

// A preset's value in its stored form: a float for a real, an unsigned for a count.
QVariant presetValue(const SensingPreset &preset, const SensingParameter &parameter);
