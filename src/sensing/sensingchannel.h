#pragma once

#include <QString>
#include <QVector>
#include <QWidget>

class QAbstractSpinBox;
class QComboBox;
class QFormLayout;
struct SensingParameter;

// The form of one channel on the "Sensing Config" page. It shows one entry of the
// sensing array at a time, writes each edit into that entry at once, and sends the
// entry out as texts. The array holds the data; the panel keeps none of its own.
class SensingChannel : public QWidget
{
    Q_OBJECT
public:
    // channel: 0 for A, 1 for B; the panel starts on that channel's custom entry.
    explicit SensingChannel(int channel, QWidget *parent = nullptr);

    int channelNumber() const { return channel; }
    // The index of the entry the selector shows.
    int currentIndex() const;

signals:
    void sigSend(QString channel, QString low_amp_multiplicator, QString high_amp_press,
                 QString high_amp_release, QString low_freq_feedback, QString high_freq_feedback,
                 QString high_sens_press_thresh, QString low_sens_press_thresh,
                 QString high_sens_release_thresh, QString low_sens_release_thresh,
                 QString nb_prd_click, QString nb_prd_long, QString off_amplitude,
                 QString off_offset, QString off_vmax, QString off_vmin, QString on_amplitude,
                 QString on_offset, QString on_vmax, QString on_vmin);
    // An edit changed a stored value of the selected entry.
    void someValueChanged();

public slots:
    // Shows the entry with that index; a negative index means the selected one.
    void updateFields(int setting_index);
    // Emits sigSend with the stored values of the selected entry.
    void send();

private slots:
    void updateQSettings(QString text);

private:
    void createUi();
    void connectUi();
    void addHeading(QFormLayout *form, const QString &text);
    void showValue(int field, const QVariant &stored);
    bool differs(int field, const QVariant &stored) const;
    QString fieldText(int field) const;

    const int channel;
    QComboBox *selector = nullptr;
    QVector<QAbstractSpinBox *> fields; // in the order of sensingParameters()
};
