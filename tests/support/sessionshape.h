#pragma once

#include "audiosettings/audiosettingskeys.h"
#include "sensing/sensingparameters.h"

#include <QMap>
#include <QRegularExpression>
#include <QSettings>
#include <QStringList>

// Every key of the default settings file with its value as text.
inline QMap<QString, QString> sessionSnapshot()
{
    QSettings settings;
    QMap<QString, QString> values;
    for (const QString &key : settings.allKeys())
        values.insert(key, settings.value(key).toString());
    return values;
}

// Why a key and its value have a form that the program must never write, or an empty
// text when it may: an unknown key, a number that is none, or one beyond the width of
// its register field or the range of its encoding.
inline QString sessionShapeProblem(const QString &key, const QString &value)
{
    bool ok = false, real = false;
    const uint number = value.toUInt(&ok);
    const double fixed = value.toDouble(&real);
    const auto upTo = [&](uint most) { return ok && number <= most; };
    const bool isFixed100 = real && fixed >= -327.68 && fixed <= 327.67;
    const bool isBool = value == "true" || value == "false";
    const QStringList parts = key.split('/');
    const QString &first = parts.first(), &last = parts.last();
    const SensingParameter *parameter = nullptr;
    for (const SensingParameter &p : sensingParameters())
        parameter = p.key == last ? &p : parameter;
    bool good = false;
    if (key == "chipid")
        good = upTo(255);
    else if (key == "first_boot" || key == "showrsvd")
        good = isBool;
    else if (key == "channels/size")
        good = value == "2";
    else if (first == "channels" && parts.contains("fields") && parts.size() == 7)
        good = last == "name" || last == "description" ||
               (last == "length" && number >= 1 && upTo(12)) ||
               ((last == "value" || last == "min" || last == "max") && upTo(0xFFF));
    else if (first == "channels" && last == "size")
        good = upTo(16);
    else if (first == "channels" && parts.size() == 5)
        good = last == "name" || (last == "address" && upTo(15)) ||
               ((last == "editable" || last == "hidden") && isBool);
    else if (key == "sensing/size")
        good = ok;
    else if (first == "sensing" && parts.size() == 3)
        good = last == "name" || (last == "editable" && isBool) ||
               (parameter && parameter->kind == SensingKind::Count && upTo(0xFFFF)) ||
               (parameter && parameter->kind != SensingKind::Count && isFixed100);
    else if (first == AudioPlaybackGroup && parts.size() == 2)
        good = isAudioSettingKey(last) && isFixed100;
    return good ? QString() : key + '=' + value;
}

// The keys that differ from `before` (added or changed) and have a form the program
// must never write. What a user left by hand and the program did not touch is not its.
inline QStringList malformedWrites(const QMap<QString, QString> &before)
{
    QStringList problems;
    const QMap<QString, QString> after = sessionSnapshot();
    for (auto it = after.begin(); it != after.end(); ++it) {
        if (before.value(it.key(), QStringLiteral("\x01")) == it.value())
            continue;
        const QString problem = sessionShapeProblem(it.key(), it.value());
        if (!problem.isEmpty())
            problems << problem;
    }
    return problems;
}
