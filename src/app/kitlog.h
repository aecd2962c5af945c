#pragma once

#include "link/exchangeend.h"
#include "link/kitdecoder.h"

#include <QAbstractTableModel>
#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <deque>

// The log of every exchange with the kit, one row an exchange (or a change of the
// link), for the engineer who wants to see what went over the wire. Rows keep the
// raw bytes; their words come from the decoder only when a row is shown or saved,
// so that recording costs next to nothing. The oldest rows go beyond MaxEntries.
class KitLog : public QAbstractTableModel
{
    Q_OBJECT
public:
    enum Column
    {
        TimeColumn,     // ms since the program started
        DurationColumn, // ms from the write to the end of the exchange
        CommandHexColumn,
        CommandColumn, // the command in words, or the event
        ReplyHexColumn,
        ReplyColumn, // the records of the reply in words
        EndColumn,   // how the exchange ended
        ColumnCount
    };
    static constexpr int MaxEntries = 10000;
    // Separates the reply pieces in the reply columns, records within a piece.
    static const QString PieceSeparator;
    static const QString RecordSeparator;

    explicit KitLog(KitDecoder decoder, QObject *parent = nullptr);

    // Milliseconds since the program started.
    static qint64 now();

    // An exchange: the command leaves, reply pieces arrive, and it ends. maxReplyBytes
    // is the bound of bytes that the exchange keeps to.
    void beginExchange(const QByteArray &command, int maxReplyBytes);
    void addReplyPiece(const QByteArray &piece);
    // elapsedMs: from the write to the end, as the link measured it.
    void endExchange(ExchangeEnd end, qint64 elapsedMs);
    // The reply of the last exchange broke its framing and was not stored. May come
    // just before or just after the exchange's end.
    void rejectReply(const QString &reason);
    // A line that is no exchange: the link came or went.
    void addEvent(const QString &text);
    void clear();

    // The words of the longest write of an editable register of channel A's map, every
    // data bit set: what the command column has to hold for the usual rows.
    QString widestRegisterWrite() const;

    // The texts of a row, one per column, as shown and saved.
    QStringList rowTexts(int row) const;
    static QStringList csvHeader();
    // Header and rows, comma separated, quoted where needed, CRLF line ends.
    QString toCsv() const;

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;

private:
    struct Entry
    {
        qint64 timeMs = 0;
        qint64 durationMs = -1; // -1 while the exchange runs and for events
        QByteArray command;     // empty for an event
        QString event;
        QList<QByteArray> pieces;
        bool ended = false;
        ExchangeEnd end = ExchangeEnd::Silence;
        int maxReplyBytes = 0;
        QString rejected; // why the reply was not stored
    };

    void append(Entry entry);
    QString cellText(const Entry &entry, int column) const;
    static QString endWords(const Entry &entry);
    QStringList replyRecords(const Entry &entry) const;
    void rowChanged(int first, int last);

    KitDecoder decoder;
    std::deque<Entry> entries;
    bool exchangeOpen = false;
    bool lastIsExchange = false; // the newest row is an exchange, open or ended
};
