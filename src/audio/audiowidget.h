#pragma once

#include <QAudio>
#include <QIcon>
#include <QWidget>

class AudioSettingsWidget;
class Engine;
class FrequencySpectrum;
class ProgressBar;
class QAudioFormat;
class QAction;
class QComboBox;
class QLabel;
class QMenu;
class QPushButton;
class ToneGeneratorDialog;

// The page "Audio": a message line, the play position, the buttons to choose a WAV
// file, stop and play it on the kit's audio device, and the kit's output range grid.
// While audio plays it asks the main window to disable the kit controls.
class AudioWidget : public QWidget
{
    Q_OBJECT
public:
    explicit AudioWidget(QWidget *parent = nullptr);
    ~AudioWidget() override;

    // Turns the file button into a menu that offers a generated tone beside a file.
    // The page as it stands offers files only and doesn't call it.
    void createModeMenu();

signals:
    void sigUpdateUi();
    void sigAudioSettingUpdated();
    // False while audio plays, true otherwise.
    void sigUpdateEnable(bool enable);
    // The user picked an output by its device name; empty for the automatic choice.
    void sigOutputChosen(const QString &deviceName);

public slots:
    // Hides QWidget::setEnabled: only the file button follows the kit controls.
    void setEnabled(bool enabled);
    void rescanAudioDevices();
    void stopPlayback();
    // Plays on deviceName while it exists (as remembered from an earlier run); empty
    // for the kit's device or the default.
    void setChosenOutput(const QString &deviceName);

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
    void showToneGeneratorDialog();
    void updateButtonStates();
    void updateOutputLine();
    void outputLost(const QString &deviceName);
    void outputPicked(int index);

private:
    void createUi();
    void connectUi();
    void reset();
    void fillOutputBox();

    enum Mode
    {
        NoMode = 0,
        GenerateToneMode = 1,
        LoadFileMode = 2
    };
    void updateModeMenu();
    void setMode(int mode);

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
    QLabel *outputLabel = nullptr;  // which device plays, in words
    QComboBox *outputBox = nullptr; // "Automatic" and the devices Qt lists
    QString lostMessage;            // shown once, after the output went away

    ToneGeneratorDialog *toneGeneratorDialog = nullptr;
    int mode = NoMode;
    QMenu *modeMenu = nullptr;
    QAction *loadFileAction = nullptr;     // null until createModeMenu
    QAction *generateToneAction = nullptr; // null until createModeMenu
};
