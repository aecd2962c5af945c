#include "app/kitlog.h"
#include "app/kitlogdock.h"
#include "app/mainwindow.h"
#include "link/serialcontroller.h"
#include "registers/registerwidget.h"
#include "sensing/thresholdcalibratorwidget.h"
#include "simulatedkit.h"
#include "support/datarow.h"
#include "support/modalcloser.h"
#include "support/testsettings.h"
#include "support/windowtest.h"

#include <QtTest>
#include <QtWidgets>

#include <memory>

namespace {

enum
{
    Hex = KitLog::CommandHexColumn,
    Words = KitLog::CommandColumn
};

QList<QStringList> logRows(const KitLog *log)
{
    QList<QStringList> rows;
    for (int row = 0; row < log->rowCount(); ++row)
        rows.append(log->rowTexts(row));
    return rows;
}

// The last row whose command bytes are these.
QStringList lastRow(const KitLog *log, const QString &hex)
{
    const QList<QStringList> rows = logRows(log);
    const auto row = std::find_if(rows.rbegin(), rows.rend(),
                                  [&](const QStringList &row) { return row.at(Hex) == hex; });
    return row == rows.rend() ? QStringList() : *row;
}

QStringList records(const QStringList &row)
{
    QStringList all;
    for (const QString &piece : row.value(KitLog::ReplyColumn).split(KitLog::PieceSeparator))
        all.append(piece.split(KitLog::RecordSeparator, Qt::SkipEmptyParts));
    return all;
}

// "name = value, ..." of a register's fields as the settings file holds them.
QString storedFields(int channel, const QString &name)
{
    const QSettings stored;
    const QString registers = QString("channels/%1/registers/").arg(channel + 1);
    for (int i = 1; i <= stored.value(registers + "size").toInt(); ++i) {
        if (stored.value(registers + QString("%1/name").arg(i)).toString() != name)
            continue;
        QStringList fields;
        const QString field = registers + QString("%1/fields/%2/").arg(i);
        for (int j = 1; j <= stored.value(field.arg("size").chopped(1)).toInt(); ++j)
            fields << stored.value(field.arg(j) + "name").toString() + " = " +
                          stored.value(field.arg(j) + "value").toString();
        return fields.join(", ");
    }
    return QString();
}

// RFC 4180: quoted fields may hold commas, doubled quotes and line ends; rows end in CRLF.
// Parsing stops at the first field of another form.
QList<QStringList> parseCsv(const QString &text)
{
    QList<QStringList> rows{{}};
    const QRegularExpression field(R"re(\G(?:"((?:[^"]|"")*)"|([^",\r\n]*))(,|\r\n))re");
    for (auto fields = field.globalMatch(text); fields.hasNext();) {
        const QRegularExpressionMatch match = fields.next();
        rows.last() << match.captured(1).replace("\"\"", "\"") + match.captured(2);
        if (match.captured(3) == "\r\n")
            rows << QStringList();
    }
    rows.removeLast(); // after the last line end
    return rows;
}

} // namespace

class TestKitLog : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QApplication::setQuitOnLastWindowClosed(false);
        QVERIFY(kit.open());
    }
    void init()
    {
        settings.reset();
        QSettings().setValue("chipid", 67);
        QSettings().setValue("first_boot", false);
    }
    void cleanup()
    {
        window.reset();
        kit.clearFaults();
    }
    void viewMenuShowsTheDockAndRemembersItApart();
    void loadIsLoggedAsStoredAndSavedAsCsv();
    void registerWriteIsLoggedByteForByte();
    void endsAreLogged_data();
    void endsAreLogged();
    void oldestExchangeGoesAfterTheLimit();
    void forceValueShowsTheKitsReading();

private:
    // The window before goes first, by File, Exit, as a user ends the program.
    bool connectWindow()
    {
        if (window)
            window->findChild<QAction *>("exitAction")->trigger();
        window.reset();
        window = std::make_unique<MainWindow>(kit.enumerator());
        return runUntilConnected(*window) == NoExit;
    }
    KitLog *log() const { return window->kitLogDock()->log(); }

    TestSettings settings;
    SimulatedKit kit;
    std::unique_ptr<MainWindow> window;
};

// The View menu's entry shows the dock, hidden until asked for, and the dock's own close
// button hides it; each window starts as the user left the last one, whatever its teardown
// does to the dock, and the session file does not hold it.
void TestKitLog::viewMenuShowsTheDockAndRemembersItApart()
{
    for (const bool shown : {false, true, false}) {
        QVERIFY(connectWindow());
        window->show();
        auto *action = window->findChild<QAction *>("kitLogAction");
        const QList<QAction *> menus = window->findChild<QMenuBar *>("menuBar")->actions();
        QVERIFY(menus.value(1)->menu()->actions().contains(action)); // under View
        QCOMPARE(window->kitLogDock()->isVisible(), shown);
        shown ? (void)window->kitLogDock()->close() : action->trigger();
        QCOMPARE(window->kitLogDock()->isVisible(), !shown);
    }
    auto *view = window->findChild<QTableView *>("kitLogView");
    QCOMPARE(view->model(), log()); // shown, attached
    QFile session(settings.fileName());
    QVERIFY(session.open(QIODevice::ReadOnly) && !session.readAll().contains("kit_log"));

    // The newest row stays in sight until the reader scrolls up.
    const auto newest = [&] { return view->visualRect(log()->index(log()->rowCount() - 1, 0)); };
    for (int i = 0; i < 3 * KitLogDock::MinVisibleRows; ++i) {
        window->serialController()->sendData("G", 1, 0, ReadNone);
        QTRY_VERIFY(view->viewport()->rect().contains(newest()));
    }
    QScrollBar *bar = view->verticalScrollBar();
    bar->setValue(0);
    const int end = bar->maximum();
    window->serialController()->sendData("G", 1, 0, ReadNone);
    QTRY_VERIFY(bar->maximum() > end);
    QCOMPARE(bar->value(), 0);
}

void TestKitLog::loadIsLoggedAsStoredAndSavedAsCsv()
{
    QVERIFY(connectWindow());
    QCOMPARE(lastRow(log(), "48").value(KitLog::ReplyColumn),
             QString("chip identifier 0x246A (revision C)"));
    const int before = log()->rowCount();
    window->findChild<QPushButton *>("loadFromDeviceButton")->click();
    QStringList commands;
    for (const QStringList &row : logRows(log()).mid(before))
        commands << row.at(Hex);
    QCOMPARE(commands, QStringList({"35", "38", "34"}));

    // "channel B, low_freq_feedback = 100" is a value of entry 2 of the sensing array,
    // "ch0sw1type2 = 1.5" one of the group audioplayback.
    const QStringList values = records(lastRow(log(), "35")) + records(lastRow(log(), "38"));
    QCOMPARE(values.size(), 38 + 16);
    for (const QString &record : values) {
        const QString key =
            record.startsWith("channel ")
                ? QString("sensing/%1/").arg(record.startsWith("channel A") ? 1 : 2) +
                      record.section(", ", 1).section(" = ", 0, 0)
                : "audioplayback/" + record.section(" = ", 0, 0);
        QVERIFY2(qAbs(QSettings().value(key).toDouble() - record.section(" = ", 1).toDouble()) <
                     0.005,
                 qPrintable(record));
    }
    const QStringList registers = records(lastRow(log(), "34"));
    QCOMPARE(registers.size(), 32);
    // "channel A, DEADTIME (address 2), 0x466: DHS = 35, DLS = 6"
    for (const QString &record : registers)
        QCOMPARE(record.section(": ", 1),
                 storedFields(record.startsWith("channel A") ? 0 : 1,
                              record.section(", ", 1, 1).section(' ', 0, 0)));

    // Shown, the columns fit what they usually hold (an output switch, the Load's rows) but
    // for the replies and register writes, elided; the window keeps its width.
    window->registerWidget()->findChild<QPushButton *>("sendButton_2")->click();
    window->findChild<QPushButton *>("outputButton")->click();
    window->resize(1366, 700);
    window->show();
    window->kitLogDock()->show();
    QVERIFY(QTest::qWaitForWindowExposed(window.get()));
    QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
    QCOMPARE(window->width(), 1366);
    auto *view = window->findChild<QTableView *>("kitLogView");
    for (int row = 0; row < log()->rowCount(); ++row) {
        for (int column : {0, 1, 2, 3, 6}) { // all but the replies
            const QString text = log()->rowTexts(row).at(column);
            QVERIFY2(text.startsWith("write register") ||
                         view->fontMetrics().horizontalAdvance(text) + 8 <=
                             view->columnWidth(column),
                     qPrintable(text));
        }
    }

    // The same rows, saved as CSV through the dock, and the log emptied.
    ModalCloser closer;
    closer.answerFileDialogs({settings.dir() + "/kitlog"}); // the suffix is added
    window->kitLogDock()->findChild<QPushButton *>("saveLogButton")->click();
    QFile file(settings.dir() + "/kitlog.csv");
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(parseCsv(QString::fromUtf8(file.readAll())),
             QList<QStringList>{KitLog::csvHeader()} + logRows(log()));
    window->kitLogDock()->findChild<QPushButton *>("clearLogButton")->click();
    QCOMPARE(log()->rowCount(), 0);
}

void TestKitLog::registerWriteIsLoggedByteForByte()
{
    QVERIFY(connectWindow());
    kit.clearCommands();
    window->registerWidget()->findChild<QPushButton *>("sendButton_2")->click();
    QVERIFY(kit.waitForCommands(2, 2000));
    const QByteArray sent = kit.commands().last();
    QCOMPARE(sent.size(), 4);
    const QStringList row = lastRow(log(), KitDecoder::hex(sent));
    const quint16 data = quint16(quint8(sent[2]) << 8 | quint8(sent[3])) & 0x0FFF;
    const QString name = row.value(Words).section(", ", 2, 2).section(' ', 0, 0);
    QVERIFY2(!storedFields(0, name).isEmpty(), qPrintable(KitDecoder::hex(sent)));
    QCOMPARE(row.value(Words), QString("write register, channel A, %1 (address %2), 0x%3: %4")
                                   .arg(name)
                                   .arg(quint8(sent[2]) >> 4)
                                   .arg(QString::number(data, 16).toUpper().rightJustified(3, '0'))
                                   .arg(storedFields(0, name)));
}

void TestKitLog::endsAreLogged_data()
{
    QTest::addColumn<QString>("fault");  // what the kit does wrong
    QTest::addColumn<QString>("button"); // pressed on the window, or empty for a "B"
    QTest::addColumn<QString>("hex");    // the exchange looked at
    QTest::addColumn<QString>("end");    // its end; ending in ": ", the words the reason follows
    dataRow("whole reply", "", "loadFromDeviceButton", "35", "silence after 100 ms");
    dataRow("cut reply", "cut", "loadFromDeviceButton", "35",
            "silence after 100 ms; framing broke, not stored: ");
    dataRow("write failure", "stall", "outputButton", "44 30",
            "write failed: not sent within 500 ms");
    dataRow("after a write failure", "stall", "outputButton", "46",
            "not sent: a write of this action failed");
    dataRow("reply beyond its bound", "flood", "", "42", "bound reached: more than 12 bytes");
    dataRow("no reply read", "", "outputButton", "46", "written, no reply read");
}

void TestKitLog::endsAreLogged()
{
    QFETCH(QString, fault);
    QFETCH(QString, button);
    QFETCH(QString, hex);
    QFETCH(QString, end);
    QVERIFY(connectWindow());
    ModalCloser closer;
    if (fault == "cut") // one record and three bytes of the next
        kit.setReplyOverride('5', QByteArray::fromHex("00300064013000"));
    kit.setReading(fault != "stall");
    if (fault == "flood")
        kit.setReplyExtra('B', QByteArray(20, '9'));
    if (button.isEmpty())
        window->serialController()->sendData("B", 1, 3, ReadMaxThreshold);
    else
        window->findChild<QPushButton *>(button)->click();
    const QStringList row = lastRow(log(), hex);
    QVERIFY2(end.endsWith(": ") ? row.value(KitLog::EndColumn).startsWith(end)
                                : row.value(KitLog::EndColumn) == end,
             qPrintable(row.join(" / ")));
    QVERIFY(!row.value(KitLog::DurationColumn).isEmpty());
    if (fault == "cut") {
        QCOMPARE(row.value(KitLog::ReplyHexColumn), QString("00 30 00 64 | 01 30 00"));
        QCOMPARE(records(row).last(), QString("incomplete record 01 30 00"));
    }
}

void TestKitLog::oldestExchangeGoesAfterTheLimit()
{
    QVERIFY(connectWindow());
    SerialController *serial = window->serialController();
    serial->sendData("F", 1, 0, ReadNone);
    for (int i = 0; i < KitLog::MaxEntries; ++i)
        serial->sendData("G", 1, 0, ReadNone);
    QCOMPARE(log()->rowCount(), KitLog::MaxEntries);
    QCOMPARE(log()->rowTexts(0).value(Hex), QString("47"));
    QCOMPARE(log()->rowTexts(KitLog::MaxEntries - 1).value(Words), QString("output on"));
}

// The Force Measurement tab keeps its number and tells how it comes from the kit's reading.
void TestKitLog::forceValueShowsTheKitsReading()
{
    QVERIFY(connectWindow());
    auto *page = window->findChild<ThresholdCalibratorWidget *>("thresholdCalibratorWidget");
    page->findChild<QPushButton *>("measureButton")->click();
    for (int tick = 0; tick < ThresholdCalibratorWidget::CountdownSeconds; ++tick)
        QMetaObject::invokeMethod(page, "timerTimeout");
    QStringList shown{lastRow(log(), "42").value(KitLog::ReplyColumn)};
    for (const QLabel *label : page->findChildren<QLabel *>())
        shown << label->text();
    QCOMPARE(shown, QStringList({"maximum threshold 130", "The measured value is 98",
                                 "The kit read 130; shown is 130 × 0.75 = 97.5, rounded."}));
}

QTEST_MAIN(TestKitLog)
#include "tst_kitlog.moc"
