#pragma once

#include <QString>

// Settings keys of the register subsystem. The register map of both channels
// stands under the array "channels"; see RegisterController.

inline const QString SHOWRSVD_KEY = QStringLiteral("showrsvd");

inline const QString CHANNELS_KEY = QStringLiteral("channels");
inline const QString REGISTERS_KEY = QStringLiteral("registers");
inline const QString FIELDS_KEY = QStringLiteral("fields");

inline const QString REGISTER_ADDRESS_KEY = QStringLiteral("address");
inline const QString REGISTER_NAME_KEY = QStringLiteral("name");
inline const QString REGISTER_EDITABLE_KEY = QStringLiteral("editable");
inline const QString REGISTER_HIDDEN_KEY = QStringLiteral("hidden");

inline const QString FIELD_NAME_KEY = QStringLiteral("name");
inline const QString FIELD_VALUE_KEY = QStringLiteral("value");
inline const QString FIELD_LENGTH_KEY = QStringLiteral("length");
inline const QString FIELD_MIN_KEY = QStringLiteral("min");
inline const QString FIELD_MAX_KEY = QStringLiteral("max");
inline const QString FIELD_DESCRIPTION_KEY = QStringLiteral("description");
