#include "audiosettingskeys.h"

#include <QRegularExpression>

QString audioSettingKey(int channel, int sw, int type)
{
    return AudioSettingKeyTemplate.arg(channel).arg(sw).arg(type);
}

bool isAudioSettingKey(const QString &key)
{
    static const QRegularExpression form(QStringLiteral("\\Ach[01]sw[01]type[0-3]\\z"));
    return form.match(key).hasMatch();
}
