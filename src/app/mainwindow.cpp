#include "mainwindow.h"

#include "audio/audiowidget.h"
#include "audiosettings/audiosettingscontroller.h"
#include "constants.h"
#include "kit/settingsfile.h"
#include "kitlogdock.h"
#include "link/linkaction.h"
#include "link/serialcontroller.h"
#include "link/wire.h"
#include "pagescrollarea.h"
#include "registers/registercontroller.h"
#include "registers/registerwidget.h"
#include "sensing/sensingcontroller.h"
#include "sensing/sensingwidget.h"
#include "sensing/thresholdcalibratorcontroller.h"
#include "sensing/thresholdcalibratorwidget.h"

#include <QAction>
#include <QComboBox>
#include <QCoreApplication>
#include <QDir>
#include <QFileDialog>
#include <QFrame>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QSet>
#include <QSettings>
#include <QStatusBar>
#include <QTabWidget>
#include <QThread>
#include <QVBoxLayout>

namespace {

const QString FIRST_BOOT_KEY = QStringLiteral("first_boot");

const QString FIRMWARE_PREFIX = QStringLiteral("Firmware ID: ");
const QString CHIP_PREFIX = QStringLiteral("Chip ID: ");

// The state buttons' texts carry their mnemonics; each is compared whole.
const QString POWER_DOWN = QStringLiteral("&Power Down");
const QString POWER_UP = QStringLiteral("&Power Up");
const QString START_OSCILLATOR = QStringLiteral("Start &Oscillator on SDO");
const QString STOP_OSCILLATOR = QStringLiteral("Stop &Oscillator on SDO");
const QString DISABLE_OUTPUT = QStringLiteral("Disable All O&utput");
const QString ENABLE_OUTPUT = QStringLiteral("Enable All O&utput");
const QString DEACTIVATE_SENSING = QStringLiteral("Deactivate &Sensing");
const QString ACTIVATE_SENSING = QStringLiteral("Activate &Sensing");

const QString GREEN_STYLE = QStringLiteral(
    "QLabel { background-color : #5DFC0A; color : black; padding: 5px 5px 5px 5px; }");
const QString YELLOW_STYLE =
    QStringLiteral("QLabel { background-color : yellow; color : black;padding: 5px 5px 5px 5px; }");
const QString RED_STYLE = QStringLiteral(
    "QLabel { background-color : \t#FF0000; color : white; padding: 5px 5px 5px 5px; }");
const QString START_STYLE =
    QStringLiteral("QLabel { background-color : red; color : white;padding: 5px 5px 5px 5px; }");
const QString CHANNEL_ACTIVE_STYLE = QStringLiteral(
    "QLabel { background-color : #5DFC0A; color : black;padding: 5px 5px 5px 5px; }");
const QString CHANNEL_INACTIVE_STYLE =
    QStringLiteral("QLabel { background-color : red; color : black;padding: 5px 5px 5px 5px; }");

constexpr int STATUS_LABEL_WIDTH = 100;
constexpr int IDENTIFIER_LABEL_WIDTH = 200;
constexpr unsigned long PORT_SETTLE_MS = 200;

constexpr quint16 CHIP_ID_REV_B = 0x2466;
constexpr quint16 CHIP_ID_REV_C = 0x246A;

QLabel *statusLabel(const QString &objectName, QWidget *parent)
{
    auto *label = new QLabel(parent);
    label->setObjectName(objectName);
    label->setFixedWidth(STATUS_LABEL_WIDTH);
    label->setAlignment(Qt::AlignCenter);
    return label;
}

// Widens a status label, never below its usual width, to the longest of the texts
// it shows, measured with its own font and each text's style sheet.
void fitStatusLabel(QLabel *label, const QList<QPair<QString, QString>> &states)
{
    const QString text = label->text();
    const QString style = label->styleSheet();
    int width = STATUS_LABEL_WIDTH;
    for (const auto &state : states) {
        label->setText(state.first);
        label->setStyleSheet(state.second);
        width = qMax(width, label->sizeHint().width());
    }
    label->setText(text);
    label->setStyleSheet(style);
    label->setFixedWidth(width);
}

QPushButton *button(const QString &text, const QString &objectName, QWidget *parent)
{
    auto *pushButton = new QPushButton(text, parent);
    pushButton->setObjectName(objectName);
    return pushButton;
}

// A revision value as the chip message shows it: its letter, or the stored number
// when that names no revision.
QString revisionText(int revision)
{
    if (revision == CHIPID_REV_B || revision == CHIPID_REV_C)
        return QChar(revision);
    return QStringLiteral("unknown (%1)").arg(revision);
}

// Chips of unknown identifier already announced in this run: each is announced
// once, however often the kit comes back or the program restarts for it.
QSet<quint16> &announcedUnknownChips()
{
    static QSet<quint16> announced;
    return announced;
}

} // namespace

