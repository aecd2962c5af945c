#pragma once

#include "registerstore.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <functional>

// What the bytes of the kit's wire protocol mean, in words: one line for a command,
// one for each record of a reply. The program's kit log and the simulator's log both
// read it, so that the two never describe a byte differently.
//
// Register and sensing parameter names belong to other parts of the program; they
// are given through lookups. Without a lookup a register is named by its address
// and a parameter by its code, with its value in hex.
class KitDecoder
{
public:
    // The register of channel 0 or 1 at an address, or null when there is none.
    using RegisterLookup = std::function<const Register *(int channel, int address)>;
    // The settings key of a sensing parameter code and whether it travels as
    // fixed-100 (true) or as a word; an empty key when the code is no parameter.
    struct SensingName
    {
        QString key;
        bool real = false;
    };
    using SensingLookup = std::function<SensingName(quint8 code)>;

    static constexpr quint16 ChipIdRevB = 0x2466;
    static constexpr quint16 ChipIdRevC = 0x246A;

    explicit KitDecoder(RegisterLookup registers = {}, SensingLookup sensing = {});

    // A lookup into the process-wide register store, read at each call.
    static RegisterLookup registerStore();

    // Length of the command that starts with this byte, or 0 for no command.
    static int commandLength(char first);
    // Size of one record of the reply to this command; 0 when a whole read is one
    // record (identifiers, the threshold) and -1 when the command has no reply.
    static int recordSize(char command);

    // One line for a command, e.g. "write register, channel A, DEADTIME (address 2),
    // 0x466: DHS = 35, DLS = 6". A command cut short says how many bytes it lacks.
    QString command(const QByteArray &command) const;
    // One line for one whole record of the reply to a command.
    QString record(char command, const QByteArray &record) const;
    // Cuts a reply into records and describes each; bytes that make no whole record
    // are left in *rest when given, else described as an incomplete record.
    QStringList records(char command, const QByteArray &reply, QByteArray *rest = nullptr) const;

    // Bytes as upper-case hex pairs separated by blanks.
    static QString hex(const QByteArray &bytes);

private:
    QString registerWords(int channel, int address, quint16 data) const;
    QString sensingWords(quint8 code, const QByteArray &value) const;

    RegisterLookup registers;
    SensingLookup sensing;
};
