#include "kitlog.h"

#include "link/serialcontroller.h"

#include <QElapsedTimer>

namespace {

// Started when the program is loaded, so that times count from the start.
const QElapsedTimer processClock = [] {
    QElapsedTimer clock;
    clock.start();
    return clock;
}();

const char *const CsvHeader[KitLog::ColumnCount] = {
    "time_ms", "duration_ms", "command_hex", "command", "reply_hex", "reply", "end"};
const char *const ViewHeader[KitLog::ColumnCount] = {"Time (ms)", "Took (ms)", "Bytes", "Command",
                                                     "Reply",     "Records",   "End"};

QString csvField(const QString &text)
{
    if (!text.contains(QLatin1Char(',')) && !text.contains(QLatin1Char('"')) &&
        !text.contains(QLatin1Char('\n')) && !text.contains(QLatin1Char('\r')))
        return text;
    QString quoted = text;
    quoted.replace(QLatin1Char('"'), QStringLiteral("\"\""));
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}

QString csvLine(const QStringList &fields)
{
    QStringList quoted;
    for (const QString &field : fields)
        quoted.append(csvField(field));
    return quoted.join(QLatin1Char(',')) + QStringLiteral("\r\n");
}

} // namespace

const QString KitLog::PieceSeparator = QStringLiteral(" | ");
const QString KitLog::RecordSeparator = QStringLiteral("; ");

KitLog::KitLog(KitDecoder decoder, QObject *parent)
    : QAbstractTableModel(parent), decoder(std::move(decoder))
{
}

qint64 KitLog::now()
{
    return processClock.elapsed();
}

void KitLog::beginExchange(const QByteArray &command, int maxReplyBytes)
{
    Entry entry;
    entry.timeMs = now();
    entry.command = command;
    entry.maxReplyBytes = maxReplyBytes;
    append(std::move(entry));
    exchangeOpen = true;
    lastIsExchange = true;
}

void KitLog::addReplyPiece(const QByteArray &piece)
{
    if (!exchangeOpen || entries.empty())
        return;
    entries.back().pieces.append(piece);
    const int row = int(entries.size()) - 1;
    rowChanged(row, row);
}

void KitLog::endExchange(ExchangeEnd end, qint64 elapsedMs)
{
    if (!exchangeOpen || entries.empty())
        return;
    exchangeOpen = false;
    Entry &entry = entries.back();
    entry.ended = true;
    entry.end = end;
    entry.durationMs = elapsedMs;
    const int row = int(entries.size()) - 1;
    rowChanged(row, row);
}

void KitLog::rejectReply(const QString &reason)
{
    if (!lastIsExchange || entries.empty())
        return;
    entries.back().rejected = reason;
    const int row = int(entries.size()) - 1;
    rowChanged(row, row);
}

void KitLog::addEvent(const QString &text)
{
    Entry entry;
    entry.timeMs = now();
    entry.event = text;
    append(std::move(entry));
    lastIsExchange = false;
}

void KitLog::clear()
{
    beginResetModel();
    // An exchange under way goes on in a row of its own.
    const bool keepOpen = exchangeOpen && !entries.empty();
    Entry open = keepOpen ? entries.back() : Entry();
    entries.clear();
    if (keepOpen)
        entries.push_back(std::move(open));
    lastIsExchange = keepOpen;
    endResetModel();
}

void KitLog::append(Entry entry)
{
    // An exchange whose end was never reported stays without one.
    exchangeOpen = false;
    if (entries.size() >= size_t(MaxEntries)) {
        beginRemoveRows(QModelIndex(), 0, 0);
        entries.pop_front();
        endRemoveRows();
    }
    const int row = int(entries.size());
    beginInsertRows(QModelIndex(), row, row);
    entries.push_back(std::move(entry));
    endInsertRows();
}

void KitLog::rowChanged(int first, int last)
{
    emit dataChanged(index(first, DurationColumn), index(last, EndColumn));
}

QStringList KitLog::replyRecords(const Entry &entry) const
{
    // A record may be cut across pieces: each piece lists the records it completes,
    // and what is left over at the end is told as an incomplete record.
    QStringList pieces;
    if (entry.command.isEmpty())
        return pieces;
    const char command = entry.command.at(0);
    QByteArray carried;
    for (const QByteArray &piece : entry.pieces) {
        QByteArray rest;
        pieces.append(decoder.records(command, carried + piece, &rest).join(RecordSeparator));
        carried = rest;
    }
    if (!carried.isEmpty() && !pieces.isEmpty()) {
        QString &last = pieces.last();
        last += (last.isEmpty() ? QString() : RecordSeparator) + decoder.record(command, carried);
    }
    return pieces;
}