MainWindow::MainWindow(PortEnumerator enumerate, QWidget *parent) : QMainWindow(parent)
{
    serial = new SerialController(std::move(enumerate));
    registers = new RegisterController(serial);
    sensing = new SensingController(serial);
    audioSettings = new AudioSettingsController(serial);
    calibrator = new ThresholdCalibratorController(serial);
    transfer = new KitTransfer(serial, registers, sensing, audioSettings);

    createUi();
    setControlsEnabled(false);
    connectUi();
    serial->startTimer();
}

MainWindow::~MainWindow()
{
    delete transfer;
    delete registers;
    delete sensing;
    delete audioSettings;
    delete calibrator;
    delete serial;
    // Its audio output runs the event loop once as it goes, which must find the window
    // whole, and without a link that could call on the page meanwhile.
    delete audioPage;
    audioPage = nullptr;
}

void MainWindow::createUi()
{
    auto *central = new QWidget(this);
    central->setObjectName(QStringLiteral("centralWidget"));
    auto *layout = new QVBoxLayout(central);
    createMenus(layout);

    auto *row = new QHBoxLayout;
    row->addLayout(createControlColumn());
    row->addWidget(createTabs());
    layout->addLayout(row);
    setCentralWidget(central);

    createStatusBar();
    // The application's name, or what the demo calls itself.
    setWindowTitle(QGuiApplication::applicationDisplayName());
}

void MainWindow::createMenus(QVBoxLayout *layout)
{
    // The menu bar lies inside the central widget rather than in the window's frame.
    auto *menus = new QMenuBar;
    menus->setObjectName(QStringLiteral("menuBar"));
    QMenu *fileMenu = menus->addMenu(QStringLiteral("&File"));
    fileMenu->setObjectName(QStringLiteral("fileMenu"));
    openAction = fileMenu->addAction(QStringLiteral("&Open"));
    openAction->setObjectName(QStringLiteral("openAction"));
    openAction->setShortcut(QKeySequence::Open);
    saveAction = fileMenu->addAction(QStringLiteral("&Save"));
    saveAction->setObjectName(QStringLiteral("saveAction"));
    saveAction->setShortcut(QKeySequence::Save);
    exitAction = fileMenu->addAction(QStringLiteral("E&xit"));
    exitAction->setObjectName(QStringLiteral("exitAction"));
    kitLog = new KitLogDock(serial, {registers, sensing, audioSettings, calibrator}, this);
    menus->addMenu(kitLog->createViewMenu(menus));
    QMenu *helpMenu = menus->addMenu(QStringLiteral("&Help"));
    helpMenu->setObjectName(QStringLiteral("helpMenu"));
    aboutAction = helpMenu->addAction(QStringLiteral("&About"));
    aboutAction->setObjectName(QStringLiteral("aboutAction"));
    layout->setMenuBar(menus);
}

