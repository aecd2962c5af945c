#include "audiowidget.h"

#include "audiosettings/audiosettingskeys.h"
#include "audiosettings/audiosettingswidget.h"
#include "audioutils.h"
#include "engine.h"
#include "frequencyspectrum.h"
#include "progressbar.h"
#include "tonegeneratordialog.h"

#include <QAudioDeviceInfo>
#include <QComboBox>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QStyle>
#include <QTimerEvent>
#include <QVBoxLayout>

namespace {
constexpr int ButtonSide = 30;
constexpr int NoTimeout = -1;
} // namespace

AudioWidget::AudioWidget(QWidget *parent)
    : QWidget(parent), engine(new Engine(this)), progressBar(new ProgressBar(this)),
      modeButton(new QPushButton(this)), stopButton(new QPushButton(this)),
      stopIcon(style()->standardIcon(QStyle::SP_MediaStop)), playButton(new QPushButton(this)),
      playIcon(style()->standardIcon(QStyle::SP_MediaPlay)),
      infoMessageLabel(new QLabel(tr("Select a file to play"), this)),
      outputLabel(new QLabel(this)), outputBox(new QComboBox(this)),
      toneGeneratorDialog(new ToneGeneratorDialog(this)), modeMenu(new QMenu(this))
{
    toneGeneratorDialog->setObjectName(QStringLiteral("toneGeneratorDialog"));
    modeMenu->setObjectName(QStringLiteral("modeMenu"));
    engine->setObjectName(QStringLiteral("engine"));
    progressBar->setObjectName(QStringLiteral("progressBar"));
    modeButton->setObjectName(QStringLiteral("modeButton"));
    stopButton->setObjectName(QStringLiteral("stopButton"));
    playButton->setObjectName(QStringLiteral("playButton"));
    infoMessageLabel->setObjectName(QStringLiteral("infoMessageLabel"));
    outputLabel->setObjectName(QStringLiteral("outputLabel"));
    outputBox->setObjectName(QStringLiteral("outputBox"));
    createUi();
    connectUi();
}

AudioWidget::~AudioWidget()
{
    // The engine's audio output runs the event loop once as it goes, which must find
    // this page whole.
    delete engine;
    engine = nullptr;
}

void AudioWidget::createUi()
{
    auto *layout = new QVBoxLayout(this);

    infoMessageLabel->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    infoMessageLabel->setAlignment(Qt::AlignHCenter);
    layout->addWidget(infoMessageLabel);

    layout->addWidget(progressBar);

    // Where the sound goes, and the user's say in it.
    auto *outputRow = new QHBoxLayout;
    outputLabel->setWordWrap(true);
    outputLabel->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    outputRow->addWidget(outputLabel);
    // Sink names run long; the list itself shows them whole.
    outputBox->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    outputBox->setMinimumContentsLength(24);
    outputBox->setToolTip(tr("The output that plays"));
    outputRow->addWidget(outputBox);
    layout->addLayout(outputRow);

    auto *buttonRow = new QHBoxLayout;
    auto *buttonPanel = new QWidget(this);
    buttonPanel->setObjectName(QStringLiteral("buttonPanel"));
    buttonPanel->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    auto *buttonPanelLayout = new QHBoxLayout(buttonPanel);
    buttonPanelLayout->addStretch();

    modeButton->setText(tr("Play file"));
    buttonPanelLayout->addWidget(modeButton);

    stopButton->setIcon(stopIcon);
    stopButton->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    stopButton->setMinimumSize(ButtonSide, ButtonSide);
    stopButton->setEnabled(false);
    buttonPanelLayout->addWidget(stopButton);

    playButton->setIcon(playIcon);
    playButton->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    playButton->setMinimumSize(ButtonSide, ButtonSide);
    playButton->setEnabled(false);
    buttonPanelLayout->addWidget(playButton);

    buttonRow->addWidget(buttonPanel);
    layout->addLayout(buttonRow);

    // Placed here, owned by this page through the layout.
    audioSettingsWidget = new AudioSettingsWidget(AudioPlaybackGroup);
    audioSettingsWidget->setObjectName(QStringLiteral("audioSettingsWidget"));
    layout->addWidget(audioSettingsWidget);
    layout->addStretch();
}