QString KitLog::cellText(const Entry &entry, int column) const
{
    switch (column) {
    case TimeColumn:
        return QString::number(entry.timeMs);
    case DurationColumn:
        return entry.durationMs < 0 ? QString() : QString::number(entry.durationMs);
    case CommandHexColumn:
        return KitDecoder::hex(entry.command);
    case CommandColumn:
        return entry.command.isEmpty() ? entry.event : decoder.command(entry.command);
    case ReplyHexColumn: {
        QStringList pieces;
        for (const QByteArray &piece : entry.pieces)
            pieces.append(KitDecoder::hex(piece));
        return pieces.join(PieceSeparator);
    }
    case ReplyColumn:
        return replyRecords(entry).join(PieceSeparator);
    case EndColumn:
        return endWords(entry);
    default:
        return QString();
    }
}

QString KitLog::endWords(const Entry &entry)
{
    if (entry.command.isEmpty())
        return QString();
    QString words;
    if (entry.ended) {
        switch (entry.end) {
        case ExchangeEnd::NotConnected:
            words = QStringLiteral("not sent: no kit connected");
            break;
        case ExchangeEnd::Written:
            words = QStringLiteral("written, no reply read");
            break;
        case ExchangeEnd::Silence:
            words = QStringLiteral("silence after %1 ms").arg(SerialController::ReplySilenceMs);
            break;
        case ExchangeEnd::WriteFailed:
            words = QStringLiteral("write failed: not sent within %1 ms")
                        .arg(SerialController::WriteTimeoutMs);
            break;
        case ExchangeEnd::ByteBound:
            words = QStringLiteral("bound reached: more than %1 bytes").arg(entry.maxReplyBytes);
            break;
        case ExchangeEnd::TimeBound:
            words = QStringLiteral("bound reached: still sending after %1 ms")
                        .arg(SerialController::ExchangeTimeLimitMs);
            break;
        case ExchangeEnd::PortLost:
            words = QStringLiteral("port lost");
            break;
        case ExchangeEnd::Skipped:
            words = QStringLiteral("not sent: a write of this action failed");
            break;
        }
    }
    if (!entry.rejected.isEmpty())
        words += (words.isEmpty() ? QString() : QStringLiteral("; ")) +
                 QStringLiteral("framing broke, not stored: ") + entry.rejected;
    return words;
}

QString KitLog::widestRegisterWrite() const
{
    QString widest;
    const QList<Register *> *registers =
        !channels.isEmpty() && channels.first() ? channels.first()->registers : nullptr;
    for (int i = 0; registers && i < registers->size(); ++i) {
        if (!registers->at(i)->editable)
            continue;
        const quint16 word = quint16(registers->at(i)->address << 12 | 0x0FFF);
        const QString words = decoder.command(QByteArray("00") + char(word >> 8) + char(word));
        if (words.size() > widest.size())
            widest = words;
    }
    return widest;
}

QStringList KitLog::rowTexts(int row) const
{
    QStringList texts;
    if (row < 0 || row >= rowCount())
        return texts;
    for (int column = 0; column < ColumnCount; ++column)
        texts.append(cellText(entries.at(size_t(row)), column));
    return texts;
}

QStringList KitLog::csvHeader()
{
    QStringList header;
    for (const char *name : CsvHeader)
        header.append(QLatin1String(name));
    return header;
}

QString KitLog::toCsv() const
{
    QString csv = csvLine(csvHeader());
    for (int row = 0; row < rowCount(); ++row)
        csv += csvLine(rowTexts(row));
    return csv;
}

int KitLog::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(entries.size());
}

int KitLog::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant KitLog::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= rowCount())
        return QVariant();
    const Entry &entry = entries.at(size_t(index.row()));
    if (role == Qt::DisplayRole)
        return cellText(entry, index.column());
    if (role == Qt::ToolTipRole && index.column() == ReplyColumn) {
        QStringList lines;
        for (const QString &piece : replyRecords(entry))
            lines.append(piece.split(RecordSeparator));
        return lines.join(QLatin1Char('\n'));
    }
    if (role == Qt::ToolTipRole)
        return cellText(entry, index.column());
    if (role == Qt::TextAlignmentRole && index.column() <= DurationColumn)
        return int(Qt::AlignRight | Qt::AlignVCenter);
    return QVariant();
}

QVariant KitLog::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0 ||
        section >= ColumnCount)
        return QVariant();
    return QLatin1String(ViewHeader[section]);
}