QVBoxLayout *MainWindow::createControlColumn()
{
    auto *column = new QVBoxLayout;

    firmwareLabel = new QLabel(FIRMWARE_PREFIX);
    firmwareLabel->setObjectName(QStringLiteral("firmwareLabel"));
    firmwareLabel->setFixedWidth(IDENTIFIER_LABEL_WIDTH);
    column->addWidget(firmwareLabel);
    chipLabel = new QLabel(CHIP_PREFIX);
    chipLabel->setObjectName(QStringLiteral("chipLabel"));
    column->addWidget(chipLabel);

    loadFromDeviceButton = button(QStringLiteral("&Load from Device"),
                                  QStringLiteral("loadFromDeviceButton"), nullptr);
    column->addWidget(loadFromDeviceButton);
    sendToDeviceButton =
        button(QStringLiteral("Send to &Device"), QStringLiteral("sendToDeviceButton"), nullptr);
    column->addWidget(sendToDeviceButton);
    sendAndSaveButton = button(QStringLiteral("Send to Device && Save to &EEPROM"),
                               QStringLiteral("sendAndSaveButton"), nullptr);
    column->addWidget(sendAndSaveButton);
    column->addStretch();

    auto *oscillatorRow = new QHBoxLayout;
    oscillatorChannelCombo = new QComboBox;
    oscillatorChannelCombo->setObjectName(QStringLiteral("oscillatorChannelCombo"));
    oscillatorChannelCombo->addItems({QStringLiteral("A"), QStringLiteral("B")});
    oscillatorChannelCombo->setCurrentIndex(0);
    oscillatorRow->addWidget(oscillatorChannelCombo);
    oscillatorButton = button(START_OSCILLATOR, QStringLiteral("oscillatorButton"), nullptr);
    oscillatorRow->addWidget(oscillatorButton);
    column->addLayout(oscillatorRow);

    auto *line = new QFrame;
    line->setObjectName(QStringLiteral("separatorLine"));
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Sunken);
    column->addWidget(line);

    outputButton = button(DISABLE_OUTPUT, QStringLiteral("outputButton"), nullptr);
    column->addWidget(outputButton);
    sensingButton = button(DEACTIVATE_SENSING, QStringLiteral("sensingButton"), nullptr);
    column->addWidget(sensingButton);
    powerButton = button(POWER_DOWN, QStringLiteral("powerButton"), nullptr);
    column->addWidget(powerButton);
    return column;
}

QTabWidget *MainWindow::createTabs()
{
    tabWidget = new QTabWidget;
    tabWidget->setObjectName(QStringLiteral("tabWidget"));

    audioPage = new AudioWidget(nullptr);
    audioPage->setObjectName(QStringLiteral("audioWidget"));
    tabWidget->addTab(new PageScrollArea(audioPage), QStringLiteral("Audio"));
    registerPage = new RegisterWidget(nullptr);
    registerPage->setObjectName(QStringLiteral("registerWidget"));
    tabWidget->addTab(new PageScrollArea(registerPage), QStringLiteral("Register Config"));
    sensingPage = new SensingWidget(nullptr);
    sensingPage->setObjectName(QStringLiteral("sensingWidget"));
    tabWidget->addTab(new PageScrollArea(sensingPage), QStringLiteral("Sensing Config"));
    calibratorPage = new ThresholdCalibratorWidget(nullptr);
    calibratorPage->setObjectName(QStringLiteral("thresholdCalibratorWidget"));
    tabWidget->addTab(new PageScrollArea(calibratorPage), QStringLiteral("Force Measurement"));
    return tabWidget;
}

