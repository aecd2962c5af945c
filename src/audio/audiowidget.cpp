#include "audiowidget.h"

#include "audiosettings/audiosettingskeys.h"
#include "audiosettings/audiosettingswidget.h"

#include <QLabel>
#include <QVBoxLayout>

AudioWidget::AudioWidget(QWidget *parent) : QWidget(parent)
{
    createUi();
    connectUi();
}

void AudioWidget::createUi()
{
    auto *layout = new QVBoxLayout(this);
    infoMessageLabel = new QLabel(tr("Select a file to play"), this);
    infoMessageLabel->setObjectName(QStringLiteral("infoMessageLabel"));
    infoMessageLabel->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    infoMessageLabel->setAlignment(Qt::AlignHCenter);
    layout->addWidget(infoMessageLabel);
    audioSettingsWidget = new AudioSettingsWidget(AudioPlaybackGroup);
    audioSettingsWidget->setObjectName(QStringLiteral("audioSettingsWidget"));
    layout->addWidget(audioSettingsWidget);
    layout->addStretch();
}

void AudioWidget::connectUi()
{
    connect(this, SIGNAL(sigUpdateUi()), audioSettingsWidget, SLOT(init()));
    connect(audioSettingsWidget, SIGNAL(sigAudioSettingUpdated()), this,
            SIGNAL(sigAudioSettingUpdated()));
}

void AudioWidget::setEnabled(bool) {}
void AudioWidget::rescanAudioDevices() {}
void AudioWidget::stopPlayback() {}
