#include "audio/wavfile.h"
#include "support/datarow.h"
#include "support/wavwriter.h"

#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const WavWriter Plain;

// A plain header with its format chunk's fields replaced: tag, channels, bits.
QByteArray header(quint16 tag, quint16 channels = 1, quint16 bits = 16)
{
    QByteArray bytes = Plain.header(0);
    bytes.replace(20, 2, WavWriter::le16(tag));
    bytes.replace(22, 2, WavWriter::le16(channels));
    bytes.replace(34, 2, WavWriter::le16(bits));
    return bytes;
}

// A format chunk of 16 + 2 + extension bytes, before a data chunk.
QByteArray extended(quint16 extension, int extensionBytesPresent)
{
    QByteArray bytes = Plain.header(0).left(36);
    bytes.replace(16, 4, WavWriter::le32(18 + extension));
    return bytes + WavWriter::le16(extension) + QByteArray(extensionBytesPresent, 'x') + "data" +
           WavWriter::le32(0);
}

} // namespace

// The WAV header reader, on well-formed and broken files, and under random mutation.
class TestWavFile : public QObject
{
    Q_OBJECT

private slots:
    void headers_data();
    void headers();
    void tailOfPartFrameIsNotAudio();
    void fuzzHeaders();

private:
    // Writes contents to a file and opens it; the file stays open in wav.
    bool open(WavFile &wav, const QByteArray &contents);

    QTemporaryDir dir;
};

bool TestWavFile::open(WavFile &wav, const QByteArray &contents)
{
    const QString fileName = dir.filePath("test.wav");
    QFile file(fileName);
    file.open(QIODevice::WriteOnly | QIODevice::Truncate);
    file.write(contents);
    file.close();
    return wav.open(fileName);
}

void TestWavFile::headers_data()
{
    QTest::addColumn<QByteArray>("contents");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<qint64>("headerLength");
    QTest::addColumn<QString>("format"); // rate/channels/bits/order/type when accepted

    const QByteArray plain = Plain.header(4) + "abcd";
    QByteArray rifxLittle = plain;
    rifxLittle.replace(0, 4, "RIFX");
    QByteArray rifxBig = rifxLittle;
    rifxBig.replace(20, 2, QByteArray("\0\1", 2)); // tag 1 big endian reads as 256
    QByteArray list = plain;
    list.replace(12, 4, "LIST");
    QByteArray wave = plain;
    wave.replace(8, 4, "AVI ");
    QByteArray riff = plain;
    riff.replace(0, 4, "RIFC");
    QByteArray hugeSizes = plain;
    hugeSizes.replace(4, 4, WavWriter::le32(0xFFFFFFFF));
    hugeSizes.replace(40, 4, WavWriter::le32(0xFFFFFFFF));
    const QByteArray extraChunk = Plain.header(0).left(36) + "LIST" + WavWriter::le32(4) + "INFO" +
                                  "data" + WavWriter::le32(4) + "abcd";

    dataRow("plain", plain, true, qint64(44), "8000/1/16/LE/signed");
    dataRow("no samples", Plain.header(0), true, qint64(44), "8000/1/16/LE/signed");
    dataRow("sizes past the end", hugeSizes, true, qint64(44), "8000/1/16/LE/signed");
    dataRow("format tag 0", header(0), true, qint64(44), "8000/1/16/LE/signed");
    dataRow("8-bit is unsigned", header(1, 2, 8), true, qint64(44), "8000/2/8/LE/unsigned");
    dataRow("RIFX with little-endian fields", rifxLittle, true, qint64(44), "8000/1/16/BE/signed");
    dataRow("extension of 0", extended(0, 0), true, qint64(46), "8000/1/16/LE/signed");
    dataRow("extension of 4", extended(4, 4), true, qint64(50), "8000/1/16/LE/signed");
    // The chunk after the format chunk is taken for the data chunk, whatever it is.
    dataRow("extra chunk before data", extraChunk, true, qint64(44), "8000/1/16/LE/signed");

    // Refusals in the fixed part leave the header length where reading stopped.
    dataRow("empty", QByteArray(), false, qint64(0), "");
    dataRow("short", plain.left(20), false, qint64(20), "");
    dataRow("35 bytes", plain.left(35), false, qint64(35), "");
    dataRow("RIFX with big-endian fields", rifxBig, false, qint64(36), "");
    dataRow("floating point", header(3), false, qint64(36), "");
    dataRow("extensible", header(0xFFFE), false, qint64(36), "");
    dataRow("other chunk first", list, false, qint64(36), "");
    dataRow("not WAVE", wave, false, qint64(36), "");
    dataRow("not RIFF", riff, false, qint64(36), "");
    // Failures behind it leave it at 0.
    dataRow("no data chunk header", plain.left(36), false, qint64(0), "");
    dataRow("cut in the data chunk header", plain.left(40), false, qint64(0), "");
    dataRow("extension size missing", extended(0, 0).left(37), false, qint64(0), "");
    dataRow("extension past the end", extended(65535, 10), false, qint64(0), "");
}