void MainWindow::createStatusBar()
{
    saveLabel = statusLabel(QStringLiteral("saveLabel"), this);
    syncLabel = statusLabel(QStringLiteral("syncLabel"), this);
    connectionLabel = statusLabel(QStringLiteral("connectionLabel"), this);
    connectionLabel->setText(QStringLiteral("Not Connected"));
    connectionLabel->setStyleSheet(START_STYLE);
    // The labels' words are short; what they refer to is told in their tool tips.
    saveLabel->setToolTip(QStringLiteral(
        "Whether the kit's EEPROM holds these settings, so that the kit keeps them when it "
        "is switched off: \"Saved\" after \"Send to Device & Save to EEPROM\", \"Not "
        "Saved\" after any change since. File, Save does not change it."));
    syncLabel->setToolTip(QStringLiteral(
        "Whether the kit has received the settings these pages show: \"Up To Date\" after "
        "they were loaded from or sent to the kit, \"Pending Changes\" after a change made "
        "here that the kit has not received yet."));
    connectionLabel->setToolTip(
        QStringLiteral("The serial link to the kit: \"Connected\" while the kit's USB serial "
                       "port is open, \"Not Connected\" while no kit is found or its port "
                       "cannot be opened."));
    statusBar()->addPermanentWidget(saveLabel);
    statusBar()->addPermanentWidget(syncLabel);
    statusBar()->addPermanentWidget(connectionLabel);
    connect(serial, &SerialController::sigDeviceConnected, this, &MainWindow::onDeviceConnected);

    // No command asks the kit which channels are active, so these two only follow
    // setActivatedChannels; they stay hidden until something shows them.
    channelALabel = statusLabel(QStringLiteral("channelALabel"), this);
    channelALabel->setText(QStringLiteral("Channel A"));
    channelALabel->setStyleSheet(CHANNEL_INACTIVE_STYLE);
    channelALabel->hide();
    channelBLabel = statusLabel(QStringLiteral("channelBLabel"), this);
    channelBLabel->setText(QStringLiteral("Channel B"));
    channelBLabel->setStyleSheet(CHANNEL_INACTIVE_STYLE);
    channelBLabel->hide();

    markNotSaved();
    syncLabel->setText(QStringLiteral("Pending Changes"));
    syncLabel->setStyleSheet(YELLOW_STYLE);

    fitStatusLabel(saveLabel, {{QStringLiteral("Not Saved"), YELLOW_STYLE},
                               {QStringLiteral("Saved"), GREEN_STYLE}});
    fitStatusLabel(syncLabel, {{QStringLiteral("Pending Changes"), YELLOW_STYLE},
                               {QStringLiteral("Up To Date"), GREEN_STYLE}});
    fitStatusLabel(connectionLabel, {{QStringLiteral("Connected"), GREEN_STYLE},
                                     {QStringLiteral("Not Connected"), RED_STYLE},
                                     {QStringLiteral("Not Connected"), START_STYLE}});
}

