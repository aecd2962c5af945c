#pragma once

#include <QAudioFormat>
#include <QByteArray>
#include <QSize>
#include <QVector>
#include <QWidget>

class QPixmap;

// A scrolling view over 16-bit PCM audio that arrives piece by piece. The audio
// is drawn once into a short array of pixmap tiles, and the visible window is
// put together from those tiles, so that scrolling never redraws samples.
class Waveform : public QWidget
{
    Q_OBJECT
public:
    explicit Waveform(QWidget *parent = nullptr);
    ~Waveform() override;

    // audioBufferSize: bytes that one tile covers; windowDurationUs: the span of
    // the view in microseconds. A tile length or window of 0 leaves the view
    // inactive (black).
    void initialize(const QAudioFormat &format, qint64 audioBufferSize, qint64 windowDurationUs);
    // Back to the state after construction; the tiles' pixmaps are freed.
    void reset();

public slots:
    // position: byte of the audio data at which buffer starts; length: valid bytes.
    void bufferChanged(qlonglong position, qlonglong length, const QByteArray &buffer);
    // Moves the left edge of the view to position (bytes of audio data).
    void audioPositionChanged(qlonglong position);

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    struct Tile
    {
        QPixmap *pixmap = nullptr; // one of pixmaps, not owned
        bool painted = false;
    };

    struct TilePoint
    {
        int index = -1; // -1: the position lies in no tile
        qint64 positionOffset = 0;
        int pixelOffset = 0;
    };

    void createPixmaps(const QSize &widgetSize);
    void deletePixmaps();
    qint64 tilePosition(int index) const;
    TilePoint tilePoint(qint64 position) const;
    int tilePixelOffset(qint64 positionOffset) const;
    int windowPixelOffset(qint64 positionOffset) const;
    bool paintTiles();
    void paintTile(int index);
    void shuffleTiles(int n);
    void resetTiles(qint64 newStartPos);
    void setWindowPosition(qint64 position);

    qint64 bufferPosition = 0;
    qint64 bufferLength = 0;
    QByteArray buffer;
    qint64 audioPosition = 0;
    QAudioFormat format;
    bool active = false;
    QSize pixmapSize;
    QVector<QPixmap *> pixmaps;
    QVector<Tile> tiles;
    qint64 tileLength = 0;
    qint64 tileArrayStart = 0;
    qint64 windowPosition = 0;
    qint64 windowLength = 0;
};
