#pragma once

#include <QString>

// The settings group of the kit's audio output range, and the keys of its sixteen
// values: channel (0, 1), state of SW1 (0 OFF, 1 ON) and quantity (0 Amplitude,
// 1 Offset, 2 Vmax, 3 Vmin).
inline const QString AudioPlaybackGroup = QStringLiteral("audioplayback");
inline const QString AudioSettingKeyTemplate = QStringLiteral("ch%1sw%2type%3");

// Where the three digits stand in a key; they are also the characters of the
// command that writes the value.
constexpr int AudioKeyChannelPos = 2;
constexpr int AudioKeySwitchPos = 5;
constexpr int AudioKeyTypePos = 10;
constexpr int AudioKeyLength = 11;

QString audioSettingKey(int channel, int sw, int type);

// True exactly for the sixteen keys of the group.
bool isAudioSettingKey(const QString &key);