void MainWindow::connectUi()
{
    // Runs after onDeviceConnected, so the whole connection sequence happens while
    // the controls are still disabled.
    connect(serial, &SerialController::sigDeviceConnected, this, &MainWindow::setControlsEnabled);

    connect(registerPage, &RegisterWidget::sigSendRegister, registers,
            &RegisterController::sendRegister);
    connect(registerPage, &RegisterWidget::sigSendRegisterVoid, this,
            &MainWindow::deactivateSensing);
    connect(registerPage, &RegisterWidget::sigReadRegisters, registers,
            &RegisterController::readRegisters);
    connect(registerPage, &RegisterWidget::sigRegisterUpdated, registers,
            &RegisterController::updateSettings);
    connect(registerPage, &RegisterWidget::sigRegisterUpdated, this,
            &MainWindow::markPendingChanges);

    // The reads of an identifier's reply are gathered, and the connection judges the
    // whole reply once.
    connect(registers, &RegisterController::sigSetFirmwareId, this,
            [this](const QString &id) { firmwareReply = firmwareReply.value_or(QString()) + id; });
    connect(registers, &RegisterController::sigSetChipId, this,
            [this](const QByteArray &id) { chipReply = chipReply.value_or(QByteArray()) + id; });
    connect(registers, &RegisterController::sigActivatedChannels, this,
            &MainWindow::setActivatedChannels);

    connect(sensingPage, &SensingWidget::sigSend, sensing, &SensingController::sendSettings);
    connect(sensing, &SensingController::sigUpdateUi, sensingPage, &SensingWidget::updateUi);
    connect(sensingPage, &SensingWidget::sigValueChanged, this, &MainWindow::markPendingChanges);

    connect(audioSettings, &AudioSettingsController::sigUpdateUi, audioPage,
            &AudioWidget::sigUpdateUi);
    connect(audioPage, &AudioWidget::sigAudioSettingUpdated, this, &MainWindow::markPendingChanges);
    connect(audioPage, &AudioWidget::sigUpdateEnable, this, &MainWindow::setControlsEnabled);
    // The output chosen on the Audio tab is a view setting, kept out of the session.
    audioPage->setChosenOutput(
        QSettings(QSettings::IniFormat, QSettings::UserScope, ORG_NAME, VIEW_SETTINGS_NAME)
            .value(AUDIO_OUTPUT_KEY)
            .toString());
    connect(audioPage, &AudioWidget::sigOutputChosen, this, [](const QString &deviceName) {
        QSettings(QSettings::IniFormat, QSettings::UserScope, ORG_NAME, VIEW_SETTINGS_NAME)
            .setValue(AUDIO_OUTPUT_KEY, deviceName);
    });

    connect(calibratorPage, &ThresholdCalibratorWidget::sigCalibrateThreshold, calibrator,
            &ThresholdCalibratorController::setMaxThreshold);
    connect(calibratorPage, &ThresholdCalibratorWidget::sigGetMaxThreshold, calibrator,
            &ThresholdCalibratorController::getMaxThreshold);
    connect(calibrator, &ThresholdCalibratorController::sigKitReading, calibratorPage,
            &ThresholdCalibratorWidget::setKitReading);
    connect(calibrator, &ThresholdCalibratorController::sigSetMaxThreshold, calibratorPage,
            &ThresholdCalibratorWidget::setMaxThreshold);
    connect(calibratorPage, &ThresholdCalibratorWidget::sigEnableSensing, this,
            &MainWindow::activateSensing);

    // The window's pages are its view of the session: what the sensing panels show and
    // the register rows go out, and the sensing button's text is the kit's state.
    KitTransfer::Views views;
    views.sendable = [this] { return registerPage->readyToSend(); };
    views.sendSensing = [this] { sensingPage->send(); };
    views.sendRegisters = [this] { return registerPage->sendAll(); };
    views.readRegisters = [this] { registerPage->readAll(); };
    views.sensingCanSwitch = [this](bool active) {
        return sensingButton->text() == (active ? ACTIVATE_SENSING : DEACTIVATE_SENSING);
    };
    transfer->setViews(views);
    connect(transfer, &KitTransfer::sigSensingChanged, this, [this](bool active) {
        sensingButton->setText(active ? DEACTIVATE_SENSING : ACTIVATE_SENSING);
    });

    connect(exitAction, &QAction::triggered, qApp, &QCoreApplication::quit);
    connect(saveAction, &QAction::triggered, this, &MainWindow::saveSettingsFile);
    connect(openAction, &QAction::triggered, this, &MainWindow::openSettingsFile);
    connect(aboutAction, &QAction::triggered, this, &MainWindow::showAbout);

    connect(loadFromDeviceButton, &QPushButton::released, this, &MainWindow::loadFromDevice);
    connect(sendToDeviceButton, &QPushButton::released, this, &MainWindow::sendToDevice);
    connect(sendAndSaveButton, &QPushButton::released, this, &MainWindow::sendAndSave);
    connect(powerButton, &QPushButton::released, this, &MainWindow::togglePower);
    connect(oscillatorButton, &QPushButton::released, this, &MainWindow::toggleOscillator);
    connect(sensingButton, &QPushButton::released, this, &MainWindow::toggleSensing);
    connect(outputButton, &QPushButton::released, this, &MainWindow::toggleOutput);
}

void MainWindow::setControlsEnabled(bool enabled)
{
    loadFromDeviceButton->setEnabled(enabled);
    sendToDeviceButton->setEnabled(enabled);
    sendAndSaveButton->setEnabled(enabled);
    powerButton->setEnabled(enabled);
    oscillatorButton->setEnabled(enabled);
    oscillatorChannelCombo->setEnabled(enabled);
    sensingButton->setEnabled(enabled);
    registerPage->setEnabled(enabled);
    audioPage->setEnabled(enabled);
    outputButton->setEnabled(enabled);
    calibratorPage->setEnabled(enabled);
}

void MainWindow::countLinkFault()
{
    transfer->countLinkFault();
}

