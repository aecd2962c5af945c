#pragma once

#include <QWidget>

// How far playback has come through the loaded audio: a blue bar up to the play
// position and a green one over the analysed window. Positions and lengths are
// bytes of audio.
class ProgressBar : public QWidget
{
    Q_OBJECT
public:
    explicit ProgressBar(QWidget *parent = nullptr);

    void reset();

public slots:
    // A new length; the positions go back to 0.
    void bufferLengthChanged(qlonglong length);
    void recordPositionChanged(qlonglong recordPosition);
    void playPositionChanged(qlonglong playPosition);
    void windowChanged(qlonglong position, qlonglong length);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void clearPositions();

    qint64 bufferLength = 0;
    qint64 recordPosition = 0;
    qint64 playPosition = 0;
    qint64 windowPosition = 0;
    qint64 windowLength = 0;
};
