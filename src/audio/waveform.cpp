#include "waveform.h"

#include "audioutils.h"

#include <QDebug>
#include <QPainter>
#include <QPixmap>
#include <QResizeEvent>

namespace {
const int MinimumHeight = 50;
const int SampleBytes = 2; // only 16-bit audio is drawn
const qint64 MaxTiles = 8192;
} // namespace

Waveform::Waveform(QWidget *parent) : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    setMinimumHeight(MinimumHeight);
}

Waveform::~Waveform()
{
    deletePixmaps();
}

void Waveform::initialize(const QAudioFormat &format, qint64 audioBufferSize,
                          qint64 windowDurationUs)
{
    qCDebug(lcAudio) << "Waveform::initialize"
                     << "audioBufferSize" << audioBufferSize << "windowDurationUs"
                     << windowDurationUs;
    reset();
    this->format = format;
    tileLength = audioBufferSize;
    windowLength = audioLength(format, windowDurationUs);

    // Without a tile length or a window there is nothing to divide the audio
    // into, and beyond MaxTiles the tiles would be narrower than a pixel of any
    // screen: the view stays inactive rather than divide by zero or exhaust memory.
    if (tileLength <= 0 || windowLength <= 0 || windowLength / tileLength >= MaxTiles) {
        qCDebug(lcAudio) << "Waveform::initialize"
                         << "tileLength" << tileLength << "windowLength" << windowLength
                         << "inactive";
        return;
    }

    int nTiles = 2;
    if (tileLength <= windowLength) {
        nTiles = int(windowLength / tileLength) + 1;
        if (windowLength % tileLength)
            ++nTiles;
    }
    qCDebug(lcAudio) << "Waveform::initialize"
                     << "tileLength" << tileLength << "windowLength" << windowLength << "nTiles"
                     << nTiles;

    pixmaps.fill(nullptr, nTiles);
    tiles.resize(nTiles);
    createPixmaps(size());
    active = true;
}

void Waveform::reset()
{
    qCDebug(lcAudio) << "Waveform::reset";
    bufferPosition = 0;
    bufferLength = 0;
    buffer.clear();
    audioPosition = 0;
    format = QAudioFormat();
    active = false;
    deletePixmaps();
    tiles.clear();
    tileLength = 0;
    tileArrayStart = 0;
    windowPosition = 0;
    windowLength = 0;
    update();
}

void Waveform::bufferChanged(qlonglong position, qlonglong length, const QByteArray &buffer)
{
    qCDebug(lcAudio) << "Waveform::bufferChanged"
                     << "audioPosition" << audioPosition << "bufferPosition" << position
                     << "bufferLength" << length;
    bufferPosition = position;
    // Never trust a length beyond the bytes actually handed over.
    bufferLength = qBound(qlonglong(0), length, qlonglong(buffer.size()));
    this->buffer = buffer;
    paintTiles();
}

void Waveform::audioPositionChanged(qlonglong position)
{
    qCDebug(lcAudio) << "Waveform::audioPositionChanged"
                     << "audioPosition" << position << "bufferPosition" << bufferPosition
                     << "bufferLength" << bufferLength;
    if (position < bufferPosition)
        return;
    if (position + windowLength > bufferPosition + bufferLength)
        position = qMax(qlonglong(0), bufferPosition + bufferLength - windowLength);
    audioPosition = position;
    setWindowPosition(position);
}

void Waveform::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.fillRect(rect(), Qt::black);
    if (!active)
        return;

    qint64 pos = windowPosition;
    const qint64 windowEnd = pos + windowLength;
    int destLeft = 0;
    while (pos < windowEnd) {
        const TilePoint point = tilePoint(pos);
        if (point.index == -1)
            break;
        const Tile &tile = tiles[point.index];
        if (!tile.painted)
            break;

        const qint64 sectionLength = qMin(tileLength - point.positionOffset, windowEnd - pos);
        const int sourceLeft = point.pixelOffset;
        const int sourceRight = tilePixelOffset(point.positionOffset + sectionLength);
        const int destRight = windowPixelOffset(pos - windowPosition + sectionLength);

        const QRect source(QPoint(sourceLeft, 0), QPoint(sourceRight, pixmapSize.height() - 1));
        const QRect dest(QPoint(destLeft, 0), QPoint(destRight, height() - 1));
        painter.drawPixmap(dest, *tile.pixmap, source);

        destLeft = destRight;
        if (point.index + 1 >= tiles.count())
            break;
        pos = tilePosition(point.index + 1);
    }
}

void Waveform::resizeEvent(QResizeEvent *event)
{
    if (event->size() != event->oldSize())
        createPixmaps(event->size());
}

void Waveform::createPixmaps(const QSize &widgetSize)
{
    pixmapSize = widgetSize;
    pixmapSize.setWidth(
        windowLength > 0 ? int(double(tileLength) * widgetSize.width() / windowLength) : 0);
    qCDebug(lcAudio) << "Waveform::createPixmaps"
                     << "widgetSize" << widgetSize << "pixmapSize" << pixmapSize;

    for (int i = 0; i < pixmaps.count(); ++i) {
        delete pixmaps[i];
        pixmaps[i] = new QPixmap(pixmapSize);
    }
    for (int i = 0; i < tiles.count(); ++i) {
        tiles[i].pixmap = pixmaps[i];
        tiles[i].painted = false;
    }
}