void MainWindow::onDeviceConnected(bool connected)
{
    const LinkAction action;
    if (!connected) {
        countLinkFault();
        restartedForChip = false; // the kit that made the restart is gone
        audioPage->stopPlayback();
        connectionLabel->setText(QStringLiteral("Not Connected"));
        connectionLabel->setStyleSheet(RED_STYLE);
        firmwareLabel->setText(FIRMWARE_PREFIX);
        chipLabel->setText(CHIP_PREFIX);
        channelALabel->setStyleSheet(CHANNEL_INACTIVE_STYLE);
        channelBLabel->setStyleSheet(CHANNEL_INACTIVE_STYLE);
        markPendingChanges();
        return;
    }

    connectionLabel->setText(QStringLiteral("Connected"));
    connectionLabel->setStyleSheet(GREEN_STYLE);
    // The kit needs a moment after the port opens before it takes a command.
    QThread::msleep(PORT_SETTLE_MS);
    // Each identifier is judged once, on its whole reply. A reply that broke has been told
    // of by the link: the kit is then neither checked further nor read into the session.
    const int faults = transfer->linkFaults();
    firmwareReply.reset();
    serial->sendData(QByteArray("="), 1, 3, ReadFirmwareId);
    if (firmwareReply && transfer->linkFaults() == faults)
        setFirmwareId(*firmwareReply);
    chipReply.reset();
    if (transfer->linkFaults() == faults)
        serial->sendData(QByteArray("H"), 1, 3, ReadChipId);
    if (chipReply && transfer->linkFaults() == faults)
        setChipId(*chipReply);
    const bool identified = transfer->linkFaults() == faults;
    // Quitting only now lets the chip's message show too; a quit asked for earlier would
    // close every message box that follows at once.
    if (firmwareRefused)
        QCoreApplication::quit();
    markPendingChanges();

    oscillatorButton->setText(START_OSCILLATOR);
    sensingButton->setText(DEACTIVATE_SENSING);
    powerButton->setText(POWER_DOWN);
    outputButton->setText(DISABLE_OUTPUT);

    if (identified && !firmwareRefused) // a refused kit's values are not read into the session
        checkFirstBoot();
    audioPage->rescanAudioDevices();
}

void MainWindow::setFirmwareId(QString id)
{
    if (id != COMPATIBLE_FIRMWARE_VERSION) {
        serial->showMessage(QStringLiteral("Firmware version not compatible \nCurrent version: ") +
                            id + QStringLiteral("\nCompatible version: ") +
                            COMPATIBLE_FIRMWARE_VERSION);
        firmwareRefused = true;
    }
    firmwareLabel->setText(FIRMWARE_PREFIX + id);
}

