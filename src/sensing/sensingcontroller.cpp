#include "sensingcontroller.h"

#include "link/wire.h"
#include "sensingparameters.h"
#include "sensingsettings.h"

#include <QSettings>
#include <QStringList>

namespace {

const QByteArray WriteParameterCommand("2");
const QByteArray SaveCommand("3");
const QByteArray ReadCommand("5");
const QByteArray EnableCommand("D");

// A count outside 16 bits keeps its low bits, as the kit's word does; a real
// beyond what fixed-100 carries is clamped by floatToBytes.
QByteArray encodeText(const SensingParameter &parameter, const QString &text)
{
    if (parameter.kind == SensingKind::Real)
        return floatToBytes(text.toFloat());
    return intToBytes(quint16(text.toInt(nullptr, 10) & 0xFFFF));
}

} // namespace

SensingController::SensingController(SerialController *serial, QObject *parent)
    : SerialDispatcher(serial, parent), assembler(SensingRecordSize, [](const QByteArray &reply) {
          return judgeSensingReply(
              reply, [](quint8 code) { return sensingParameterByCode(code) != nullptr; });
      })
{
    installSensingDefaults();
}

void SensingController::sendSettings(QString channel, QString low_amp_multiplicator,
                                     QString high_amp_press, QString high_amp_release,
                                     QString low_freq_feedback, QString high_freq_feedback,
                                     QString high_sens_press_thresh, QString low_sens_press_thresh,
                                     QString high_sens_release_thresh,
                                     QString low_sens_release_thresh, QString nb_prd_click,
                                     QString nb_prd_long, QString off_amplitude, QString off_offset,
                                     QString off_vmax, QString off_vmin, QString on_amplitude,
                                     QString on_offset, QString on_vmax, QString on_vmin)
{
    const QStringList texts{low_amp_multiplicator,
                            high_amp_press,
                            high_amp_release,
                            low_freq_feedback,
                            high_freq_feedback,
                            high_sens_press_thresh,
                            low_sens_press_thresh,
                            high_sens_release_thresh,
                            low_sens_release_thresh,
                            nb_prd_click,
                            nb_prd_long,
                            off_amplitude,
                            off_offset,
                            off_vmax,
                            off_vmin,
                            on_amplitude,
                            on_offset,
                            on_vmax,
                            on_vmin};
    const QByteArray prefix = WriteParameterCommand + channel.toUtf8();
    const QVector<const SensingParameter *> &order = sensingParametersInWireOrder();
    for (int i = 0; i < order.size(); ++i) {
        QByteArray command = prefix;
        command.append(char(order.at(i)->code));
        command.append(encodeText(*order.at(i), texts.at(i)));
        emit sigSendData(command, command.size(), 0, ReadNone);
    }
}

void SensingController::readSettings()
{
    assembler.reset();
    emit sigSendData(ReadCommand, ReadCommand.size(), SensingRecordSize, ReadSensing);
    emit sigUpdateUi();
}

void SensingController::Dispatch(QByteArray data, int, ReadType type)
{
    if (type != ReadSensing)
        return;
    assembler.feed(data);
}

void SensingController::exchangeEnded(ReadType type, ExchangeEnd end)
{
    if (type != ReadSensing)
        return;
    const QList<QByteArray> records = takeRecords(assembler, type, end);
    if (records.isEmpty())
        return;
    // One save for the whole reply: a save per record would hold up the next command.
    writeSensingEntries([&](int index, QSettings &entry) {
        for (const QByteArray &record : records)
            if (qint8(record.at(0)) == index)
                storeRecord(record, entry);
    });
}

// Byte 0 is the entry index, byte 1 the parameter code, bytes 2 and 3 the value.
void SensingController::storeRecord(const QByteArray &record, QSettings &entry)
{
    const SensingParameter *parameter = sensingParameterByCode(quint8(record.at(1)));
    if (!parameter)
        return;
    const QByteArray value = record.mid(2, 2);
    if (parameter->kind == SensingKind::Real)
        entry.setValue(parameter->key, QVariant(bytesToFloat(value)));
    else
        entry.setValue(parameter->key, QVariant(int(bytesToInt(value))));
}

void SensingController::saveSettings()
{
    for (int channel = 0; channel < 2; ++channel) {
        const QByteArray command = SaveCommand + QByteArray::number(channel, 10);
        emit sigSendData(command, command.size(), 0, ReadNone);
    }
}

void SensingController::enableSensing(int enable)
{
    const QByteArray command = EnableCommand + QByteArray::number(enable, 2);
    emit sigSendData(command, command.size(), 0, ReadNone);
}
