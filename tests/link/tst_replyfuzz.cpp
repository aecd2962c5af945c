#include "audiosettings/audiosettingscontroller.h"
#include "kitfirmware.h"
#include "link/registerstore.h"
#include "link/serialcontroller.h"
#include "registers/registercontroller.h"
#include "sensing/sensingcontroller.h"
#include "sensing/thresholdcalibratorcontroller.h"
#include "support/sessionshape.h"
#include "support/testsettings.h"

#include <QRandomGenerator>
#include <QtTest>

// Replies of every read command, whole, mutated and random, fed through the four real
// controllers as the link hands them on: in reads of at most the command's read count,
// then the end of the exchange. Set KTR_FUZZ_CASES and KTR_FUZZ_SEED to run more.
namespace {

struct Read
{
    char command;
    int count;
    ReadType type;
    int recordSize; // 0: nothing of the reply is stored
};
const QList<Read> Reads{{'4', 3, ReadRegisters, 3},       {'5', 4, ReadSensing, 4},
                        {'8', 13, ReadAudioSettings, 13}, {'=', 3, ReadFirmwareId, 0},
                        {'H', 3, ReadChipId, 0},          {'B', 3, ReadMaxThreshold, 0}};

QByteArray kitReply(char command, quint16 chip)
{
    return KitFirmware(chip).feed(QByteArray(1, command)).value(0).reply;
}

int envNumber(const char *name, int fallback)
{
    bool ok = false;
    const int value = qEnvironmentVariableIntValue(name, &ok);
    return ok ? value : fallback;
}

} // namespace

class TestReplyFuzz : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        serial = std::make_unique<SerialController>([] { return QList<PortCandidate>(); });
        registers = std::make_unique<RegisterController>(serial.get());
        sensing = std::make_unique<SensingController>(serial.get());
        audio = std::make_unique<AudioSettingsController>(serial.get());
        calibrator = std::make_unique<ThresholdCalibratorController>(serial.get());
    }
    void cleanupTestCase()
    {
        calibrator.reset(), audio.reset(), sensing.reset(), registers.reset(), serial.reset();
    }

    void replies_data()
    {
        QTest::addColumn<int>("read");
        QTest::addColumn<QByteArray>("stream");
        QTest::addColumn<ExchangeEnd>("end");
        QTest::addColumn<bool>("storesNothing");
        const auto row = [](const QString &name, int read, const QByteArray &stream,
                            ExchangeEnd end, bool storesNothing) {
            QTest::newRow(qPrintable(name)) << read << stream << end << storesNothing;
        };
        QRandomGenerator random(quint32(envNumber("KTR_FUZZ_SEED", 4207)));
        const int cases = envNumber("KTR_FUZZ_CASES", 40);
        for (int read = 0; read < Reads.size(); ++read) {
            const Read &r = Reads.at(read);
            const QString name = QString(QLatin1Char(r.command)) + ' ';
            const bool none = r.recordSize == 0;
            QList<QByteArray> corpus{kitReply(r.command, KitFirmware::ChipIdRevB),
                                     kitReply(r.command, KitFirmware::ChipIdRevC)};
            for (const QByteArray &whole : qAsConst(corpus)) {
                row(name + "whole", read, whole, ExchangeEnd::Silence, none);
                for (ExchangeEnd end :
                     {ExchangeEnd::ByteBound, ExchangeEnd::TimeBound, ExchangeEnd::PortLost})
                    row(name + "whole, cut off by the link", read, whole, end, true);
                if (r.recordSize) // the first record short by its last byte
                    row(name + "first record cut", read,
                        whole.left(r.recordSize - 1) + whole.mid(r.recordSize),
                        ExchangeEnd::Silence, true);
            }
            for (const QByteArray &odd : {QByteArray(), QByteArray(1, '\0'), QByteArray(64, '\0'),
                                          QByteArray(64, '\xFF'), QByteArray("ch0sw0type0")})
                row(name + "odd " + odd.left(4).toHex(), read, odd, ExchangeEnd::Silence,
                    none || odd.size() % r.recordSize != 0);
            for (int i = 0; i < cases; ++i) {
                QByteArray stream = corpus.at(random.bounded(corpus.size()));
                const int at = stream.isEmpty() ? 0 : random.bounded(stream.size());
                const char byte = char(random.bounded(256));
                bool shifted = true; // the length is no longer a whole number of records
                switch (random.bounded(5)) {
                case 0: // a byte lost
                    stream.remove(at, 1);
                    break;
                case 1: // a byte too many
                    stream.insert(at, byte);
                    break;
                case 2: // a byte changed
                    stream[at] = byte;
                    shifted = false;
                    break;
                case 3: // cut short
                    stream.truncate(at);
                    shifted = r.recordSize && at % r.recordSize;
                    break;
                default: // noise
                    stream = QByteArray(random.bounded(300), '\0');
                    for (char &c : stream)
                        c = char(random.bounded(256));
                    shifted = r.recordSize && stream.size() % r.recordSize;
                    break;
                }
                row(name + QString::number(i), read, stream, ExchangeEnd::Silence, none || shifted);
            }
        }
    }

    // Nothing crashes, nothing of a malformed form is written, no field holds more than
    // its width, and a reply that cannot be whole stores nothing at all.
    void replies()
    {
        QFETCH(int, read);
        QFETCH(QByteArray, stream);
        QFETCH(ExchangeEnd, end);
        QFETCH(bool, storesNothing);
        const Read &r = Reads.at(read);
        registers->updateSettings();
        const QMap<QString, QString> before = sessionSnapshot();

        QRandomGenerator split(quint32(qHash(stream)));
        for (int at = 0; at < stream.size();) {
            const int size = 1 + int(split.bounded(quint32(r.count)));
            emit serial->sigDataRead(stream.mid(at, size), r.count, r.type);
            at += size;
        }
        emit serial->sigExchangeEnded(r.type, end, QByteArray(1, r.command), 0);
        registers->updateSettings();

        const QStringList problems = malformedWrites(before);
        QVERIFY2(problems.isEmpty(), qPrintable(problems.join(' ')));
        for (const Channel *channel : qAsConst(channels))
            for (const Register *reg : qAsConst(*channel->registers))
                for (const Field &field : reg->fields)
                    QVERIFY2(field.length <= 12 && field.value < (1u << field.length),
                             qPrintable(reg->name + '/' + field.name));
        if (storesNothing)
            QCOMPARE(sessionSnapshot(), before);
    }

private:
    TestSettings settings;
    std::unique_ptr<SerialController> serial;
    std::unique_ptr<RegisterController> registers;
    std::unique_ptr<SensingController> sensing;
    std::unique_ptr<AudioSettingsController> audio;
    std::unique_ptr<ThresholdCalibratorController> calibrator;
};

QTEST_MAIN(TestReplyFuzz)
#include "tst_replyfuzz.moc"