void TestWavFile::headers()
{
    QFETCH(QByteArray, contents);
    QFETCH(bool, accepted);
    QFETCH(qint64, headerLength);
    QFETCH(QString, format);

    WavFile wav(nullptr);
    QCOMPARE(open(wav, contents), accepted);
    QCOMPARE(wav.headerLength(), headerLength);
    const QAudioFormat &f = wav.fileFormat();
    const QString read =
        accepted ? QStringLiteral("%1/%2/%3/%4/%5")
                       .arg(f.sampleRate())
                       .arg(f.channelCount())
                       .arg(f.sampleSize())
                       .arg(f.byteOrder() == QAudioFormat::LittleEndian ? "LE" : "BE")
                       .arg(f.sampleType() == QAudioFormat::SignedInt ? "signed" : "unsigned")
                 : QString();
    QCOMPARE(read, format);
    if (accepted) {
        QCOMPARE(f.codec(), QString("audio/pcm"));
        QCOMPARE(wav.pos(), headerLength); // the first sample is next
        QCOMPARE(wav.readAll(), contents.mid(int(headerLength)));
    } else {
        QCOMPARE(f, QAudioFormat());
    }
}

// A file that ends in the middle of a frame ends, for its readers, at the last whole one.
void TestWavFile::tailOfPartFrameIsNotAudio()
{
    WavWriter stereo;
    stereo.channels = 2;
    const QByteArray samples = stereo.samples(10);
    WavFile wav(nullptr);
    QVERIFY(open(wav, stereo.header(samples.size()) + samples + "xyz"));
    QCOMPARE(wav.size(), qint64(44 + 40));
    QCOMPARE(wav.readAll(), samples);
    QVERIFY(wav.atEnd());
    QVERIFY(wav.seek(44 + 38));
    QCOMPARE(wav.read(100), samples.right(2));
}

// Random mutations of well-formed and broken headers, for a bounded time: the reader
// never crashes nor reads out of bounds (run under a sanitizer to see the latter), and
// what it accepts is consistent.
void TestWavFile::fuzzHeaders()
{
    QList<QByteArray> corpus{Plain.header(8) + "abcdefgh", extended(2, 2) + "ab", header(0, 2),
                             QByteArray("RIFX") + Plain.header(3).mid(4) + "abc"};
    QRandomGenerator random(4207);
    const quint32 interesting[] = {0, 1, 2, 16, 17, 18, 0x7FFFFFFF, 0xFFFFFFFF, 0xFFFE, 65535};
    QElapsedTimer timer;
    timer.start();
    int runs = 0, accepted = 0;
    while (timer.elapsed() < 2000) {
        QByteArray bytes = corpus[random.bounded(corpus.size())];
        for (int n = random.bounded(1, 4); n > 0 && !bytes.isEmpty(); --n) {
            const int at = random.bounded(bytes.size());
            switch (random.bounded(4)) {
            case 0:
                bytes[at] = char(random.bounded(256));
                break;
            case 1:
                bytes.truncate(at);
                break;
            case 2:
                bytes.insert(at, QByteArray(random.bounded(1, 8), char(random.bounded(256))));
                break;
            default:
                if (at + 4 <= bytes.size())
                    bytes.replace(at, 4, WavWriter::le32(interesting[random.bounded(10)]));
            }
        }
        WavFile wav(nullptr);
        const bool ok = open(wav, bytes);
        ++runs;
        QVERIFY(wav.headerLength() <= bytes.size());
        if (!ok)
            continue;
        ++accepted;
        QVERIFY(wav.headerLength() >= 44);
        QCOMPARE(wav.pos(), wav.headerLength());
        const QByteArray audio = wav.readAll();
        QCOMPARE(qint64(audio.size()), wav.size() - wav.headerLength());
        QCOMPARE(audio, bytes.mid(int(wav.headerLength()), audio.size()));
        if (accepted % 4 == 0)
            corpus << bytes;
    }
    qInfo("%d mutations, %d accepted", runs, accepted);
    QVERIFY(accepted > 0);
}

QTEST_GUILESS_MAIN(TestWavFile)
#include "tst_wavfile.moc"
