#pragma once

#include <QList>
#include <QString>
#include <QWidget>

class QDoubleSpinBox;

// The grid of the sixteen output range values of the kit's audio playback.
class AudioSettingsWidget : public QWidget
{
    Q_OBJECT
public:
    explicit AudioSettingsWidget(const QString &group, QWidget *parent = nullptr);

signals:
    void sigAudioSettingUpdated();

public slots:
    void init();

private slots:
    void updateSettings(double value);

private:
    void createUi();
    QString keyOf(const QDoubleSpinBox *box) const;

    QString group;
    QList<QDoubleSpinBox *> spinBoxes; // row OFF left to right, then row ON
};
