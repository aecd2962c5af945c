#include "audio/audioutils.h"
#include "audio/wavfile.h"
#include "support/datarow.h"
#include "wavwriter.h"

#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const WavWriter Plain;

// A plain header without samples, bytes at `at` replaced.
QByteArray plainWith(int at, const QByteArray &bytes)
{
    return Plain.header(0).replace(at, bytes.size(), bytes);
}

// A format chunk of 16 + 2 + extension bytes, before a data chunk.
QByteArray extended(quint16 extension, int extensionBytesPresent)
{
    return Plain.header(0).left(36).replace(16, 4, WavWriter::le32(18 + extension)) +
           WavWriter::le16(extension) + QByteArray(extensionBytesPresent, 'x') + "data" +
           WavWriter::le32(0);
}

} // namespace

// The WAV header reader, on well-formed and broken files, and under random mutation.
class TestWavFile : public QObject
{
    Q_OBJECT

private slots:
    void headers_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<qint64>("headerLength");
        QTest::addColumn<QString>("format"); // none: refused
        QTest::addColumn<int>("audioBytes"); // read after the header: whole frames only

        const QString s16 = "8000 Hz 16 bit signed LE mono";
        const QByteArray plain = Plain.header(4) + "abcd";
        const QByteArray rifx = QByteArray(plain).replace(0, 4, "RIFX");
        const WavWriter stereo(2);
        dataRow("plain", plain, 44LL, s16, 4);
        dataRow("no samples", Plain.header(0), 44LL, s16, 0);
        dataRow(
            "sizes past the end",
            QByteArray(plain).replace(4, 4, "\xFF\xFF\xFF\xFF").replace(40, 4, "\xFF\xFF\xFF\xFF"),
            44LL, s16, 4);
        dataRow("format tag 0", plainWith(20, WavWriter::le16(0)), 44LL, s16, 0);
        dataRow("8-bit is unsigned", plainWith(34, WavWriter::le16(8)), 44LL,
                "8000 Hz 8 bit unsigned LE mono", 0);
        dataRow("RIFX with little-endian fields", rifx, 44LL, "8000 Hz 16 bit signed BE mono", 4);
        dataRow("extended format chunk", extended(4, 4), 50LL, s16, 0);
        // The chunk after the format chunk is taken for the data chunk, whatever it is.
        dataRow("extra chunk before data",
                Plain.header(0).left(36) + "LIST" + WavWriter::le32(4) + "INFOdata" +
                    WavWriter::le32(4) + "abcd",
                44LL, s16, 16);
        dataRow("mono, ends mid-sample", plain + "x", 44LL, s16, 4);
        dataRow("stereo, ends mid-frame", stereo.header(40) + stereo.samples(10) + "xyz", 44LL,
                "8000 Hz 16 bit signed LE stereo", 40);

        // Refusals in the fixed part leave the header length where reading stopped.
        dataRow("empty", QByteArray(), 0LL, "", 0);
        dataRow("35 bytes", plain.left(35), 35LL, "", 0);
        dataRow("RIFX with big-endian fields",
                QByteArray(rifx).replace(20, 2, QByteArray("\0\1", 2)), 36LL, "", 0);
        dataRow("floating point", plainWith(20, WavWriter::le16(3)), 36LL, "", 0);
        dataRow("other chunk first", QByteArray(plain).replace(12, 4, "LIST"), 36LL, "", 0);
        dataRow("not WAVE", QByteArray(plain).replace(8, 4, "AVI "), 36LL, "", 0);
        dataRow("not RIFF", QByteArray(plain).replace(0, 4, "RIFC"), 36LL, "", 0);
        // Failures behind it leave it at 0.
        dataRow("cut in the data chunk header", plain.left(40), 0LL, "", 0);
        dataRow("extension size missing", extended(0, 0).left(37), 0LL, "", 0);
        dataRow("extension past the end", extended(65535, 10), 0LL, "", 0);
    }
    void headers()
    {
        QFETCH(QByteArray, contents);
        QFETCH(qint64, headerLength);
        QFETCH(QString, format);
        QFETCH(int, audioBytes);
        WavFile wav(nullptr);
        QCOMPARE(open(wav, contents), !format.isEmpty());
        QCOMPARE(wav.headerLength(), headerLength);
        QCOMPARE(formatToString(wav.fileFormat()), format); // the codec too
        QVERIFY(!format.isEmpty() || wav.fileFormat() == QAudioFormat());
        if (format.isEmpty())
            return;
        QCOMPARE(wav.pos(), headerLength); // the first sample is next
        QCOMPARE(wav.size(), headerLength + audioBytes);
        QCOMPARE(wav.readAll(), contents.mid(int(headerLength), audioBytes));
        QVERIFY(wav.atEnd());
    }

    // Random mutations of well-formed and broken headers, for a bounded time: the reader
    // never crashes nor reads out of bounds (run under a sanitizer to see the latter), and
    // what it accepts is consistent.
    void fuzzHeaders()
    {
        QList<QByteArray> corpus{Plain.header(8) + "abcdefgh", extended(2, 2) + "ab",
                                 WavWriter(2).header(0),
                                 WavWriter(1, 8000, 16, "RIFX").header(3) + "abc"};
        QRandomGenerator random(4207);
        const quint32 interesting[] = {0, 1, 2, 16, 17, 18, 0x7FFFFFFF, 0xFFFFFFFF, 0xFFFE, 65535};
        QElapsedTimer timer;
        timer.start();
        int runs = 0, accepted = 0;
        for (; timer.elapsed() < 2000; ++runs) {
            QByteArray bytes = corpus[random.bounded(corpus.size())];
            for (int n = random.bounded(1, 4); n > 0 && !bytes.isEmpty(); --n) {
                const int at = random.bounded(bytes.size());
                const int how = random.bounded(4);
                if (how == 0)
                    bytes[at] = char(random.bounded(256));
                else if (how == 1)
                    bytes.truncate(at);
                else if (how == 2)
                    bytes.insert(at, QByteArray(random.bounded(1, 8), char(random.bounded(256))));
                else if (at + 4 <= bytes.size())
                    bytes.replace(at, 4, WavWriter::le32(interesting[random.bounded(10)]));
            }
            WavFile wav(nullptr);
            const bool ok = open(wav, bytes);
            QVERIFY(wav.headerLength() <= bytes.size());
            if (!ok)
                continue;
            QVERIFY(wav.headerLength() >= 44);
            QCOMPARE(wav.pos(), wav.headerLength());
            const QByteArray audio = wav.readAll();
            QCOMPARE(qint64(audio.size()), wav.size() - wav.headerLength());
            QCOMPARE(audio, bytes.mid(int(wav.headerLength()), audio.size()));
            if (++accepted % 4 == 0)
                corpus << bytes;
        }
        qInfo("%d mutations, %d accepted", runs, accepted);
        QVERIFY(accepted > 0);
    }

private:
    // Writes contents to a file and opens it; the file stays open in wav.
    bool open(WavFile &wav, const QByteArray &contents)
    {
        const QString fileName = dir.filePath("test.wav");
        return writeFile(fileName, contents) && wav.open(fileName);
    }

    QTemporaryDir dir;
};

QTEST_GUILESS_MAIN(TestWavFile)
#include "tst_wavfile.moc"
