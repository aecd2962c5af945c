#include "kittool.h"

#include "app/constants.h"
#include "audiosettings/audiosettingscontroller.h"
#include "kit/kittransfer.h"
#include "kit/settingsfile.h"
#include "link/serialcontroller.h"
#include "link/wire.h"
#include "registers/registercontroller.h"
#include "registers/registermodel.h"
#include "sensing/sensingcontroller.h"
#include "sensing/sensingparameters.h"
#include "sensing/thresholdcalibratorcontroller.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <QSettings>
#include <QTemporaryDir>
#include <QTextStream>
#include <QThread>
#include <memory>
#include <optional>

namespace {

const QString ToolName = QStringLiteral("ktr4207-kit");
// The kit needs a moment after its port opens before it takes a command.
constexpr unsigned long PortSettleMs = 200;
constexpr quint16 ChipIdRevB = 0x2466;
constexpr quint16 ChipIdRevC = 0x246A;

// A failure on the way: the status it ends with and its one line on standard error.
struct Failure
{
    int status;
    QString message;
};

struct Subcommand
{
    QString name;
    QString synopsis;
    QString summary;
    QString details;
    QStringList options; // the options it takes besides --port, --json and --help
    int minArguments;
    int maxArguments; // -1: any number
};

const QList<Subcommand> &subcommands()
{
    static const QList<Subcommand> list{
        {"ports",
         "ports [--all]",
         "list the serial ports that carry the kit's USB identifiers",
         "  --all   list every serial port\n",
         {"--all"},
         0,
         0},
        {"info",
         "info",
         "firmware identifier, chip identifier and revision of the kit",
         "A firmware the program refuses is shown and ends with its own status.\n",
         {},
         0,
         0},
        {"pull",
         "pull SESSION.ini",
         "read registers, sensing and audio settings from the kit into a session file",
         "The file is written only when the whole read succeeded, and atomically.\n",
         {},
         1,
         1},
        {"push",
         "push SESSION.ini [--eeprom]",
         "send a session to the kit as Send to Device does",
         "  --eeprom   then save it to the kit's EEPROM (Send to Device & Save to EEPROM)\n"
         "A session holding a value that cannot be sent is refused before anything is sent.\n",
         {"--eeprom"},
         1,
         1},
        {"get",
         "get A.REGISTER[.FIELD]...",
         "read registers or fields from the kit",
         "Channel A or B; names as the register map spells them, in any case.\n",
         {},
         1,
         -1},
        {"set",
         "set A.REGISTER.FIELD=VALUE...",
         "change fields and send their registers",
         "Values in decimal or 0x hex. The other fields keep what the kit holds. Sensing is\n"
         "switched off first, as the window's register Send does.\n",
         {},
         1,
         -1},
        {"dump", "dump [A|B]", "every register of a channel as a table", "", {}, 0, 1},
        {"sensing", "sensing on|off", "switch the kit's sensing mode", "", {}, 1, 1},
        {"force",
         "force [--seconds N]",
         "measure the value a press on channel A reaches, as the Force Measurement tab does",
         "  --seconds N   time to press the piezo (default 6)\n",
         {"--seconds"},
         0,
         0},
        {"export",
         "export SESSION.ini --format c|csv|json [-o FILE]",
         "the register words, sensing parameters and audio values that push sends; no kit",
         "  --format c|csv|json   C header (C99 and C++), table or JSON\n"
         "  -o FILE               write to FILE instead of standard output\n",
         {"--format", "-o"},
         1,
         1},
    };
    return list;
}

const Subcommand *findSubcommand(const QString &name)
{
    for (const Subcommand &command : subcommands())
        if (command.name == name)
            return &command;
    return nullptr;
}

QString statusHelp()
{
    return QStringLiteral("Exit status:\n"
                          "  0  success\n"
                          "  2  usage error\n"
                          "  3  no kit or port\n"
                          "  4  firmware refused\n"
                          "  5  failed exchange (a bound reached, a reply that broke, a write that "
                          "failed)\n"
                          "  6  invalid session or value\n");
}

QString toolHelp()
{
    QString text = QStringLiteral("Usage: %1 [--port PATH] [--json] COMMAND [ARGUMENTS]\n"
                                  "Drives the KTR4207 evaluation kit from scripts.\n\nCommands:\n")
                       .arg(ToolName);
    for (const Subcommand &command : subcommands())
        text += QStringLiteral("  %1%2\n").arg(command.name.leftJustified(9), command.summary);
    text += QStringLiteral("\nOptions:\n"
                           "  --port PATH   the kit's serial device (default: found by its USB "
                           "identifiers)\n"
                           "  --json        machine-readable output (ports, info, get, dump, "
                           "force)\n"
                           "  --help        this help, or a command's with COMMAND --help\n"
                           "  --version     the version\n\n") +
            statusHelp();
    return text;
}

QString commandHelp(const Subcommand &command)
{
    return QStringLiteral("Usage: %1 [--port PATH] [--json] %2\n%3.\n%4\n%5")
        .arg(ToolName, command.synopsis, command.summary, command.details, statusHelp());
}

QString hex(quint32 value, int digits = 0)
{
    return QStringLiteral("0x") +
           QStringLiteral("%1").arg(value, digits, 16, QLatin1Char('0')).toUpper();
}

QChar channelLetter(int channel)
{
    return QLatin1Char(channel == 0 ? 'A' : 'B');
}

int levenshtein(const QString &a, const QString &b)
{
    QVector<int> row(b.size() + 1);
    for (int j = 0; j <= b.size(); ++j)
        row[j] = j;
    for (int i = 1; i <= a.size(); ++i) {
        int diagonal = row[0];
        row[0] = i;
        for (int j = 1; j <= b.size(); ++j) {
            const int up = row[j];
            row[j] = qMin(qMin(row[j] + 1, row[j - 1] + 1),
                          diagonal + (a.at(i - 1) == b.at(j - 1) ? 0 : 1));
            diagonal = up;
        }
    }
    return row[b.size()];
}

// The names close to a mistyped one: within two edits, or holding it.
QString closeNames(const QString &typed, const QStringList &names)
{
    QStringList close;
    for (const QString &name : names)
        if (levenshtein(typed.toUpper(), name.toUpper()) <= 2 ||
            (typed.size() > 1 && name.contains(typed, Qt::CaseInsensitive)))
            close << name;
    return close.isEmpty()
               ? QString()
               : QStringLiteral(" (did you mean %1?)").arg(close.join(QStringLiteral(", ")));
}

bool parseNumber(const QString &text, quint32 *value)
{
    bool ok = false;
    const QString trimmed = text.trimmed();
    const qulonglong number = trimmed.startsWith(QLatin1String("0x"), Qt::CaseInsensitive)
                                  ? trimmed.mid(2).toULongLong(&ok, 16)
                                  : trimmed.toULongLong(&ok, 10);
    if (!ok || number > 0xFFFF)
        return false;
    *value = quint32(number);
    return true;
}

// A register (and maybe a field) of the store, named as "A.REGISTER[.FIELD]".
struct FieldRef
{
    int channel = 0;
    Register *reg = nullptr;
    int field = -1; // -1: the whole register
};

std::optional<Failure> resolve(const QString &name, bool needField, FieldRef *ref)
{
    const QStringList parts = name.split(QLatin1Char('.'));
    if (parts.size() < 2 || parts.size() > 3 || (needField && parts.size() != 3))
        return Failure{KitTool::UsageError,
                       QStringLiteral("%1: expected %2")
                           .arg(name, needField ? "A.REGISTER.FIELD" : "A.REGISTER[.FIELD]")};
    const QString channel = parts.at(0).toUpper();
    if (channel != QLatin1String("A") && channel != QLatin1String("B"))
        return Failure{KitTool::InvalidInput,
                       QStringLiteral("%1: no channel %2 (A or B)").arg(name, parts.at(0))};
    ref->channel = channel == QLatin1String("A") ? 0 : 1;
    const Channel *holder = channels.value(ref->channel);
    QStringList registerNames;
    ref->reg = nullptr;
    if (holder && holder->registers)
        for (Register *reg : qAsConst(*holder->registers)) {
            registerNames << reg->name;
            if (reg->name.compare(parts.at(1), Qt::CaseInsensitive) == 0)
                ref->reg = reg;
        }
    if (!ref->reg)
        return Failure{KitTool::InvalidInput, QStringLiteral("%1: no register %2 on channel %3%4")
                                                  .arg(name, parts.at(1), channel,
                                                       closeNames(parts.at(1), registerNames))};
    ref->field = -1;
    if (parts.size() == 3) {
        QStringList fieldNames;
        for (int i = 0; i < ref->reg->fields.size(); ++i) {
            fieldNames << ref->reg->fields.at(i).name;
            if (ref->reg->fields.at(i).name.compare(parts.at(2), Qt::CaseInsensitive) == 0)
                ref->field = i;
        }
        if (ref->field < 0)
            return Failure{KitTool::InvalidInput, QStringLiteral("%1: no field %2 in %3%4")
                                                      .arg(name, parts.at(2), ref->reg->name,
                                                           closeNames(parts.at(2), fieldNames))};
    }
    return std::nullopt;
}

quint16 registerWord(const Register &reg)
{
    QList<FieldBits> bits;
    for (const Field &field : reg.fields)
        bits.append({field.value, field.length});
    return fieldsToWord(quint16(reg.address), bits);
}

QString fieldsText(const Register &reg)
{
    QStringList texts;
    for (const Field &field : reg.fields)
        texts << QStringLiteral("%1=%2").arg(field.name, hex(field.value));
    return texts.join(QLatin1Char(' '));
}

QJsonObject registerJson(int channel, const Register &reg)
{
    QJsonObject fields;
    for (const Field &field : reg.fields)
        fields.insert(field.name, int(field.value));
    return QJsonObject{{"channel", QString(channelLetter(channel))},
                       {"address", int(reg.address)},
                       {"name", reg.name},
                       {"word", hex(registerWord(reg), 4)},
                       {"fields", fields}};
}

// The program's controllers over one link, on the tool's own session.
struct Kit
{
    SerialController serial;
    RegisterController registers{&serial};
    SensingController sensing{&serial};
    AudioSettingsController audio{&serial};
    ThresholdCalibratorController calibrator{&serial};
    KitTransfer transfer{&serial, &registers, &sensing, &audio};

