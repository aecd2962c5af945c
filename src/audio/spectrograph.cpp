#include "spectrograph.h"

#include <QMouseEvent>
#include <QPainter>
#include <QTimerEvent>

namespace {
const int MinimumHeight = 100;
const int SelectionDurationMs = 2000;
const int HorizontalGridLines = 9;
} // namespace

Spectrograph::Spectrograph(QWidget *parent) : QWidget(parent)
{
    setMinimumHeight(MinimumHeight);
}

void Spectrograph::setParams(int numBars, double lowFreq, double highFreq)
{
    bars.resize(qMax(0, numBars));
    this->lowFreq = lowFreq;
    this->highFreq = highFreq;
    // A selection may now point past the bars.
    if (barSelected >= bars.count())
        barSelected = -1;
    updateBars();
}

void Spectrograph::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != timerId) {
        QWidget::timerEvent(event);
        return;
    }
    killTimer(timerId);
    timerId = -1;
    barSelected = -1;
    update();
}

void Spectrograph::mousePressEvent(QMouseEvent *event)
{
    const int numBars = bars.count();
    if (numBars == 0 || width() <= 0)
        return;
    const int index = qRound(event->localPos().x()) * numBars / width();
    selectBar(qBound(0, index, numBars - 1));
}

void Spectrograph::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    const int w = width();
    const int h = height();
    const int numBars = bars.count();

    painter.fillRect(rect(), Qt::black);

    if (barSelected != -1 && numBars != 0) {
        const QRect regionRect(barSelected * w / numBars, 0, w / numBars, h);
        painter.setBrush(Qt::DiagCrossPattern);
        painter.fillRect(regionRect, QColor(202, 202, 64));
        painter.setBrush(Qt::NoBrush);
    }

    QColor barColor(51, 204, 102);
    QColor clipColor(255, 255, 0);
    const QColor gridColor = barColor.darker(200);

    QPen gridPen(gridColor);
    painter.setPen(gridPen);
    const QRect r = rect();
    painter.drawLine(r.topLeft(), r.topRight());
    painter.drawLine(r.topRight(), r.bottomRight());
    painter.drawLine(r.bottomRight(), r.bottomLeft());
    painter.drawLine(r.bottomLeft(), r.topLeft());

    gridPen.setDashPattern({2, 2});
    painter.setPen(gridPen);
    if (numBars > 0) {
        for (int i = 1; i < numBars; ++i) {
            const int x = r.left() + i * (w / numBars);
            painter.drawLine(x, r.top(), x, r.bottom());
        }
    }
    for (int i = 1; i <= HorizontalGridLines; ++i) {
        const int y = r.top() + i * (h / 10);
        painter.drawLine(r.left(), y, r.right(), y);
    }

    barColor = barColor.lighter(150);
    barColor.setAlphaF(0.75);
    clipColor.setAlphaF(0.75);

    if (numBars > 0) {
        const int barPlusGapWidth = w / numBars;
        const int barWidth = int(0.8 * barPlusGapWidth);
        const int gapWidth = barPlusGapWidth - barWidth;
        const int spareWidth = w - numBars * (barWidth + gapWidth);
        const int leftMargin = (spareWidth + gapWidth) / 2;
        const int barHeight = h - 2 * gapWidth;
        const int bottom = h - gapWidth;

        for (int i = 0; i < numBars; ++i) {
            // Amplitudes outside 0 to 1 (or not a number) would draw outside the field.
            const double value = qBound(0.0, bars[i].value, 1.0);
            const int left = leftMargin + i * (gapWidth + barWidth);
            const int top = gapWidth + int((1.0 - value) * barHeight);
            painter.fillRect(QRect(left, top, barWidth, bottom - top),
                             bars[i].clipped ? clipColor : barColor);
        }
    }
}

void Spectrograph::reset()
{
    spectrum.reset();
    spectrumChanged(spectrum);
}

void Spectrograph::spectrumChanged(const FrequencySpectrum &spectrum)
{
    this->spectrum = spectrum;
    updateBars();
}

int Spectrograph::barIndex(double frequency) const
{
    const double bandWidth = (highFreq - lowFreq) / bars.count();
    // Rounding near highFreq must not step past the last bar.
    return qBound(0, int((frequency - lowFreq) / bandWidth), bars.count() - 1);
}

QPair<double, double> Spectrograph::barRange(int index) const
{
    const double bandWidth = (highFreq - lowFreq) / bars.count();
    return qMakePair(index * bandWidth, (index + 1) * bandWidth);
}

void Spectrograph::updateBars()
{
    bars.fill(Bar());
    if (!bars.isEmpty()) {
        for (const FrequencySpectrum::Element &e : qAsConst(spectrum)) {
            if (lowFreq <= e.frequency && e.frequency < highFreq) {
                Bar &bar = bars[barIndex(e.frequency)];
                bar.value = qMax(bar.value, e.amplitude);
                bar.clipped |= e.clipped;
            }
        }
    }
    update();
}

void Spectrograph::selectBar(int index)
{
    const QPair<double, double> frequencyRange = barRange(index);
    const QString message =
        QStringLiteral("%1 - %2 Hz").arg(frequencyRange.first).arg(frequencyRange.second);
    emit infoMessage(message, SelectionDurationMs);

    if (timerId != -1)
        killTimer(timerId);
    timerId = startTimer(SelectionDurationMs, Qt::CoarseTimer);

    barSelected = index;
    update();
}
