#include "kittransfer.h"

#include "audiosettings/audiosettingscontroller.h"
#include "link/linkaction.h"
#include "link/serialcontroller.h"
#include "registers/registercontroller.h"
#include "registers/registerkeys.h"
#include "registers/registermodel.h"
#include "sensing/sensingcontroller.h"
#include "sensing/sensingparameters.h"
#include "sensing/sensingsettings.h"

#include <QSettings>
#include <QStringList>

namespace {

QString hex(int value)
{
    return QStringLiteral("0x") + QString::number(value, 16).toUpper();
}

// The registers a send writes, as the register page lays them out: channel A's
// registers in map order, the reserved ones only where the session shows them, each
// written where it is editable and the channel's map has it with the same fields.
template <typename Visit> void forEachSentRegister(Visit visit)
{
    if (channels.isEmpty() || !channels.at(0) || !channels.at(0)->registers)
        return;
    const bool showReserved = QSettings().value(SHOWRSVD_KEY, false).toBool();
    for (int channel = 0; channel < 2; ++channel) {
        for (const Register *row : qAsConst(*channels.at(0)->registers)) {
            if (!row || (row->hidden && !showReserved) || !row->editable)
                continue;
            const Register *reg = findRegister(quint16(channel), row->address);
            if (reg && reg->fields.size() == row->fields.size())
                visit(channel, *reg);
        }
    }
}

QList<FieldBits> bitsOf(const Register &reg)
{
    QList<FieldBits> bits;
    for (const Field &field : reg.fields)
        bits.append({field.value, field.length});
    return bits;
}

} // namespace

KitTransfer::KitTransfer(SerialController *serial, RegisterController *registers,
                         SensingController *sensing, AudioSettingsController *audioSettings,
                         QObject *parent)
    : QObject(parent), serial(serial), registers(registers), sensing(sensing),
      audioSettings(audioSettings)
{
    connect(serial, &SerialController::sigExchangeEnded, this, &KitTransfer::noteExchangeEnd);
    for (SerialDispatcher *dispatcher :
         {static_cast<SerialDispatcher *>(registers), static_cast<SerialDispatcher *>(sensing),
          static_cast<SerialDispatcher *>(audioSettings)})
        connect(dispatcher, &SerialDispatcher::sigReplyRejected, this,
                &KitTransfer::countLinkFault);
}

void KitTransfer::noteExchangeEnd(ReadType, ExchangeEnd end)
{
    if (end != ExchangeEnd::Written && end != ExchangeEnd::Silence)
        countLinkFault();
}

QString KitTransfer::judgeSession()
{
    QString reason;
    forEachSentRegister([&](int channel, const Register &reg) {
        if (!reason.isEmpty())
            return;
        const QString where =
            QStringLiteral("%1.%2").arg(QChar(channel == 0 ? 'A' : 'B'), reg.name);
        for (const Field &field : reg.fields) {
            if (field.value < field.min || field.value > field.max) {
                reason =
                    QStringLiteral("%1.%2 holds %3, outside its range %4 to %5")
                        .arg(where, field.name, hex(field.value), hex(field.min), hex(field.max));
                return;
            }
        }
        if (!fieldsFit(bitsOf(reg)))
            reason = QStringLiteral("%1 does not fit its fields into %2 bits")
                         .arg(where)
                         .arg(RegisterDataBits);
    });
    return reason;
}

QList<RegisterWord> KitTransfer::registerWords()
{
    QList<RegisterWord> words;
    forEachSentRegister([&](int channel, const Register &reg) {
        words.append({channel, int(reg.address), int(fieldsToData(bitsOf(reg)))});
    });
    return words;
}

QStringList KitTransfer::sensingTexts(int channel)
{
    QSettings settings;
    settings.beginReadArray(SensingArrayKey);
    settings.setArrayIndex(channel);
    QStringList texts;
    for (const SensingParameter *parameter : sensingParametersInWireOrder())
        texts.append(settings.value(parameter->key).toString());
    settings.endArray();
    return texts;
}

KitTransfer::Result KitTransfer::load()
{
    const LinkAction action; // one message, and no more writes after one failed
    const int before = faults;
    sensing->readSettings();
    audioSettings->read();
    if (views.readRegisters)
        views.readRegisters();
    else
        registers->readRegisters();
    return serial->isConnected() && faults == before ? Result::Whole : Result::Broken;
}

// Sensing is off while the kit's settings are written, and on again at the end.
KitTransfer::Result KitTransfer::sendParts()
{
    lost = false;
    refusalReason = judgeSession();
    if (refusalReason.isEmpty() && views.sendable && !views.sendable())
        refusalReason = QStringLiteral("registers hold values that cannot be sent");
    if (!refusalReason.isEmpty())
        return Result::Refused;
    const int before = faults;
    deactivateSensing();
    if (views.sendSensing) {
        views.sendSensing();
    } else {
        for (int channel = 0; channel < 2; ++channel) {
            QStringList t = sensingTexts(channel);
            while (t.size() < 19)
                t.append(QString());
            sensing->sendSettings(QString::number(channel), t[0], t[1], t[2], t[3], t[4], t[5],
                                  t[6], t[7], t[8], t[9], t[10], t[11], t[12], t[13], t[14], t[15],
                                  t[16], t[17], t[18]);
        }
    }
    audioSettings->send();
    bool registersSent = true;
    if (views.sendRegisters) {
        registersSent = views.sendRegisters();
    } else {
        for (const RegisterWord &word : registerWords())
            registers->sendRegister(word.channel, word.address, word.data);
    }
    if (!serial->isConnected()) {
        lost = true;
        return Result::Broken;
    }
    return registersSent && faults == before ? Result::Whole : Result::Broken;
}

KitTransfer::Result KitTransfer::send()
{
    const LinkAction action;
    const Result result = sendParts();
    if (result != Result::Refused && !lost)
        activateSensing();
    return result;
}

// The kit keeps what did go out; only a whole send and save counts as whole.
KitTransfer::Result KitTransfer::sendAndSave()
{
    const LinkAction action;
    const Result sent = send();
    if (sent == Result::Refused || lost)
        return sent;
    deactivateSensing();
    const int before = faults;
    sensing->saveSettings();
    audioSettings->save();
    registers->saveRegisters();
    if (!serial->isConnected())
        return Result::Broken;
    activateSensing();
    return sent == Result::Whole && faults == before ? Result::Whole : Result::Broken;
}

bool KitTransfer::sensingCanSwitch(bool active) const
{
    return views.sensingCanSwitch ? views.sensingCanSwitch(active) : sensingOn != active;
}

void KitTransfer::activateSensing()
{
    if (!sensingCanSwitch(true))
        return;
    sensing->enableSensing(1);
    sensingOn = true;
    emit sigSensingChanged(true);
}

void KitTransfer::deactivateSensing()
{
    if (!sensingCanSwitch(false))
        return;
    sensing->enableSensing(0);
    sensingOn = false;
    emit sigSensingChanged(false);
}

void KitTransfer::startOscillator(int channel)
{
    deactivateSensing();
    registers->sdoOscillator(channel, 1);
}

void KitTransfer::stopOscillator(int channel)
{
    registers->sdoOscillator(channel, 0);
}

void KitTransfer::setOutput(bool enabled)
{
    if (!enabled)
        deactivateSensing();
    registers->setOutput(enabled);
}

void KitTransfer::powerDown()
{
    deactivateSensing();
    registers->powerDown();
}

void KitTransfer::powerUp()
{
    registers->powerUp();
}
