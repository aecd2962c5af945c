#include "progressbar.h"

#include <QPainter>

namespace {
constexpr int MinimumHeight = 30;
} // namespace

ProgressBar::ProgressBar(QWidget *parent) : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    setMinimumHeight(MinimumHeight);
}

void ProgressBar::reset()
{
    bufferLength = 0;
    clearPositions();
    update();
}

void ProgressBar::bufferLengthChanged(qlonglong length)
{
    bufferLength = length;
    clearPositions();
    repaint();
}

void ProgressBar::clearPositions()
{
    recordPosition = 0;
    playPosition = 0;
    windowPosition = 0;
    windowLength = 0;
}

void ProgressBar::recordPositionChanged(qlonglong recordPosition)
{
    this->recordPosition = recordPosition;
    repaint();
}

void ProgressBar::playPositionChanged(qlonglong playPosition)
{
    this->playPosition = playPosition;
    repaint();
}

void ProgressBar::windowChanged(qlonglong position, qlonglong length)
{
    windowPosition = position;
    windowLength = length;
    repaint();
}

void ProgressBar::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.fillRect(rect(), Qt::black);
    if (bufferLength == 0)
        return;

    const double w = width();
    const auto column = [&](qint64 bytes) { return int(double(bytes) / bufferLength * w); };

    const int play = column(playPosition);
    const int record = column(recordPosition);
    painter.fillRect(QRect(qMin(play, record), 0, qAbs(play - record), height()),
                     QColor(0, 0, 255));
    painter.fillRect(QRect(column(windowPosition), 0, column(windowLength), height()),
                     QColor(0, 255, 0));
}
