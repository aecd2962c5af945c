// libFuzzer target for the reply paths: the first byte of an input picks the read
// command and how its exchange ends, the rest is the reply, handed to the four real
// controllers in reads of at most the command's read count. Built with clang and
// -DKTR_FUZZ=ON; any sanitizer finding or broken invariant aborts.
#include "audiosettings/audiosettingscontroller.h"
#include "audiosettings/audiosettingskeys.h"
#include "link/registerstore.h"
#include "link/serialcontroller.h"
#include "registers/registercontroller.h"
#include "sensing/sensingcontroller.h"
#include "sensing/thresholdcalibratorcontroller.h"

#include <QCoreApplication>
#include <QSettings>
#include <QTemporaryDir>
#include <cstdlib>

namespace {

struct Controllers
{
    Controllers()
    {
        QSettings::setDefaultFormat(QSettings::IniFormat);
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, dir.path());
        QCoreApplication::setOrganizationName(QStringLiteral("ktrfuzz"));
        QCoreApplication::setApplicationName(QStringLiteral("replies"));
    }
    QTemporaryDir dir;
    SerialController serial{[] { return QList<PortCandidate>(); }};
    RegisterController registers{&serial};
    SensingController sensing{&serial};
    AudioSettingsController audio{&serial};
    ThresholdCalibratorController calibrator{&serial};
};

void check(bool holds)
{
    if (!holds)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static Controllers *controllers = new Controllers; // lives for the whole run
    if (size == 0)
        return 0;
    static const int counts[] = {0, 3, 4, 13, 3, 3, 3};
    const ReadType type = ReadType(1 + data[0] % 6);
    const ExchangeEnd end = data[0] & 0x80 ? ExchangeEnd::TimeBound : ExchangeEnd::Silence;
    const QByteArray reply(reinterpret_cast<const char *>(data + 1), int(size - 1));
    const int count = counts[type];
    for (int at = 0; at < reply.size(); at += count)
        emit controllers->serial.sigDataRead(reply.mid(at, count), count, type);
    emit controllers->serial.sigExchangeEnded(type, end, QByteArray(), 0);

    for (const Channel *channel : qAsConst(channels))
        for (const Register *reg : qAsConst(*channel->registers))
            for (const Field &field : reg->fields)
                check(field.length <= 12 && field.value < (1u << field.length));
    QSettings settings;
    settings.beginGroup(AudioPlaybackGroup);
    for (const QString &key : settings.allKeys())
        check(isAudioSettingKey(key));
    return 0;
}
