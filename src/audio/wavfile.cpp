#include "wavfile.h"

#include <QtEndian>

namespace {

// The fixed part of the header, up to and including the bits per sample.
constexpr int FixedHeaderBytes = 36;
constexpr quint32 PlainFormatChunkBytes = 16;

quint16 word(const QByteArray &bytes, int offset)
{
    return qFromLittleEndian<quint16>(bytes.constData() + offset);
}

quint32 dword(const QByteArray &bytes, int offset)
{
    return qFromLittleEndian<quint32>(bytes.constData() + offset);
}

} // namespace

WavFile::WavFile(QObject *parent) : QFile(parent) {}

bool WavFile::open(const QString &fileName)
{
    close();
    m_fileFormat = QAudioFormat();
    m_headerLength = 0;
    setFileName(fileName);
    // Unbuffered: a read-ahead would pass the end of the last whole frame.
    return QFile::open(QIODevice::ReadOnly | QIODevice::Unbuffered) && readHeader();
}

const QAudioFormat &WavFile::fileFormat() const
{
    return m_fileFormat;
}

qint64 WavFile::headerLength() const
{
    return m_headerLength;
}

qint64 WavFile::size() const
{
    const qint64 total = QFile::size();
    const int frameBytes = m_fileFormat.bytesPerFrame();
    if (m_headerLength == 0 || frameBytes <= 0 || total <= m_headerLength)
        return total;
    return total - (total - m_headerLength) % frameBytes;
}

bool WavFile::atEnd() const
{
    // The file's own test looks at the end on disk.
    return QIODevice::atEnd();
}

qint64 WavFile::readData(char *data, qint64 maxSize)
{
    // Unbuffered, a read starts at pos().
    return QFile::readData(data, qBound(qint64(0), size() - pos(), maxSize));
}

bool WavFile::readHeader()
{
    seek(0);
    const QByteArray fixed = read(FixedHeaderBytes);
    const QByteArray riff = fixed.left(4);
    const bool accepted = fixed.size() == FixedHeaderBytes && (riff == "RIFF" || riff == "RIFX") &&
                          fixed.mid(8, 4) == "WAVE" && fixed.mid(12, 4) == "fmt " &&
                          word(fixed, 20) <= 1;
    if (!accepted) {
        m_headerLength = pos();
        return false;
    }

    if (dword(fixed, 16) > PlainFormatChunkBytes) {
        const QByteArray extensionSize = peek(2);
        if (extensionSize.size() < 2)
            return false;
        const qint64 skip = qint64(word(extensionSize, 0)) + 2;
        if (read(skip).size() < skip)
            return false;
    }

    if (read(8).size() < 8) // the data chunk's identifier and size
        return false;

    m_fileFormat.setByteOrder(riff == "RIFF" ? QAudioFormat::LittleEndian
                                             : QAudioFormat::BigEndian);
    m_fileFormat.setChannelCount(word(fixed, 22));
    m_fileFormat.setCodec(QStringLiteral("audio/pcm"));
    m_fileFormat.setSampleRate(int(dword(fixed, 24)));
    const int bitsPerSample = word(fixed, 34);
    m_fileFormat.setSampleSize(bitsPerSample);
    m_fileFormat.setSampleType(bitsPerSample == 8 ? QAudioFormat::UnSignedInt
                                                  : QAudioFormat::SignedInt);
    m_headerLength = pos();
    return true;
}