void Waveform::deletePixmaps()
{
    qDeleteAll(pixmaps);
    pixmaps.clear();
    for (Tile &tile : tiles)
        tile.pixmap = nullptr;
    pixmapSize = QSize();
}

qint64 Waveform::tilePosition(int index) const
{
    return index * tileLength + tileArrayStart;
}

Waveform::TilePoint Waveform::tilePoint(qint64 position) const
{
    TilePoint result;
    if (tileLength > 0 && position >= tileArrayStart &&
        position < tileArrayStart + tiles.count() * tileLength) {
        result.index = int((position - tileArrayStart) / tileLength);
        result.positionOffset = (position - tileArrayStart) % tileLength;
        result.pixelOffset = tilePixelOffset(result.positionOffset);
    }
    return result;
}

int Waveform::tilePixelOffset(qint64 positionOffset) const
{
    if (tileLength <= 0)
        return 0;
    return int(double(positionOffset) / tileLength * pixmapSize.width());
}

int Waveform::windowPixelOffset(qint64 positionOffset) const
{
    if (windowLength <= 0)
        return 0;
    return int(double(positionOffset) / windowLength * width());
}

bool Waveform::paintTiles()
{
    qCDebug(lcAudio) << "Waveform::paintTiles";
    bool updateRequired = false;
    for (int i = 0; i < tiles.count(); ++i) {
        const Tile &tile = tiles[i];
        if (tile.painted)
            continue;
        const qint64 tileStart = tilePosition(i);
        const qint64 tileEnd = tileStart + tileLength;
        if (bufferPosition <= tileStart && tileEnd <= bufferPosition + bufferLength) {
            paintTile(i);
            updateRequired = true;
        }
    }
    if (updateRequired)
        update();
    return updateRequired;
}

void Waveform::paintTile(int index)
{
    const qint64 tileStart = tilePosition(index);
    qCDebug(lcAudio) << "Waveform::paintTile"
                     << "index" << index << "bufferPosition" << bufferPosition << "bufferLength"
                     << bufferLength << "start" << tileStart << "end" << tileStart + tileLength;

    Tile &tile = tiles[index];
    tile.painted = true;
    QPixmap *pixmap = tile.pixmap;
    if (!pixmap || pixmap->isNull())
        return;
    pixmap->fill(Qt::black);

    // Only 16-bit samples can be drawn; any other format leaves the tile black.
    const int channels = format.channelCount();
    if (format.sampleSize() != 16 || channels < 1)
        return;

    const qint64 byteOffset = (tileStart - bufferPosition) / SampleBytes * SampleBytes;
    const auto *samples = reinterpret_cast<const qint16 *>(buffer.constData() + byteOffset);
    const qint64 numSamples = tileLength / (SampleBytes * channels);
    const int height = pixmapSize.height();
    const auto yOf = [height](qint16 value) {
        return int((pcmToReal(value) + 1.0) * 0.5 * height);
    };

    QPainter painter(pixmap);
    painter.setPen(Qt::white);

    // The line comes in from the frame before the tile, when the buffer holds it.
    qint16 previousValue = 0;
    if (byteOffset >= qint64(SampleBytes) * channels)
        previousValue = *(samples - channels);
    QPoint previous(0, yOf(previousValue));

    for (qint64 i = 0; i < numSamples; ++i) {
        const qint16 value = samples[i * channels];
        const QPoint point(tilePixelOffset(i * SampleBytes * channels), yOf(value));
        painter.drawLine(previous, point);
        previous = point;
    }
}

void Waveform::shuffleTiles(int n)
{
    qCDebug(lcAudio) << "Waveform::shuffleTiles"
                     << "n" << n;
    for (int i = 0; i < n && !tiles.isEmpty(); ++i) {
        Tile tile = tiles.takeFirst();
        tile.painted = false;
        tiles.append(tile);
        tileArrayStart += tileLength;
    }
    qCDebug(lcAudio) << "Waveform::shuffleTiles"
                     << "tileArrayStart" << tileArrayStart;
}

void Waveform::resetTiles(qint64 newStartPos)
{
    qCDebug(lcAudio) << "Waveform::resetTiles"
                     << "newStartPos" << newStartPos;
    for (Tile &tile : tiles)
        tile.painted = false;
    tileArrayStart = newStartPos;
}

void Waveform::setWindowPosition(qint64 position)
{
    const qint64 oldPosition = windowPosition;
    windowPosition = position;

    if (position >= oldPosition && position >= tileArrayStart &&
        position - tileArrayStart < tiles.count() * tileLength)
        shuffleTiles(int((position - tileArrayStart) / tileLength));
    else
        resetTiles(position);

    qCDebug(lcAudio) << "Waveform::setWindowPosition"
                     << "old" << oldPosition << "new" << position << "tileArrayStart"
                     << tileArrayStart;

    if (!paintTiles() && position != oldPosition)
        update();
}