void MainWindow::setChipId(QByteArray data)
{
    const quint16 id = bytesToInt(data);
    QString text =
        QStringLiteral("0x") + QStringLiteral("%1").arg(id, 4, 16, QLatin1Char('0')).toUpper();
    int revision = 0;
    if (id == CHIP_ID_REV_B) {
        revision = CHIPID_REV_B;
        text += QStringLiteral(" (Rev B)");
    } else if (id == CHIP_ID_REV_C) {
        revision = CHIPID_REV_C;
        text += QStringLiteral(" (Rev C)");
    }
    chipLabel->setText(CHIP_PREFIX + text);

    QSettings settings;
    const int stored = settings.value(CHIPID_KEY, 0).toInt();
    if (quint16(revision) == quint16(stored))
        return;
    // An unknown chip is worked with through the map of revision C.
    const bool unknown = revision == 0;
    const bool announce = !unknown || !announcedUnknownChips().contains(id);
    if (unknown) {
        announcedUnknownChips().insert(id);
        if (quint16(stored) == CHIPID_REV_C) {
            if (announce)
                serial->showMessage(QStringLiteral("Chip ID %1 is not known\nThe register map of "
                                                   "revision C is used.")
                                        .arg(text));
            return;
        }
    }
    const QString current = unknown ? QStringLiteral("unknown (%1), worked with as C").arg(text)
                                    : revisionText(revision);
    if (restartedForChip) {
        // The same kit told another revision before this pass began: restarting again
        // would clear the session at each pass for as long as the kit keeps changing.
        restartedForChip = false;
        serial->showMessage(QStringLiteral("Chip ID revision is unstable\nCurrent Revision: ") +
                            current + QStringLiteral("\nPrevious Revision: ") +
                            revisionText(stored) +
                            QStringLiteral("\nThe register map of the session is kept."));
        return;
    }
    // A session that never read a kit has no chip of its own to have changed from.
    const bool neverConnected = settings.value(FIRST_BOOT_KEY, true).toBool();
    if (announce && neverConnected && !unknown) {
        serial->showMessage(
            QStringLiteral("Chip ID revision %1 found\nThe register map of revision %1 is loaded.")
                .arg(current));
    } else if (announce) {
        serial->showMessage(QStringLiteral("Chip ID revision has changed\nCurrent Revision: ") +
                            current + QStringLiteral("\nPrevious Revision: ") +
                            revisionText(stored));
    }
    if (firmwareRefused)
        return; // the pass ends with 0: the session is neither cleared nor restarted
    QCoreApplication::exit(revision == CHIPID_REV_B ? EXIT_CODE_RESTART_REV_B
                                                    : EXIT_CODE_RESTART_REV_C);
}

void MainWindow::setActivatedChannels(QString activatedChannels)
{
    const QLatin1Char active('1');
    channelALabel->setStyleSheet(activatedChannels.startsWith(active) ? CHANNEL_ACTIVE_STYLE
                                                                      : CHANNEL_INACTIVE_STYLE);
    channelBLabel->setStyleSheet(activatedChannels.endsWith(active) ? CHANNEL_ACTIVE_STYLE
                                                                    : CHANNEL_INACTIVE_STYLE);
}

void MainWindow::markUpToDate()
{
    syncLabel->setText(QStringLiteral("Up To Date"));
    syncLabel->setStyleSheet(GREEN_STYLE);
}

void MainWindow::markPendingChanges()
{
    syncLabel->setText(QStringLiteral("Pending Changes"));
    syncLabel->setStyleSheet(YELLOW_STYLE);
    markNotSaved();
}

void MainWindow::markSaved()
{
    saveLabel->setText(QStringLiteral("Saved"));
    saveLabel->setStyleSheet(GREEN_STYLE);
}

void MainWindow::markNotSaved()
{
    saveLabel->setText(QStringLiteral("Not Saved"));
    saveLabel->setStyleSheet(YELLOW_STYLE);
}

void MainWindow::showAbout()
{
    QMessageBox::about(this, QStringLiteral("About ") + APP_NAME, ABOUT_TEXT);
}

void MainWindow::saveSettingsFile()
{
    // The dialog adds ".ini" to a name typed without a suffix before it asks about
    // replacing a file, so that the Open dialog's filter shows the copy later.
    QFileDialog dialog(this, tr("Save Settings"), QDir::currentPath(), tr("INI File (*.ini)"));
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setDefaultSuffix(QStringLiteral("ini"));
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return;
    const QString fileName = withIniSuffix(dialog.selectedFiles().constFirst());
    if (fileName.isEmpty())
        return;
    QString error;
    if (!saveSettingsTo(fileName, &error))
        QMessageBox::warning(this, tr("Save Settings"),
                             tr("The session was not saved to %1:\n%2")
                                 .arg(QDir::toNativeSeparators(fileName), error));
}

void MainWindow::openSettingsFile()
{
    const QString fileName =
        QFileDialog::getOpenFileName(this, QStringLiteral("Open Settings"), QDir::currentPath(),
                                     QStringLiteral("INI Files (*.ini)"));
    if (fileName.isEmpty())
        return;
    QString error;
    if (!loadSettingsFrom(fileName, &error)) {
        QMessageBox::warning(this, QStringLiteral("Open Settings"),
                             tr("The session was not opened from %1:\n%2\n"
                                "The current session is kept.")
                                 .arg(QDir::toNativeSeparators(fileName), error));
        return;
    }
    QCoreApplication::exit(EXIT_CODE_RESTART);
}