void AudioWidget::connectUi()
{
    connect(stopButton, SIGNAL(clicked()), engine, SLOT(suspend()));
    connect(playButton, SIGNAL(clicked()), engine, SLOT(startPlayback()));
    connect(modeButton, SIGNAL(clicked()), this, SLOT(showFileDialog()));
    connect(engine, SIGNAL(stateChanged(QAudio::Mode, QAudio::State)), this,
            SLOT(stateChanged(QAudio::Mode, QAudio::State)));
    connect(engine, SIGNAL(formatChanged(const QAudioFormat &)), this,
            SLOT(formatChanged(const QAudioFormat &)));

    progressBar->bufferLengthChanged(engine->bufferLength());

    connect(engine, SIGNAL(bufferLengthChanged(qint64)), this, SLOT(bufferLengthChanged(qint64)));
    connect(engine, SIGNAL(dataLengthChanged(qint64)), this, SLOT(updateButtonStates()));
    connect(engine, SIGNAL(recordPositionChanged(qint64)), progressBar,
            SLOT(recordPositionChanged(qint64)));
    connect(engine, SIGNAL(playPositionChanged(qint64)), progressBar,
            SLOT(playPositionChanged(qint64)));
    connect(engine, SIGNAL(spectrumChanged(qint64, qint64, const FrequencySpectrum &)), this,
            SLOT(spectrumChanged(qint64, qint64, const FrequencySpectrum &)));
    connect(engine, SIGNAL(infoMessage(QString, int)), this, SLOT(infoMessage(QString, int)));
    connect(engine, SIGNAL(errorMessage(QString, QString)), this,
            SLOT(errorMessage(QString, QString)));
    connect(this, SIGNAL(sigUpdateUi()), audioSettingsWidget, SLOT(init()));
    connect(audioSettingsWidget, SIGNAL(sigAudioSettingUpdated()), this,
            SIGNAL(sigAudioSettingUpdated()));
    connect(engine, SIGNAL(outputDeviceChanged()), this, SLOT(updateOutputLine()));
    connect(engine, SIGNAL(outputLost(QString)), this, SLOT(outputLost(QString)));
    fillOutputBox();
    connect(outputBox, SIGNAL(activated(int)), this, SLOT(outputPicked(int)));
}

void AudioWidget::setEnabled(bool enabled)
{
    modeButton->setEnabled(enabled);
    if (mode != NoMode)
        playButton->setEnabled(enabled);
}

void AudioWidget::rescanAudioDevices()
{
    engine->rescanAudioDevices();
    fillOutputBox();
}

void AudioWidget::setChosenOutput(const QString &deviceName)
{
    engine->setChosenOutput(deviceName);
    fillOutputBox();
}

void AudioWidget::fillOutputBox()
{
    const QSignalBlocker blocker(outputBox);
    outputBox->clear();
    outputBox->addItem(tr("Automatic"), QString());
    for (const QAudioDeviceInfo &device : engine->availableOutputs())
        outputBox->addItem(device.deviceName(), device.deviceName());
    // The choice in force: a remembered device that is gone shows as automatic.
    outputBox->setCurrentIndex(qMax(0, outputBox->findData(engine->chosenOutput())));
    updateOutputLine();
}

void AudioWidget::outputPicked(int index)
{
    const QString deviceName = outputBox->itemData(index).toString();
    engine->setChosenOutput(deviceName);
    emit sigOutputChosen(deviceName);
    fillOutputBox();
}

void AudioWidget::outputLost(const QString &deviceName)
{
    lostMessage = tr("The output %1 went away: playback stopped.").arg(deviceName);
    fillOutputBox();
    lostMessage.clear();
}

void AudioWidget::updateOutputLine()
{
    const QString name = engine->audioOutputDevice().deviceName();
    QString line;
    if (!engine->chosenOutput().isEmpty() && name == engine->chosenOutput())
        line = tr("Playing on %1, as chosen.").arg(name);
    else if (kitDeviceRank(name, alsaCardNames()) > 0)
        line = tr("Playing on the kit's audio device (%1).").arg(name);
    else if (name.isEmpty() || name == QLatin1String("default"))
        line = tr("The kit's audio device was not found: playing on the system's default output.");
    else
        line = tr("The kit's audio device was not found: playing on the default output (%1).")
                   .arg(name);
    outputLabel->setText(lostMessage.isEmpty() ? line : lostMessage + ' ' + line);
}