    explicit Kit(PortEnumerator enumerate) : serial(std::move(enumerate))
    {
        serial.setMessagesShown(false);
        QObject::connect(&serial, &SerialController::sigDeviceConnected, &transfer,
                         [this](bool connected) {
                             if (!connected)
                                 transfer.countLinkFault();
                         });
        // The tool does not know the kit's sensing state: it always says which it wants.
        KitTransfer::Views views;
        views.sensingCanSwitch = [](bool) { return true; };
        transfer.setViews(views);
    }
};

// The commands that a send writes, recorded from a link without a kit.
QList<QByteArray> recordSend(QString *refusal)
{
    Kit kit([] { return QList<PortCandidate>(); });
    QList<QByteArray> commands;
    QObject::connect(&kit.serial, &SerialController::sigExchangeStarted, &kit.serial,
                     [&](QByteArray command) { commands.append(command); });
    if (kit.transfer.send() == KitTransfer::Result::Refused)
        *refusal = kit.transfer.refusal();
    return commands;
}

} // namespace

KitTool::KitTool(QTextStream &out, QTextStream &err) : out(out), err(err) {}

namespace {

class Run
{
public:
    Run(QTextStream &out, QTextStream &err) : out(out), err(err) {}
    int main(const QStringList &arguments);

private:
    int fail(const Failure &failure)
    {
        err << ToolName << ": " << failure.message << Qt::endl;
        return failure.status;
    }
    int fail(int status, const QString &message) { return fail(Failure{status, message}); }

