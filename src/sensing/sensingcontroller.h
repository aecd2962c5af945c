#pragma once

#include "link/recordassembler.h"
#include "link/serialdispatcher.h"

#include <QString>

class QSettings;
class SerialController;

// Serial side of the sensing subsystem: sends a configuration as nineteen "2"
// commands, reads the kit's parameters into the sensing array, saves and switches.
class SensingController : public SerialDispatcher
{
    Q_OBJECT
public:
    explicit SensingController(SerialController *serial, QObject *parent = nullptr);

signals:
    void sigUpdateUi();

public slots:
    void sendSettings(QString channel, QString low_amp_multiplicator, QString high_amp_press,
                      QString high_amp_release, QString low_freq_feedback,
                      QString high_freq_feedback, QString high_sens_press_thresh,
                      QString low_sens_press_thresh, QString high_sens_release_thresh,
                      QString low_sens_release_thresh, QString nb_prd_click, QString nb_prd_long,
                      QString off_amplitude, QString off_offset, QString off_vmax, QString off_vmin,
                      QString on_amplitude, QString on_offset, QString on_vmax, QString on_vmin);
    void readSettings();
    void Dispatch(QByteArray data, int count, ReadType type) override;
    // Stores a read's records once its reply has been judged whole.
    void exchangeEnded(ReadType type, ExchangeEnd end) override;
    void saveSettings();
    void enableSensing(int enable);

private:
    void storeRecord(const QByteArray &record, QSettings &entry);

    RecordAssembler assembler;
};