void AudioWidget::stopPlayback()
{
    if (engine)
        engine->suspend();
}

void AudioWidget::stateChanged(QAudio::Mode, QAudio::State)
{
    updateButtonStates();
}

void AudioWidget::formatChanged(const QAudioFormat &format)
{
    infoMessage(formatToString(format), NoTimeout);
}

void AudioWidget::bufferLengthChanged(qint64 length)
{
    progressBar->bufferLengthChanged(length);
}

void AudioWidget::spectrumChanged(qint64 position, qint64 length, const FrequencySpectrum &)
{
    progressBar->windowChanged(position, length);
}

void AudioWidget::infoMessage(const QString &message, int timeoutMs)
{
    infoMessageLabel->setText(message);
    if (infoMessageTimerId != -1) {
        killTimer(infoMessageTimerId);
        infoMessageTimerId = -1;
    }
    if (timeoutMs != NoTimeout)
        infoMessageTimerId = startTimer(timeoutMs, Qt::CoarseTimer);
}

void AudioWidget::errorMessage(const QString &heading, const QString &detail)
{
    QMessageBox::warning(this, heading, detail, QMessageBox::Close);
}

void AudioWidget::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != infoMessageTimerId)
        return QWidget::timerEvent(event);
    killTimer(infoMessageTimerId);
    infoMessageTimerId = -1;
    infoMessageLabel->clear();
}

void AudioWidget::showFileDialog()
{
    const QStringList fileNames = QFileDialog::getOpenFileNames(this, tr("Open WAV file"),
                                                                QString(), QStringLiteral("*.wav"));
    if (fileNames.isEmpty())
        return;
    reset();
    engine->loadFile(fileNames.first());
    updateButtonStates();
}

void AudioWidget::updateButtonStates()
{
    const QAudio::State state = engine->state();
    const bool playing = state == QAudio::ActiveState || state == QAudio::IdleState;
    stopButton->setEnabled(playing);
    playButton->setEnabled(!(engine->mode() == QAudio::AudioOutput && playing));
    emit sigUpdateEnable(!playing);
}

void AudioWidget::reset()
{
    engine->reset();
    progressBar->reset();
}

void AudioWidget::createModeMenu()
{
    if (generateToneAction)
        return;
    modeButton->setMenu(modeMenu);
    generateToneAction = modeMenu->addAction(tr("Play generated tone"));
    generateToneAction->setObjectName(QStringLiteral("generateToneAction"));
    generateToneAction->setCheckable(true);
    loadFileAction = modeMenu->addAction(tr("Play file"));
    loadFileAction->setObjectName(QStringLiteral("loadFileAction"));
    loadFileAction->setCheckable(true);
    connect(generateToneAction, SIGNAL(triggered(bool)), this, SLOT(showToneGeneratorDialog()));
    connect(loadFileAction, SIGNAL(triggered(bool)), this, SLOT(showFileDialog()));
}

void AudioWidget::showToneGeneratorDialog()
{
    if (toneGeneratorDialog->exec() != QDialog::Accepted) {
        updateModeMenu();
        return;
    }
    reset();
    setMode(GenerateToneMode);
    if (toneGeneratorDialog->isFrequencySweepEnabled()) {
        engine->generateSweptTone(toneGeneratorDialog->amplitude());
    } else {
        Tone tone;
        tone.frequency = toneGeneratorDialog->frequency();
        tone.amplitude = toneGeneratorDialog->amplitude();
        engine->generateTone(tone);
        updateButtonStates();
    }
}

void AudioWidget::updateModeMenu()
{
    // The actions exist only once the menu has been made.
    if (loadFileAction)
        loadFileAction->setChecked(mode == LoadFileMode);
    if (generateToneAction)
        generateToneAction->setChecked(mode == GenerateToneMode);
}

void AudioWidget::setMode(int mode)
{
    this->mode = mode;
    updateModeMenu();
}
