#include "app/kitlog.h"
#include "app/kitlogdock.h"
#include "app/mainwindow.h"
#include "link/serialcontroller.h"
#include "simulatedkit.h"
#include "support/datarow.h"
#include "support/modalcloser.h"
#include "support/testsettings.h"

#include <QAction>
#include <QMenuBar>
#include <QPushButton>
#include <QTableView>
#include <QtTest>

#include <memory>

namespace {

enum Fault
{
    None,
    CutReply,
    Stalled,
    Flood
};

enum
{
    Hex = KitLog::CommandHexColumn,
    Words = KitLog::CommandColumn,
    ReplyHex = KitLog::ReplyHexColumn,
    Records = KitLog::ReplyColumn,
    End = KitLog::EndColumn
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
    for (int i = rows.size() - 1; i >= 0; --i) {
        if (rows.at(i).at(Hex) == hex)
            return rows.at(i);
    }
    return {};
}

QStringList records(const QStringList &row)
{
    QStringList all;
    for (const QString &piece : row.value(Records).split(KitLog::PieceSeparator))
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
QList<QStringList> parseCsv(const QString &text)
{
    QList<QStringList> rows{{}};
    QString field;
    bool quoted = false;
    for (int i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c == '"' && quoted && text.mid(i + 1, 1) == "\"")
            field += text.at(++i);
        else if (c == '"')
            quoted = !quoted;
        else if (!quoted && (c == ',' || text.mid(i, 2) == "\r\n")) {
            rows.last() << field;
            field.clear();
            if (c == '\r' && ++i)
                rows << QStringList();
        } else
            field += c;
    }
    rows.removeLast(); // after the last line end
    return rows;
}

} // namespace

class TestKitLog : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void viewMenuShowsTheDockAndRemembersItApart();
    void loadFromDeviceIsLoggedAsStored();
    void registerWriteIsLoggedByteForByte();
    void endsAreLogged_data();
    void endsAreLogged();
    void csvRoundTrips();
    void oldestExchangeGoesAfterTheLimit();

private:
    bool connectWindow();
    KitLog *log() const { return window->kitLogDock()->log(); }

    TestSettings settings;
    SimulatedKit kit;
    std::unique_ptr<MainWindow> window;
};

void TestKitLog::initTestCase()
{
    QApplication::setQuitOnLastWindowClosed(false);
    QVERIFY(kit.open());
}

void TestKitLog::init()
{
    settings.reset();
    QSettings session;
    session.setValue("chipid", 67);
    session.setValue("first_boot", false);
}

void TestKitLog::cleanup()
{
    window.reset();
    kit.clearFaults();
}

bool TestKitLog::connectWindow()
{
    window = std::make_unique<MainWindow>(kit.enumerator());
    QWidget *load = window->findChild<QWidget *>("loadFromDeviceButton");
    QElapsedTimer clock;
    clock.start();
    while (!load->isEnabled() && clock.elapsed() < 5000)
        QTest::qWait(20);
    return load->isEnabled();
}

void TestKitLog::viewMenuShowsTheDockAndRemembersItApart()
{
    QVERIFY(connectWindow());
    QStringList menus;
    for (QAction *action : window->findChild<QMenuBar *>("menuBar")->actions())
        menus << action->text();
    QCOMPARE(menus, QStringList({"&File", "&View", "&Help"}));
    auto *action = window->findChild<QAction *>("kitLogAction");
    QCOMPARE(action->text(), QString("Kit Log"));
    QVERIFY(action->isCheckable() && !action->shortcut().isEmpty());

    // Hidden until asked for; shown, it stays so in the next window.
    window->show();
    auto *dock = window->kitLogDock();
    QVERIFY(!dock->isVisible() && !action->isChecked());
    action->trigger();
    QVERIFY(dock->isVisible());
    QCOMPARE(dock->findChild<QTableView *>("kitLogView")->model(), log());
    QCOMPARE(window->dockWidgetArea(dock), Qt::BottomDockWidgetArea);
    QVERIFY(connectWindow());
    window->show();
    QVERIFY(window->kitLogDock()->isVisible());
    window->findChild<QAction *>("kitLogAction")->trigger();
    QVERIFY(connectWindow());
    window->show();
    QVERIFY(!window->kitLogDock()->isVisible());

    QFile session(settings.fileName());
    QVERIFY(session.open(QIODevice::ReadOnly));
    QVERIFY(!session.readAll().contains("kit_log"));
}

