#pragma once

#include "kit/kittransfer.h"
#include "link/exchangeend.h"
#include "link/portenumerator.h"
#include "link/readtype.h"

#include <QByteArray>
#include <QMainWindow>
#include <QString>
#include <optional>

class AudioSettingsController;
class AudioWidget;
class KitLogDock;
class QAction;
class QComboBox;
class QLabel;
class QPushButton;
class QTabWidget;
class QVBoxLayout;
class RegisterController;
class RegisterWidget;
class SensingController;
class SensingWidget;
class SerialController;
class ThresholdCalibratorController;
class ThresholdCalibratorWidget;

// The top-level window and the owner of everything a pass of the program runs on:
// the serial link, the four controllers and the four pages, which it wires together.
// The kit's power, output, oscillator and sensing state is the text of the button
// concerned; the session's state is the text of the status labels.
class MainWindow : public QMainWindow
{
    Q_OBJECT
public:
    explicit MainWindow(PortEnumerator enumerate = systemPorts, QWidget *parent = nullptr);
    ~MainWindow() override;

    // Enables or disables everything that acts on the kit. Has no memory: the
    // last caller decides.
    void setControlsEnabled(bool enabled);

    // The link came (true) or went (false): identifiers, checks and status.
    void onDeviceConnected(bool connected);
    void setFirmwareId(QString id);
    void setChipId(QByteArray data);
    // One character per channel, "1" when the channel is active: first A, last B.
    void setActivatedChannels(QString activatedChannels);

    void markUpToDate();
    void markPendingChanges();
    void markSaved();
    void markNotSaved();
    void showAbout();

    void saveSettingsFile();
    void openSettingsFile();

    void loadFromDevice();
    void sendToDevice();
    void sendAndSave();
    void activateSensing();
    void deactivateSensing();
    void toggleSensing();
    void toggleOscillator();
    void toggleOutput();
    void togglePower();
    void checkFirstBoot();
    // This pass follows a restart for a changed chip: a chip that changes again before
    // the kit goes is announced as unstable, and the session is kept.
    void setRestartedForChip(bool restarted) { restartedForChip = restarted; }

    SerialController *serialController() const { return serial; }
    RegisterController *registerController() const { return registers; }
    SensingController *sensingController() const { return sensing; }
    AudioSettingsController *audioSettingsController() const { return audioSettings; }
    ThresholdCalibratorController *thresholdCalibratorController() const { return calibrator; }
    KitTransfer *kitTransfer() const { return transfer; }
    AudioWidget *audioWidget() const { return audioPage; }
    RegisterWidget *registerWidget() const { return registerPage; }
    SensingWidget *sensingWidget() const { return sensingPage; }
    ThresholdCalibratorWidget *thresholdCalibratorWidget() const { return calibratorPage; }
    KitLogDock *kitLogDock() const { return kitLog; }

private:
    void createUi();
    void createMenus(QVBoxLayout *layout);
    QVBoxLayout *createControlColumn();
    QTabWidget *createTabs();
    void createStatusBar();
    void connectUi();
    void countLinkFault();
    // Shows what a send that judged the session unsendable says; true when it was so.
    bool refused(KitTransfer::Result result);

    SerialController *serial = nullptr;
    RegisterController *registers = nullptr;
    SensingController *sensing = nullptr;
    AudioSettingsController *audioSettings = nullptr;
    ThresholdCalibratorController *calibrator = nullptr;
    // The kit's transfers and state commands, shared with the command-line tool.
    KitTransfer *transfer = nullptr;

    QAction *openAction = nullptr;
    QAction *saveAction = nullptr;
    QAction *exitAction = nullptr;
    QAction *aboutAction = nullptr;

    QLabel *firmwareLabel = nullptr;
    QLabel *chipLabel = nullptr;
    QPushButton *loadFromDeviceButton = nullptr;
    QPushButton *sendToDeviceButton = nullptr;
    QPushButton *sendAndSaveButton = nullptr;
    QComboBox *oscillatorChannelCombo = nullptr;
    QPushButton *oscillatorButton = nullptr;
    QPushButton *outputButton = nullptr;
    QPushButton *sensingButton = nullptr;
    QPushButton *powerButton = nullptr;

    QTabWidget *tabWidget = nullptr;
    AudioWidget *audioPage = nullptr;
    RegisterWidget *registerPage = nullptr;
    SensingWidget *sensingPage = nullptr;
    ThresholdCalibratorWidget *calibratorPage = nullptr;
    KitLogDock *kitLog = nullptr; // no part of the session: a view of the link

    QLabel *saveLabel = nullptr;
    QLabel *syncLabel = nullptr;
    QLabel *connectionLabel = nullptr;
    QLabel *channelALabel = nullptr;
    QLabel *channelBLabel = nullptr;

    // Set by a firmware the program refuses: the pass ends with 0 once the chip has been
    // checked as well, and no restart may take its place.
    bool firmwareRefused = false;
    bool restartedForChip = false;
    // The reads of the identifier reply under way, joined; empty when none came.
    std::optional<QString> firmwareReply;
    std::optional<QByteArray> chipReply;
};
