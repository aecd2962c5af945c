#include "audiosettingswidget.h"

AudioSettingsWidget::AudioSettingsWidget(const QString &group, QWidget *parent)
    : QWidget(parent), group(group)
{
}

void AudioSettingsWidget::init() {}
void AudioSettingsWidget::updateSettings(double) {}
