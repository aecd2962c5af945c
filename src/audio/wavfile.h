#pragma once

#include <QAudioFormat>
#include <QFile>

// A WAV file opened for reading: the fixed start of the header is parsed once at
// opening, and everything behind it is audio. Chunks are not walked and the data
// size is not used. A real QIODevice, read directly by an audio output.
class WavFile : public QFile
{
    Q_OBJECT
public:
    explicit WavFile(QObject *parent = nullptr);

    // Opens fileName read-only and parses its header; false when either fails.
    bool open(const QString &fileName);
    // The format of the header; a default format until a header has been accepted.
    const QAudioFormat &fileFormat() const;
    // Bytes before the first sample.
    qint64 headerLength() const;
    // The file's size up to its last whole frame: a sample cut off by the end of the
    // file is not audio, and an output would wait for the rest of it forever.
    qint64 size() const override;
    bool atEnd() const override;

protected:
    qint64 readData(char *data, qint64 maxSize) override;

private:
    bool readHeader();

    QAudioFormat m_fileFormat;
    qint64 m_headerLength = 0;
};