    std::optional<Failure> openSession(const QString &path);
    std::optional<Failure> connectKit(bool takeChip);
    std::optional<Failure> readRegisters();
    std::optional<Failure> settle();
    void print(const QJsonArray &list) { out << QJsonDocument(list).toJson(); }
    void print(const QJsonObject &object) { out << QJsonDocument(object).toJson(); }

    int ports();
    int info();
    int pull(const QString &path);
    int push(const QString &path);
    int get(const QStringList &names);
    int set(const QStringList &assignments);
    int dump(const QStringList &which);
    int sensing(const QString &state);
    int force();
    int exportSession(const QString &path);

    QTextStream &out;
    QTextStream &err;
    QTemporaryDir folder;
    QMap<QString, QString> options;
    bool json = false;
    std::unique_ptr<Kit> kit;
    QString firmware;
    quint16 chipId = 0;
};

std::optional<Failure> Run::openSession(const QString &path)
{
    QString error;
    if (!isSessionFile(path, &error) || !replaceWithCopy(path, QSettings().fileName(), &error))
        return Failure{KitTool::InvalidInput,
                       QStringLiteral("%1: not a session: %2").arg(path, error)};
    QSettings().sync();
    return std::nullopt;
}

// Opens the kit and asks its identifiers. With takeChip the session takes the kit's
// register map; otherwise a session of another chip is refused.
std::optional<Failure> Run::connectKit(bool takeChip)
{
    const QString port = options.value(QStringLiteral("--port"));
    const PortEnumerator enumerate = port.isEmpty() ? PortEnumerator(systemPorts) : fixedPort(port);
    if (!port.isEmpty() && enumerate().isEmpty())
        return Failure{KitTool::NoKit, QStringLiteral("%1: no such serial device").arg(port)};
    for (int pass = 0; pass < 2; ++pass) {
        kit.reset();
        kit = std::make_unique<Kit>(enumerate);
        if (!kit->serial.isConnected())
            return Failure{KitTool::NoKit,
                           port.isEmpty() ? QStringLiteral("no kit found (try --port)")
                                          : QStringLiteral("%1: cannot open the port").arg(port)};
        QThread::msleep(PortSettleMs);
        firmware.clear();
        QByteArray chip;
        QObject::connect(&kit->registers, &RegisterController::sigSetFirmwareId, &kit->registers,
                         [&](QString id) { firmware = id; });
        QObject::connect(&kit->registers, &RegisterController::sigSetChipId, &kit->registers,
                         [&](QByteArray data) { chip = data; });
        const int faults = kit->transfer.linkFaults();
        kit->serial.sendData(QByteArray("="), 1, 3, ReadFirmwareId);
        if (kit->transfer.linkFaults() != faults || firmware.isNull())
            return Failure{KitTool::ExchangeFailed, QStringLiteral("no firmware identifier")};
        kit->serial.sendData(QByteArray("H"), 1, 3, ReadChipId);
        if (kit->transfer.linkFaults() != faults || chip.isEmpty())
            return Failure{KitTool::ExchangeFailed, QStringLiteral("no chip identifier")};
        chipId = bytesToInt(chip);
        if (firmware != COMPATIBLE_FIRMWARE_VERSION)
            return Failure{KitTool::RefusedFirmware,
                           QStringLiteral("firmware %1 is not compatible (compatible: %2)")
                               .arg(firmware, COMPATIBLE_FIRMWARE_VERSION)};
        // An unknown chip is worked with through the map of revision C, as the window does.
        const int revision = chipId == ChipIdRevB ? CHIPID_REV_B : CHIPID_REV_C;
        // A session without a chip identifier has the map of revision C.
        QSettings settings;
        if (settings.value(CHIPID_KEY, CHIPID_REV_C).toInt() == revision) {
            settings.setValue(CHIPID_KEY, revision);
            settings.sync();
            return std::nullopt;
        }
        if (!takeChip)
            return Failure{KitTool::InvalidInput,
                           QStringLiteral("the session is for another chip revision than the "
                                          "kit's (%1)")
                               .arg(QChar(revision))};
        settings.clear();
        settings.setValue(CHIPID_KEY, revision);
        settings.sync();
    }
    return std::nullopt;
}

std::optional<Failure> Run::readRegisters()
{
    const int faults = kit->transfer.linkFaults();
    kit->registers.readRegisters();
    if (kit->transfer.linkFaults() != faults || !kit->serial.isConnected())
        return Failure{KitTool::ExchangeFailed, QStringLiteral("the registers did not read whole")};
    return std::nullopt;
}

// Closing the port drops what the kit has not taken yet: a query answered tells that
// every command before it has reached the kit.
std::optional<Failure> Run::settle()
{
    firmware.clear();
    const int faults = kit->transfer.linkFaults();
    kit->serial.sendData(QByteArray("="), 1, 3, ReadFirmwareId);
    if (kit->transfer.linkFaults() != faults || firmware.isNull())
        return Failure{KitTool::ExchangeFailed,
                       QStringLiteral("the kit did not answer after the commands")};
    return std::nullopt;
}

int Run::ports()
{
    QJsonArray list;
    for (const PortCandidate &port : systemPorts()) {
        const bool isKit = port.hasIdentifiers &&
                           port.vendorIdentifier == SerialController::KitVendorId &&
                           port.productIdentifier == SerialController::KitProductId;
        if (!isKit && !options.contains(QStringLiteral("--all")))
            continue;
        const QString ids = port.hasIdentifiers
                                ? QStringLiteral("%1:%2")
                                      .arg(port.vendorIdentifier, 4, 16, QLatin1Char('0'))
                                      .arg(port.productIdentifier, 4, 16, QLatin1Char('0'))
                                : QString();
        list.append(QJsonObject{{"port", port.systemLocation}, {"usb", ids}, {"kit", isKit}});
        if (!json)
            out << port.systemLocation << (ids.isEmpty() ? QString() : "  " + ids)
                << (isKit ? "  KTR4207-KIT" : "") << Qt::endl;
    }
    if (json)
        print(list);
    return KitTool::Success;
}

int Run::info()
{
    const std::optional<Failure> failure = connectKit(true);
    if (failure && failure->status != KitTool::RefusedFirmware)
        return fail(*failure);
    const QString revision = chipId == ChipIdRevB ? "B" : chipId == ChipIdRevC ? "C" : "unknown";
    const bool compatible = !failure;
    if (json)
        print(QJsonObject{{"firmware", firmware},
                          {"compatible", compatible},
                          {"chip", hex(chipId, 4)},
                          {"revision", revision}});
    else
        out << "firmware  " << firmware << (compatible ? "" : "  (refused)") << "\nchip      "
            << hex(chipId, 4) << "\nrevision  " << revision << Qt::endl;
    return failure ? fail(*failure) : KitTool::Success;
}

int Run::pull(const QString &path)
{
    if (const auto failure = connectKit(true))
        return fail(*failure);
    if (kit->transfer.load() != KitTransfer::Result::Whole)
        return fail(KitTool::ExchangeFailed,
                    QStringLiteral("the kit did not read whole; %1 is left as it was").arg(path));
    {
        QSettings settings;
        settings.setValue(QStringLiteral("first_boot"), false); // read from the kit already
        settings.sync();
    }
    QString error;
    if (!replaceWithCopy(QSettings().fileName(), path, &error))
        return fail(KitTool::InvalidInput, QStringLiteral("%1: %2").arg(path, error));
    return KitTool::Success;
}

int Run::push(const QString &path)
{
    if (const auto failure = openSession(path))
        return fail(*failure);
    QString refusal;
    recordSend(&refusal); // judged before the kit is as much as asked who it is
    if (!refusal.isEmpty())
        return fail(KitTool::InvalidInput,
                    QStringLiteral("%1 cannot be sent: %2; nothing was sent").arg(path, refusal));
    if (const auto failure = connectKit(false))
        return fail(*failure);
    const KitTransfer::Result result = options.contains(QStringLiteral("--eeprom"))
                                           ? kit->transfer.sendAndSave()
                                           : kit->transfer.send();
    if (result == KitTransfer::Result::Refused)
        return fail(KitTool::InvalidInput,
                    QStringLiteral("%1 cannot be sent: %2").arg(path, kit->transfer.refusal()));
    if (result != KitTransfer::Result::Whole)
        return fail(KitTool::ExchangeFailed, QStringLiteral("the send did not pass whole"));
    if (const auto failure = settle())
        return fail(*failure);
    return KitTool::Success;
}

int Run::get(const QStringList &names)
{
    if (const auto failure = connectKit(true))
        return fail(*failure);
    QList<FieldRef> refs;
    for (const QString &name : names) {
        FieldRef ref;
        if (const auto failure = resolve(name, false, &ref))
            return fail(*failure);
        refs << ref;
    }
    if (const auto failure = readRegisters())
        return fail(*failure);
    QJsonArray list;
    for (const FieldRef &ref : qAsConst(refs)) {
        const QString prefix =
            QStringLiteral("%1.%2").arg(channelLetter(ref.channel), ref.reg->name);
        if (ref.field < 0) {
            list.append(registerJson(ref.channel, *ref.reg));
            if (!json)
                out << prefix << " = " << hex(registerWord(*ref.reg), 4) << "  "
                    << fieldsText(*ref.reg) << Qt::endl;
            continue;
        }
        const Field &field = ref.reg->fields.at(ref.field);
        list.append(QJsonObject{{"channel", QString(channelLetter(ref.channel))},
                                {"register", ref.reg->name},
                                {"field", field.name},
                                {"value", int(field.value)}});
        if (!json)
            out << prefix << "." << field.name << " = " << hex(field.value) << " (" << field.value
                << ")" << Qt::endl;
    }
    if (json)
        print(list);
    return KitTool::Success;
}

int Run::set(const QStringList &assignments)
{
    if (const auto failure = connectKit(true))
        return fail(*failure);
    struct Change
    {
        FieldRef ref;
        quint16 value;
    };
    QList<Change> changes;
    for (const QString &assignment : assignments) {
        const int equals = assignment.indexOf(QLatin1Char('='));
        if (equals < 0)
            return fail(KitTool::UsageError,
                        QStringLiteral("%1: expected A.REGISTER.FIELD=VALUE").arg(assignment));
        FieldRef ref;
        if (const auto failure = resolve(assignment.left(equals), true, &ref))
            return fail(*failure);
        const Field &field = ref.reg->fields.at(ref.field);
        quint32 value = 0;
        if (!parseNumber(assignment.mid(equals + 1), &value))
            return fail(KitTool::InvalidInput,
                        QStringLiteral("%1: not a number").arg(assignment.mid(equals + 1)));
        if (!ref.reg->editable)
            return fail(KitTool::InvalidInput,
                        QStringLiteral("%1: %2 is read-only").arg(assignment, ref.reg->name));
        if (value < field.min || value > field.max || !fieldsFit({{value, field.length}}))
            return fail(KitTool::InvalidInput,
                        QStringLiteral("%1: outside %2 to %3")
                            .arg(assignment, hex(field.min), hex(field.max)));
        changes << Change{ref, quint16(value)};
    }
    if (const auto failure = readRegisters())
        return fail(*failure);
    QList<QPair<int, Register *>> touched;
    for (const Change &change : qAsConst(changes)) {
        change.ref.reg->fields[change.ref.field].value = change.value;
        if (!touched.contains({change.ref.channel, change.ref.reg}))
            touched.append({change.ref.channel, change.ref.reg});
    }
    const int faults = kit->transfer.linkFaults();
    kit->transfer.deactivateSensing();
    for (const auto &entry : qAsConst(touched))
        kit->registers.sendRegister(entry.first, entry.second->address,
                                    registerWord(*entry.second) & 0x0FFF);
    if (kit->transfer.linkFaults() != faults || !kit->serial.isConnected())
        return fail(KitTool::ExchangeFailed, QStringLiteral("the registers were not all written"));
    if (const auto failure = settle())
        return fail(*failure);
    return KitTool::Success;
}

int Run::dump(const QStringList &which)
{
    QList<int> wanted{0, 1};
    if (!which.isEmpty()) {
        const QString channel = which.first().toUpper();
        if (channel != QLatin1String("A") && channel != QLatin1String("B"))
            return fail(KitTool::UsageError,
                        QStringLiteral("%1: channel A or B").arg(which.first()));
        wanted = {channel == QLatin1String("A") ? 0 : 1};
    }
    if (const auto failure = connectKit(true))
        return fail(*failure);
    if (const auto failure = readRegisters())
        return fail(*failure);
    QJsonArray list;
    for (int channel : qAsConst(wanted)) {
        const Channel *holder = channels.value(channel);
        if (!holder || !holder->registers)
            continue;
        if (!json)
            out << "channel " << channelLetter(channel)
                << "\naddr  name              word    fields" << Qt::endl;
        for (const Register *reg : qAsConst(*holder->registers)) {
            list.append(registerJson(channel, *reg));
            if (!json)
                out << hex(reg->address, 1) << "   " << reg->name.leftJustified(16) << "  "
                    << hex(registerWord(*reg), 4) << "  " << fieldsText(*reg) << Qt::endl;
        }
    }
    if (json)
        print(list);
    return KitTool::Success;
}

int Run::sensing(const QString &state)
{
    if (state != QLatin1String("on") && state != QLatin1String("off"))
        return fail(KitTool::UsageError, QStringLiteral("sensing: on or off, not %1").arg(state));
    if (const auto failure = connectKit(true))
        return fail(*failure);
    const int faults = kit->transfer.linkFaults();
    if (state == QLatin1String("on"))
        kit->transfer.activateSensing();
    else
        kit->transfer.deactivateSensing();
    if (kit->transfer.linkFaults() != faults)
        return fail(KitTool::ExchangeFailed, QStringLiteral("the command did not go out"));
    if (const auto failure = settle())
        return fail(*failure);
    return KitTool::Success;
}

int Run::force()
{
    quint32 seconds = 6;
    if (options.contains(QStringLiteral("--seconds")) &&
        (!parseNumber(options.value(QStringLiteral("--seconds")), &seconds) || seconds > 600))
        return fail(KitTool::UsageError, QStringLiteral("--seconds: a number of seconds to 600"));
    if (const auto failure = connectKit(true))
        return fail(*failure);
    int value = -1;
    QObject::connect(&kit->calibrator, &ThresholdCalibratorController::sigSetMaxThreshold,
                     &kit->calibrator, [&](int measured) { value = measured; });
    const int faults = kit->transfer.linkFaults();
    kit->transfer.activateSensing();
    kit->calibrator.setMaxThreshold();
    if (!json)
        err << "Press the piezo of channel A within " << seconds << " s" << Qt::endl;
    QThread::sleep(seconds);
    kit->calibrator.getMaxThreshold();
    if (kit->transfer.linkFaults() != faults || value < 0)
        return fail(KitTool::ExchangeFailed, QStringLiteral("no measured value"));
    if (json)
        print(QJsonObject{{"value", value}});
    else
        out << value << Qt::endl;
    return KitTool::Success;
}

int Run::exportSession(const QString &path)
{
    const QString format = options.value(QStringLiteral("--format"));
    if (format != QLatin1String("c") && format != QLatin1String("csv") &&
        format != QLatin1String("json"))
        return fail(KitTool::UsageError, QStringLiteral("export: --format c, csv or json"));
    if (const auto failure = openSession(path))
        return fail(*failure);
    QString refusal;
    const QList<QByteArray> commands = recordSend(&refusal);
    if (!refusal.isEmpty())
        return fail(KitTool::InvalidInput,
                    QStringLiteral("%1 cannot be sent: %2").arg(path, refusal));
    // The register map of the session, for the names in the comments.
    Kit offline([] { return QList<PortCandidate>(); });

    QString text;
    QTextStream stream(&text);
    QJsonObject document;
    QJsonArray registers[2], sensingValues[2], audio;
    QStringList cRegisters[2], cSensing[2], cAudio;
    if (format == QLatin1String("csv"))
        stream << "kind,channel,key,value,comment\n";
    for (const QByteArray &command : commands) {
        const char kind = command.at(0);
        if (kind == '0' && command.size() == 4) {
            const int channel = command.at(1) - '0';
            const quint16 word = bytesToInt(command.mid(2, 2));
            const Register *reg = findRegister(quint16(channel), word >> 12);
            const QString comment =
                reg ? QStringLiteral("%1: %2").arg(reg->name, fieldsText(*reg)) : QString();
            registers[channel & 1].append(
                QJsonObject{{"address", word >> 12}, {"word", hex(word, 4)}, {"comment", comment}});
            cRegisters[channel & 1]
                << QStringLiteral("    %1, /* %2 */").arg(hex(word, 4), comment);
            if (format == QLatin1String("csv"))
                stream << "register," << channelLetter(channel) << "," << hex(word >> 12, 1) << ","
                       << hex(word, 4) << ",\"" << comment << "\"\n";
        } else if (kind == '2' && command.size() == 5) {
            const int channel = command.at(1) - '0';
            const SensingParameter *parameter = sensingParameterByCode(quint8(command.at(2)));
            const QString key = parameter ? parameter->key : QString();
            const quint16 value = bytesToInt(command.mid(3, 2));
            sensingValues[channel & 1].append(QJsonObject{
                {"code", hex(quint8(command.at(2)), 2)}, {"key", key}, {"value", hex(value, 4)}});
            cSensing[channel & 1] << QStringLiteral("    { %1, %2 }, /* %3 */")
                                         .arg(hex(quint8(command.at(2)), 2), hex(value, 4), key);
            if (format == QLatin1String("csv"))
                stream << "sensing," << channelLetter(channel) << "," << key << "," << hex(value, 4)
                       << "," << hex(quint8(command.at(2)), 2) << "\n";
        } else if (kind == '6' && command.size() == 6) {
            const QString key = QStringLiteral("ch%1sw%2type%3")
                                    .arg(command.at(1))
                                    .arg(command.at(2))
                                    .arg(command.at(3));
            const quint16 value = bytesToInt(command.mid(4, 2));
            audio.append(QJsonObject{{"key", key}, {"value", hex(value, 4)}});
            cAudio << QStringLiteral("    { %1, %2, %3, %4 }, /* %5 = %6 */")
                          .arg(command.at(1))
                          .arg(command.at(2))
                          .arg(command.at(3))
                          .arg(hex(value, 4), key)
                          .arg(bytesToFloat(command.mid(4, 2)));
            if (format == QLatin1String("csv"))
                stream << "audio,," << key << "," << hex(value, 4) << ","
                       << bytesToFloat(command.mid(4, 2)) << "\n";
        }
    }
    auto cArray = [&](const QString &type, const QString &name, const QStringList &lines) {
        stream << "static const " << type << " " << name << "[] KTR4207_UNUSED = {\n"
               << (lines.isEmpty() ? QStringLiteral("    { 0 }") : lines.join('\n')) << "\n};\n"
               << "#define " << name.toUpper() << "_COUNT " << lines.size() << "\n\n";
    };
    if (format == QLatin1String("c")) {
        stream << "/* The KTR4207 kit's settings of a session, as ktr4207-kit push sends them. */\n"
                  "#ifndef KTR4207_SESSION_H\n#define KTR4207_SESSION_H\n\n#include <stdint.h>\n\n"
                  "#if defined(__GNUC__)\n#define KTR4207_UNUSED __attribute__((unused))\n#else\n"
                  "#define KTR4207_UNUSED\n#endif\n\n"
                  "/* Register words in the order they are sent: address in bits 15..12, data in "
                  "11..0. */\n";
        cArray("uint16_t", "ktr4207_registers_a", cRegisters[0]);
        cArray("uint16_t", "ktr4207_registers_b", cRegisters[1]);
        stream << "/* Sensing parameters of each channel's entry: wire code, raw 16-bit value. */\n"
                  "typedef struct {\n    uint8_t code;\n    uint16_t value;\n} "
                  "ktr4207_sensing_parameter;\n\n";
        cArray("ktr4207_sensing_parameter", "ktr4207_sensing_a", cSensing[0]);
        cArray("ktr4207_sensing_parameter", "ktr4207_sensing_b", cSensing[1]);
        stream << "/* Audio output range values: channel, switch, type, value in hundredths. */\n"
                  "typedef struct {\n    uint8_t channel;\n    uint8_t sw;\n    uint8_t type;\n"
                  "    uint16_t value;\n} ktr4207_audio_value;\n\n";
        cArray("ktr4207_audio_value", "ktr4207_audio", cAudio);
        stream << "#endif /* KTR4207_SESSION_H */\n";
    } else if (format == QLatin1String("json")) {
        stream << QJsonDocument(QJsonObject{{"registers",
                                             QJsonObject{{"A", registers[0]}, {"B", registers[1]}}},
                                            {"sensing", QJsonObject{{"A", sensingValues[0]},
                                                                    {"B", sensingValues[1]}}},
                                            {"audio", audio}})
                      .toJson(QJsonDocument::Indented);
    }
    stream.flush();
    const QString target = options.value(QStringLiteral("-o"));
    if (target.isEmpty()) {
        out << text;
        return KitTool::Success;
    }
    QSaveFile file(target);
    if (!file.open(QIODevice::WriteOnly) || file.write(text.toUtf8()) < 0 || !file.commit())
        return fail(KitTool::InvalidInput,
                    QStringLiteral("%1: %2").arg(target, file.errorString()));
    return KitTool::Success;
}

int Run::main(const QStringList &arguments)
{
    const QStringList valued{"--port", "--seconds", "--format", "-o"};
    const QStringList flags{"--json", "--help", "-h", "--version", "--all", "--eeprom"};
    QStringList positional;
    for (int i = 0; i < arguments.size(); ++i) {
        QString argument = arguments.at(i);
        if (!argument.startsWith(QLatin1Char('-')) || argument == QLatin1String("-")) {
            positional << argument;
            continue;
        }
        QString value;
        const int equals = argument.indexOf(QLatin1Char('='));
        if (equals > 0) {
            value = argument.mid(equals + 1);
            argument = argument.left(equals);
        }
        if (valued.contains(argument)) {
            if (equals < 0) {
                if (++i >= arguments.size())
                    return fail(KitTool::UsageError,
                                QStringLiteral("%1 needs a value").arg(argument));
                value = arguments.at(i);
            }
            options.insert(argument, value);
        } else if (flags.contains(argument) && equals < 0) {
            options.insert(argument == QLatin1String("-h") ? QStringLiteral("--help") : argument,
                           QString());
        } else {
            return fail(KitTool::UsageError,
                        QStringLiteral("unknown option %1; try --help").arg(arguments.at(i)));
        }
    }
    json = options.contains(QStringLiteral("--json"));
    if (options.contains(QStringLiteral("--version"))) {
        out << ToolName << " " << APP_VERSION << Qt::endl;
        return KitTool::Success;
    }
    const Subcommand *command = positional.isEmpty() ? nullptr : findSubcommand(positional.first());
    if (options.contains(QStringLiteral("--help"))) {
        out << (command ? commandHelp(*command) : toolHelp());
        return KitTool::Success;
    }
    if (!command)
        return fail(KitTool::UsageError,
                    positional.isEmpty()
                        ? QStringLiteral("no command; try --help")
                        : QStringLiteral("unknown command %1; try --help").arg(positional.first()));
    positional.removeFirst();
    for (auto it = options.cbegin(); it != options.cend(); ++it)
        if (!command->options.contains(it.key()) && it.key() != QLatin1String("--port") &&
            it.key() != QLatin1String("--json"))
            return fail(
                KitTool::UsageError,
                QStringLiteral("%1 takes no %2; try %1 --help").arg(command->name, it.key()));
    if (positional.size() < command->minArguments ||
        (command->maxArguments >= 0 && positional.size() > command->maxArguments))
        return fail(KitTool::UsageError,
                    QStringLiteral("usage: %1 %2").arg(ToolName, command->synopsis));

    // A session of the tool's own: the window's settings are never touched.
    if (!folder.isValid())
        return fail(KitTool::InvalidInput, QStringLiteral("no temporary folder"));
    QSettings::setDefaultFormat(QSettings::IniFormat);
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, folder.path());
    QCoreApplication::setOrganizationName(ORG_NAME);
    QCoreApplication::setApplicationName(ToolName);
    qRegisterMetaType<ReadType>("ReadType");

    const QString name = command->name;
    if (name == QLatin1String("ports"))
        return ports();
    if (name == QLatin1String("info"))
        return info();
    if (name == QLatin1String("pull"))
        return pull(positional.first());
    if (name == QLatin1String("push"))
        return push(positional.first());
    if (name == QLatin1String("get"))
        return get(positional);
    if (name == QLatin1String("set"))
        return set(positional);
    if (name == QLatin1String("dump"))
        return dump(positional);
    if (name == QLatin1String("sensing"))
        return sensing(positional.first());
    if (name == QLatin1String("force"))
        return force();
    return exportSession(positional.first());
}

} // namespace

int KitTool::run(const QStringList &arguments)
{
    Run run(out, err);
    const int status = run.main(arguments);
    out.flush();
    err.flush();
    return status;
}
