#pragma once

#include <QList>
#include <QWidget>

class SensingChannel;

// The page "Sensing Config": the two channel panels side by side.
class SensingWidget : public QWidget
{
    Q_OBJECT
public:
    explicit SensingWidget(QWidget *parent = nullptr);

    void send();

signals:
    void sigSend(QString channel, QString low_amp_multiplicator, QString high_amp_press,
                 QString high_amp_release, QString low_freq_feedback, QString high_freq_feedback,
                 QString high_sens_press_thresh, QString low_sens_press_thresh,
                 QString high_sens_release_thresh, QString low_sens_release_thresh,
                 QString nb_prd_click, QString nb_prd_long, QString off_amplitude,
                 QString off_offset, QString off_vmax, QString off_vmin, QString on_amplitude,
                 QString on_offset, QString on_vmax, QString on_vmin);
    void sigValueChanged();

public slots:
    void updateUi();
    void updateOtherChannel();

private:
    QList<SensingChannel *> channels; // channel A first
};
