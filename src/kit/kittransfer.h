#pragma once

#include "link/exchangeend.h"
#include "link/readtype.h"

#include <QList>
#include <QObject>
#include <QString>
#include <functional>

class AudioSettingsController;
class RegisterController;
class SensingController;
class SerialController;

// One register word as a send writes it: the channel, the address and the packed data.
struct RegisterWord
{
    int channel = 0;
    int address = 0;
    int data = 0; // the 12 data bits
};

// The kit's transfers (Load, Send, Send & Save) and its state commands, composed of
// the subsystems' controllers, for the window and the command-line tool alike: the
// commands in their order, the judging of a session before any byte of a send leaves,
// and the count of the link faults met on the way. It knows no widget; a view that
// shows the session in a form of its own hands in how its parts go out (setViews).
class KitTransfer : public QObject
{
    Q_OBJECT
public:
    enum class Result
    {
        Whole,   // everything went out (or came in) over one unbroken link
        Refused, // the session cannot be sent: nothing was written (refusal() says why)
        Broken   // some of it did not pass, or the kit was lost on the way
    };

    KitTransfer(SerialController *serial, RegisterController *registers, SensingController *sensing,
                AudioSettingsController *audioSettings, QObject *parent = nullptr);

    // How a view sends or reads its parts. Unset ones work from the settings file.
    struct Views
    {
        std::function<bool()> sendable;      // the view's own judging, beside the session's
        std::function<void()> sendSensing;   // both channels' nineteen "2" commands
        std::function<bool()> sendRegisters; // the "0" commands; false when not all went
        std::function<void()> readRegisters; // "4" and whatever the view shows after
        // True when the kit's sensing, as the view keeps it, can be switched to `active`.
        std::function<bool(bool active)> sensingCanSwitch;
    };
    void setViews(const Views &views) { this->views = views; }

    Result load();
    Result send();
    Result sendAndSave();
    QString refusal() const { return refusalReason; }

    // Why the session cannot be sent (a field of a register that goes out holds a value
    // beyond its range or its width), or empty when it can.
    static QString judgeSession();
    // The register words a send writes, channel A first, in the order they go out.
    static QList<RegisterWord> registerWords();
    // The texts of the sensing entry that goes out for a channel, in wire order.
    static QStringList sensingTexts(int channel);

    void activateSensing();
    void deactivateSensing();
    void startOscillator(int channel);
    void stopOscillator(int channel);
    void setOutput(bool enabled);
    void powerDown();
    void powerUp();

    int linkFaults() const { return faults; }
    void countLinkFault() { ++faults; }

signals:
    // A "D" command went out: the view shows the new state.
    void sigSensingChanged(bool active);

private:
    void noteExchangeEnd(ReadType readType, ExchangeEnd end);
    bool sensingCanSwitch(bool active) const;
    Result sendParts();

    SerialController *serial;
    RegisterController *registers;
    SensingController *sensing;
    AudioSettingsController *audioSettings;
    Views views;
    QString refusalReason;
    bool sensingOn = true; // a kit starts with sensing on
    bool lost = false;     // the last send lost the kit
    // Exchanges that did not run their course, losses of the kit and replies not stored
    // so far; a transfer during which this grows did not pass whole.
    int faults = 0;
};
