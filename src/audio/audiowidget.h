#pragma once

#include <QWidget>

class AudioSettingsWidget;
class QLabel;

// The page "Audio". Until playback is built it holds the message line and the
// kit's output range grid, and offers the slots the main window calls.
class AudioWidget : public QWidget
{
    Q_OBJECT
public:
    explicit AudioWidget(QWidget *parent = nullptr);

signals:
    void sigUpdateUi();
    void sigAudioSettingUpdated();
    void sigUpdateEnable(bool enable);

public slots:
    // Hides QWidget::setEnabled: only the file button follows the kit controls.
    void setEnabled(bool enabled);
    void rescanAudioDevices();
    void stopPlayback();

private:
    void createUi();
    void connectUi();

    QLabel *infoMessageLabel = nullptr;
    AudioSettingsWidget *audioSettingsWidget = nullptr;
};
