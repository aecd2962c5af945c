#pragma once

#include <QAudio>
#include <QIcon>
#include <QWidget>

class AudioSettingsWidget;
class Engine;
class FrequencySpectrum;
class ProgressBar;
class QAudioFormat;
class QLabel;
class QPushButton;

// The page "Audio": a message line, the play position, the buttons to choose a WAV
// file, stop and play it on the kit's audio device, and the kit's output range grid.
// While audio plays it asks the main window to disable the kit controls.
class AudioWidget : public QWidget
{
    Q_OBJECT
public:
    explicit AudioWidget(QWidget *parent = nullptr);
    ~AudioWidget() override;

signals:
    void sigUpdateUi();
    void sigAudioSettingUpdated();
    // False while audio plays, true otherwise.
    void sigUpdateEnable(bool enable);

public slots:
    // Hides QWidget::setEnabled: only the file button follows the kit controls.
    void setEnabled(bool enabled);
    void rescanAudioDevices();
    void stopPlayback();

    void stateChanged(QAudio::Mode mode, QAudio::State state);
    void formatChanged(const QAudioFormat &format);
    void bufferLengthChanged(qint64 length);
    void spectrumChanged(qint64 position, qint64 length, const FrequencySpectrum &spectrum);
    // Shows message; it goes after timeoutMs, or stays for -1.
    void infoMessage(const QString &message, int timeoutMs);
    void errorMessage(const QString &heading, const QString &detail);

protected:
    void timerEvent(QTimerEvent *event) override;

private slots:
    void showFileDialog();
    void updateButtonStates();

private:
    void createUi();
    void connectUi();
    void reset();

    Engine *engine = nullptr;
    ProgressBar *progressBar = nullptr;
    QPushButton *modeButton = nullptr;
    QPushButton *stopButton = nullptr;
    QIcon stopIcon;
    QPushButton *playButton = nullptr;
    QIcon playIcon;
    QLabel *infoMessageLabel = nullptr;
    int infoMessageTimerId = -1;
    AudioSettingsWidget *audioSettingsWidget = nullptr;
};
