#include "audiosettings/audiosettingscontroller.h"
#include "kitfirmware.h"
#include "link/registerstore.h"
#include "link/serialcontroller.h"
#include "registers/registercontroller.h"
#include "sensing/sensingcontroller.h"
#include "sensing/thresholdcalibratorcontroller.h"
#include "support/datarow.h"
#include "support/kitfixture.h"
#include "support/sessionshape.h"
#include "support/testsettings.h"

#include <QRandomGenerator>
#include <QtTest>

// Replies of every read command, whole, mutated and random, fed through the four real
// controllers as the link hands them on: in reads of at most the command's read count,
// then the end of the exchange. Set KTR_FUZZ_CASES and KTR_FUZZ_SEED to run more.
class TestReplyFuzz : public QObject
{
    Q_OBJECT

private slots:
    void replies_data()
    {
        columns<int, QByteArray, ExchangeEnd, bool>({"read", "stream", "end", "storesNothing"});
        const auto row = [](const QString &name, int read, const QByteArray &stream,
                            ExchangeEnd end, bool storesNothing) {
            QTest::newRow(qPrintable(name)) << read << stream << end << storesNothing;
        };
        const auto env = [](const char *name, int fallback) {
            bool ok = false;
            const int value = qEnvironmentVariableIntValue(name, &ok);
            return ok ? value : fallback;
        };
        QRandomGenerator random(quint32(env("KTR_FUZZ_SEED", 4207)));
        const int cases = env("KTR_FUZZ_CASES", 40);
        for (int read = 0; read < KitReads.size(); ++read) {
            const KitRead &r = KitReads.at(read);
            const int size = r.recordSize;
            const QString name = QString(QLatin1Char(r.command)) + ' ';
            QList<QByteArray> corpus;
            for (quint16 chip : {KitFirmware::ChipIdRevB, KitFirmware::ChipIdRevC})
                corpus << KitFirmware(chip).feed(QByteArray(1, r.command)).value(0).reply;
            for (const QByteArray &whole : qAsConst(corpus)) {
                row(name + "whole", read, whole, ExchangeEnd::Silence, !size);
                for (ExchangeEnd end :
                     {ExchangeEnd::ByteBound, ExchangeEnd::TimeBound, ExchangeEnd::PortLost})
                    row(name + "whole, cut off by the link", read, whole, end, true);
                if (size) // the first record short by its last byte
                    row(name + "first record cut", read, whole.left(size - 1) + whole.mid(size),
                        ExchangeEnd::Silence, true);
            }
            for (const QByteArray &odd : {QByteArray(), QByteArray(1, '\0'), QByteArray(64, '\0'),
                                          QByteArray(64, '\xFF'), QByteArray("ch0sw0type0")})
                row(name + "odd " + odd.left(4).toHex(), read, odd, ExchangeEnd::Silence,
                    !size || odd.size() % size);
            for (int i = 0; i < cases; ++i) {
                QByteArray stream = corpus.at(random.bounded(corpus.size()));
                const int at = stream.isEmpty() ? 0 : random.bounded(stream.size());
                const char byte = char(random.bounded(256));
                switch (random.bounded(5)) {
                case 0: // a byte lost
                    stream.remove(at, 1);
                    break;
                case 1: // a byte too many
                    stream.insert(at, byte);
                    break;
                case 2: // a byte changed, the length still a whole number of records
                    stream[at] = byte;
                    break;
                case 3: // cut short
                    stream.truncate(at);
                    break;
                default: // noise
                    stream.resize(random.bounded(300));
                    for (char &c : stream)
                        c = char(random.bounded(256));
                }
                row(name + QString::number(i), read, stream, ExchangeEnd::Silence,
                    !size || stream.size() % size);
            }
        }
    }

    // Nothing crashes, nothing of a malformed form is written, no field holds more than
    // its width, and a reply that cannot be whole stores nothing at all.
    void replies()
    {
        const auto [read, stream, end, storesNothing] =
            fetchRow<int, QByteArray, ExchangeEnd, bool>("read", "stream", "end", "storesNothing");
        const KitRead &r = KitReads.at(read);
        registers.updateSettings();
        const QMap<QString, QString> before = sessionSnapshot();

        QRandomGenerator split(quint32(qHash(stream)));
        for (int at = 0; at < stream.size();) {
            const int size = 1 + int(split.bounded(quint32(r.count)));
            emit serial.sigDataRead(stream.mid(at, size), r.count, r.type);
            at += size;
        }
        emit serial.sigExchangeEnded(r.type, end, QByteArray(1, r.command), 0);
        registers.updateSettings();

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
    SerialController serial{[] { return QList<PortCandidate>(); }};
    RegisterController registers{&serial};
    SensingController sensing{&serial};
    AudioSettingsController audio{&serial};
    ThresholdCalibratorController calibrator{&serial};
};

QTEST_MAIN(TestReplyFuzz)
#include "tst_replyfuzz.moc"
