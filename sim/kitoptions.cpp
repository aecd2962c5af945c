#include "kitoptions.h"

#include <QStringList>

namespace {

bool parseChip(const QString &text, quint16 *chip)
{
    if (text.compare(QLatin1String("B"), Qt::CaseInsensitive) == 0) {
        *chip = KitFirmware::ChipIdRevB;
        return true;
    }
    if (text.compare(QLatin1String("C"), Qt::CaseInsensitive) == 0) {
        *chip = KitFirmware::ChipIdRevC;
        return true;
    }
    if (!text.startsWith(QLatin1String("0x"), Qt::CaseInsensitive) || text.size() > 6)
        return false;
    bool ok = false;
    const uint value = text.mid(2).toUInt(&ok, 16);
    if (ok)
        *chip = quint16(value);
    return ok;
}

} // namespace

KitOptions takeKitOptions(int &argc, char **argv, KitOptionSet set)
{
    KitOptions options;
    int kept = 1;
    for (int i = 1; i < argc; ++i) {
        QString name = QString::fromLocal8Bit(argv[i]);
        QString value;
        bool hasValue = false;
        const int equals = name.indexOf(QLatin1Char('='));
        if (name.startsWith(QLatin1String("--")) && equals > 0) {
            value = name.mid(equals + 1);
            name = name.left(equals);
            hasValue = true;
        }
        const auto takeValue = [&]() {
            if (hasValue)
                return true;
            if (i + 1 >= argc) {
                options.error = QStringLiteral("%1 needs a value").arg(name);
                return false;
            }
            value = QString::fromLocal8Bit(argv[++i]);
            return true;
        };
        const auto fail = [&](const QString &reason) {
            if (options.error.isEmpty())
                options.error = QStringLiteral("%1 %2: %3").arg(name, value, reason);
        };

        if (name == QLatin1String("--help") || name == QLatin1String("-h")) {
            options.help = true;
        } else if (name == QLatin1String("--paced")) {
            options.paced = true;
        } else if (name == QLatin1String("--chip")) {
            if (takeValue() && !parseChip(value, &options.chipId))
                fail(QStringLiteral("expected B, C or a hexadecimal identifier such as 0x2466"));
        } else if (name == QLatin1String("--firmware")) {
            if (takeValue())
                options.firmwareId = value.toLatin1();
        } else if (name == QLatin1String("--press")) {
            if (takeValue()) {
                bool ok = false;
                const int press = value.toInt(&ok);
                if (ok)
                    options.pressValue = press;
                else
                    fail(QStringLiteral("expected a whole number"));
            }
        } else if (set == KitOptionSet::Demo && name == QLatin1String("--port")) {
            if (takeValue())
                options.port = value;
        } else if (set == KitOptionSet::Simulator && name == QLatin1String("--eeprom")) {
            if (takeValue())
                options.eepromFile = value;
        } else {
            argv[kept++] = argv[i];
        }
    }
    argc = kept;
    argv[argc] = nullptr;
    return options;
}

QString kitOptionsHelp(KitOptionSet set)
{
    QStringList lines;
    lines
        << QStringLiteral("  --chip B|C|0xNNNN  chip on the simulated kit: revision B (0x2466),")
        << QStringLiteral("                     revision C (0x246A, the default) or any identifier")
        << QStringLiteral("  --firmware TEXT    firmware identifier the kit reports (default 2.3)")
        << QStringLiteral("  --press N          value a press on channel A reaches in a force")
        << QStringLiteral("                     measurement (default 130; at most 999 is reported)")
        << QStringLiteral("  --paced            send replies at the speed of the real line,")
        << QStringLiteral("                     9600 baud 8N1");
    if (set == KitOptionSet::Demo) {
        lines << QStringLiteral(
                     "  --port PATH        no simulator: attach to the serial device PATH as")
              << QStringLiteral("                     if it were the kit, without checking its USB")
              << QStringLiteral("                     identifiers");
    } else {
        lines << QStringLiteral("  --eeprom FILE      keep the kit's EEPROM in FILE between runs");
    }
    lines << QStringLiteral("  --help             show this text");
    return lines.join(QLatin1Char('\n'));
}