void TestKitLog::loadFromDeviceIsLoggedAsStored()
{
    QVERIFY(connectWindow());
    QCOMPARE(lastRow(log(), "3D").value(Records), QString("firmware identifier \"2.3\""));
    QCOMPARE(lastRow(log(), "48").value(Records), QString("chip identifier 0x246A (revision C)"));
    QVERIFY(log()->rowTexts(0).value(Words).startsWith("kit connected on "));

    const int before = log()->rowCount();
    window->findChild<QPushButton *>("loadFromDeviceButton")->click();
    QStringList commands;
    for (int row = before; row < log()->rowCount(); ++row)
        commands << log()->rowTexts(row).value(Hex);
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
    for (const QString &record : registers) {
        // "channel A, DEADTIME (address 2), 0x466: DHS = 35, DLS = 6"
        const int channel = record.startsWith("channel A") ? 0 : 1;
        const QString name = record.section(", ", 1, 1).section(' ', 0, 0);
        QCOMPARE(record.section(": ", 1), storedFields(channel, name));
    }
}

void TestKitLog::registerWriteIsLoggedByteForByte()
{
    QVERIFY(connectWindow());
    kit.clearCommands();
    window->findChild<QWidget *>("registerWidget")
        ->findChild<QPushButton *>("sendButton_2")
        ->click();
    QVERIFY(kit.waitForCommands(2, 2000));
    const QByteArray sent = kit.commands().last();
    QCOMPARE(sent.size(), 4);
    const QStringList row = lastRow(log(), KitDecoder::hex(sent));
    QVERIFY2(!row.isEmpty(), qPrintable(KitDecoder::hex(sent)));
    const quint16 data = quint16(quint8(sent[2]) << 8 | quint8(sent[3])) & 0x0FFF;
    const QString name = row.value(Words).section(", ", 2, 2).section(' ', 0, 0);
    QVERIFY(!storedFields(0, name).isEmpty());
    QCOMPARE(row.value(Words), QString("write register, channel A, %1 (address %2), 0x%3: %4")
                                   .arg(name)
                                   .arg(quint8(sent[2]) >> 4)
                                   .arg(QString::number(data, 16).toUpper().rightJustified(3, '0'))
                                   .arg(storedFields(0, name)));
}

void TestKitLog::endsAreLogged_data()
{
    QTest::addColumn<int>("fault");
    QTest::addColumn<QString>("button"); // pressed on the window, or empty for a "B"
    QTest::addColumn<QString>("hex");    // the exchange looked at
    QTest::addColumn<QString>("end");    // its end; ending in ": ", the words the reason follows

    dataRow("whole reply", int(None), "loadFromDeviceButton", "35", "silence after 100 ms");
    dataRow("cut reply", int(CutReply), "loadFromDeviceButton", "35",
            "silence after 100 ms; framing broke, not stored: ");
    dataRow("write failure", int(Stalled), "outputButton", "46",
            "write failed: not sent within 500 ms");
    dataRow("reply beyond its bound", int(Flood), "", "42", "bound reached: more than 12 bytes");
    dataRow("no reply read", int(None), "outputButton", "46", "written, no reply read");
}

void TestKitLog::endsAreLogged()
{
    QFETCH(int, fault);
    QFETCH(QString, button);
    QFETCH(QString, hex);
    QFETCH(QString, end);

    QVERIFY(connectWindow());
    ModalCloser closer;
    if (fault == CutReply) // one record and three bytes of the next
        kit.setReplyOverride('5', QByteArray::fromHex("00300064013000"));
    else if (fault == Stalled)
        kit.setReading(false);
    else if (fault == Flood)
        kit.setReplyExtra('B', QByteArray(20, '9'));
    if (button.isEmpty())
        window->serialController()->sendData("B", 1, 3, ReadMaxThreshold);
    else
        window->findChild<QPushButton *>(button)->click();
    const QStringList row = lastRow(log(), hex);
    QVERIFY2(end.endsWith(": ") ? row.value(End).startsWith(end) : row.value(End) == end,
             qPrintable(row.join(" / ")));
    if (fault == CutReply) {
        QCOMPARE(row.value(ReplyHex), QString("00 30 00 64 | 01 30 00"));
        QCOMPARE(records(row).last(), QString("incomplete record 01 30 00"));
    }
    QVERIFY(!row.value(KitLog::DurationColumn).isEmpty());
}

void TestKitLog::csvRoundTrips()
{
    QVERIFY(connectWindow());
    window->findChild<QPushButton *>("loadFromDeviceButton")->click();
    ModalCloser closer;
    const QString fileName = settings.dir() + "/kitlog"; // the suffix is added
    closer.answerFileDialogs({fileName});
    window->show();
    window->findChild<QAction *>("kitLogAction")->trigger();
    window->kitLogDock()->findChild<QPushButton *>("saveLogButton")->click();
    QFile file(fileName + ".csv");
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QList<QStringList> parsed = parseCsv(QString::fromUtf8(file.readAll()));
    QCOMPARE(parsed.value(0), KitLog::csvHeader());
    QCOMPARE(parsed.mid(1), logRows(log()));
    QVERIFY(parsed.size() > 5);

    window->kitLogDock()->findChild<QPushButton *>("clearLogButton")->click();
    QCOMPARE(log()->rowCount(), 0);
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

QTEST_MAIN(TestKitLog)
#include "tst_kitlog.moc"