// A load that lost the kit on the way read only part of it: the labels stay.
void MainWindow::loadFromDevice()
{
    const LinkAction action;
    setCursor(Qt::WaitCursor);
    if (transfer->load() == KitTransfer::Result::Whole)
        markUpToDate();
    setCursor(Qt::ArrowCursor);
}

// A session that cannot be sent leaves the kit and the labels as they were.
bool MainWindow::refused(KitTransfer::Result result)
{
    if (result != KitTransfer::Result::Refused)
        return false;
    QMessageBox box(QMessageBox::Warning, QString(), RegisterWidget::SendFailText, QMessageBox::Ok,
                    this);
    box.exec();
    return true;
}

void MainWindow::sendToDevice()
{
    const LinkAction action;
    setCursor(Qt::WaitCursor);
    const KitTransfer::Result result = transfer->send();
    setCursor(Qt::ArrowCursor);
    if (result == KitTransfer::Result::Whole)
        markUpToDate();
    refused(result);
}

// The kit keeps what did go out; only a whole send counts as up to date and saved.
void MainWindow::sendAndSave()
{
    const LinkAction action;
    setCursor(Qt::WaitCursor);
    const KitTransfer::Result result = transfer->sendAndSave();
    setCursor(Qt::ArrowCursor);
    if (result == KitTransfer::Result::Whole) {
        markUpToDate();
        markSaved();
    }
    refused(result);
}

void MainWindow::activateSensing()
{
    transfer->activateSensing();
}

void MainWindow::deactivateSensing()
{
    transfer->deactivateSensing();
}

void MainWindow::toggleSensing()
{
    const LinkAction action;
    if (sensingButton->text() == ACTIVATE_SENSING)
        activateSensing();
    else
        deactivateSensing();
}

void MainWindow::toggleOscillator()
{
    const LinkAction action;
    const int channel = oscillatorChannelCombo->currentIndex();
    if (oscillatorButton->text() == START_OSCILLATOR) {
        oscillatorButton->setText(STOP_OSCILLATOR);
        transfer->startOscillator(channel);
        setControlsEnabled(false);
        oscillatorButton->setEnabled(true);
    } else if (oscillatorButton->text() == STOP_OSCILLATOR) {
        oscillatorButton->setText(START_OSCILLATOR);
        transfer->stopOscillator(channel);
        setControlsEnabled(true);
    }
}

void MainWindow::toggleOutput()
{
    const LinkAction action;
    if (outputButton->text() == DISABLE_OUTPUT) {
        outputButton->setText(ENABLE_OUTPUT);
        transfer->setOutput(false);
        audioPage->setEnabled(false);
    } else if (outputButton->text() == ENABLE_OUTPUT) {
        outputButton->setText(DISABLE_OUTPUT);
        transfer->setOutput(true);
        audioPage->setEnabled(true);
    }
}

void MainWindow::togglePower()
{
    const LinkAction action;
    if (powerButton->text() == POWER_DOWN) {
        powerButton->setText(POWER_UP);
        transfer->powerDown();
        setControlsEnabled(false);
        powerButton->setEnabled(true);
    } else if (powerButton->text() == POWER_UP) {
        powerButton->setText(POWER_DOWN);
        transfer->powerUp();
        setControlsEnabled(true);
    }
}

void MainWindow::checkFirstBoot()
{
    {
        QSettings settings;
        if (!settings.contains(FIRST_BOOT_KEY)) {
            settings.setValue(FIRST_BOOT_KEY, true);
            settings.sync();
        }
        if (!settings.value(FIRST_BOOT_KEY).toBool())
            return;
    }
    if (!serial->isConnected())
        return;
    const int faults = transfer->linkFaults();
    loadFromDevice();
    if (transfer->linkFaults() != faults)
        return; // the kit was not read whole: the next connection reads it again
    QSettings settings;
    settings.setValue(FIRST_BOOT_KEY, false);
    settings.sync();
}
