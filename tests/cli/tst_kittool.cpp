#include "simulatedkit.h"
#include "support/datarow.h"

#include <QJsonDocument>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

namespace {

// Runs the tool; its exit status, standard output and standard error.
struct Outcome
{
    int status = -1;
    QString out, err;
};

Outcome runTool(const QStringList &arguments)
{
    QProcess tool;
    tool.start(QStringLiteral(KTR_TOOL), arguments);
    // The tool bounds every exchange itself; this only keeps a broken tool from hanging.
    if (!tool.waitForFinished(60000))
        tool.kill();
    return {tool.exitStatus() == QProcess::NormalExit ? tool.exitCode() : -1,
            QString::fromUtf8(tool.readAllStandardOutput()),
            QString::fromUtf8(tool.readAllStandardError())};
}

// The kit's record as command letters ("D" with its argument), repeats run together.
QString tokens(const SimulatedKit &kit)
{
    QStringList list;
    for (const QByteArray &command : kit.commands()) {
        const QString token = command.at(0) == 'D' ? QString::fromLatin1(command.left(2))
                                                   : QString(QLatin1Char(command.at(0)));
        if (list.isEmpty() || list.last() != token)
            list << token;
    }
    return list.join(' ');
}

QByteArray state(SimulatedKit &kit)
{
    return kit.withFirmware([](KitFirmware &firmware) {
        QByteArray replies;
        for (const char *read : {"4", "5", "8"})
            for (const KitFirmware::Exchange &exchange : firmware.feed(read))
                replies += exchange.reply;
        return replies;
    });
}

} // namespace

class TestKitTool : public QObject
{
    Q_OBJECT

private slots:
    // Steps separated by " ; " run in turn against one simulated kit, all but the last
    // with success; "@red FILE" puts a value beyond its range into a session. Of the
    // last step: the exit status, what the kit received (command letters) and a piece
    // of its output ("json:" when the output, parsed as JSON and written compactly,
    // holds the piece).
    void statuses_data()
    {
        columns<QString, QString, int, QString, QString>(
            {"kit", "line", "status", "received", "output"});
        dataRow("help lists the statuses", "", "--help", 0, "", "6  invalid session or value");
        dataRow("a command's help", "", "push --help", 0, "", "--eeprom");
        dataRow("version", "", "--version", 0, "", "ktr4207-kit 1.0");
        dataRow("unknown command", "", "frob", 2, "", "");
        dataRow("option of another command", "", "info --eeprom", 2, "", "");
        dataRow("export without format", "", "export {s}", 2, "", "");
        dataRow("no such port", "", "--port {dir}/none info", 3, "", "");
        dataRow("refused firmware", "2.2", "info", 4, "= H", "(refused)");
        dataRow("silent kit", "silent", "info", 5, "=", "");
        dataRow("kit that floods", "flood", "dump", 5, "= H 4", "");
        dataRow("kit that stops mid-reply", "cut", "pull {s}", 5, "= H 5 8 4", "");
        dataRow("unknown name lists close ones", "", "get A.DEADTME.DLS", 6, "= H", "");
        dataRow("value beyond the field", "", "set A.KP.KP=4096", 6, "= H", "");
        dataRow("info as JSON", "", "--json info", 0, "= H", "json:\"revision\":\"C\"");
        dataRow("set then get", "", "set a.kp.kp=0x7f A.DEADTIME.DLS=3 ; --json get A.KP.KP", 0,
                "= H 4", "json:\"value\":127");
        dataRow("dump as JSON", "", "--json dump B", 0, "= H 4", "json:\"name\":\"DEADTIME\"");
        dataRow("sensing off", "", "sensing off", 0, "= H D0 =", "");
        dataRow("force", "", "--json force --seconds 0", 0, "= H D1 A B", "json:{\"value\":98}");
        dataRow("push and save", "", "pull {s} ; push {s} --eeprom", 0,
                "= H D0 2 6 0 D1 D0 3 7 1 D1 =", "");
        dataRow("unsendable push sends nothing", "", "pull {s} ; @red {s} ; push {s}", 6, "", "");
        dataRow("unsendable export", "", "pull {s} ; @red {s} ; export {s} --format c", 6, "", "");
    }
    void statuses()
    {
        QFETCH(QString, kit);
        QFETCH(QString, line);
        QFETCH(int, status);
        QFETCH(QString, received);
        QFETCH(QString, output);

        QTemporaryDir dir;
        SimulatedKit simulated(KitFirmware::ChipIdRevC, kit == "2.2" ? "2.2" : "2.3");
        QVERIFY(simulated.open());
        simulated.setSilent(kit == "silent");
        if (kit == "flood")
            simulated.setReplyExtra('4', QByteArray(8000, '\x01'));
        if (kit == "cut")
            simulated.setReplyOverride('4', QByteArray(10, '\0'));

        const QStringList steps = line.split(" ; ");
        Outcome outcome;
        for (int i = 0; i < steps.size(); ++i) {
            QString step = steps.at(i);
            step.replace("{s}", dir.filePath("s.ini")).replace("{dir}", dir.path());
            if (step.startsWith("@red ")) {
                QSettings session(step.mid(5), QSettings::IniFormat);
                session.setValue("channels/1/registers/4/fields/2/value", 4000); // KP, max 2047
                continue;
            }
            simulated.clearCommands();
            outcome = runTool(QStringList{"--port", simulated.slavePath()} +
                              step.split(' ', Qt::SkipEmptyParts));
            QVERIFY2(i == steps.size() - 1 || outcome.status == 0, qPrintable(outcome.err));
        }
        QVERIFY2(outcome.status == status, qPrintable(outcome.out + outcome.err));
        QCOMPARE(tokens(simulated), received);
        QCOMPARE(outcome.err.count('\n'), status == 0 ? 0 : 1); // one line each
        if (output.startsWith("json:")) {
            const QJsonDocument json = QJsonDocument::fromJson(outcome.out.toUtf8());
            QVERIFY2(!json.isNull(), qPrintable(outcome.out));
            QVERIFY2(json.toJson(QJsonDocument::Compact).contains(output.mid(5).toUtf8()),
                     qPrintable(outcome.out));
        } else {
            QVERIFY2(outcome.out.contains(output), qPrintable(outcome.out));
        }
    }

    // A session pulled from one kit and pushed to another leaves the second holding what
    // the first does; the C export, compiled, prints the very words that push wrote.
    void roundTripAndExport()
    {
        QTemporaryDir dir;
        const QString session = dir.filePath("s.ini");
        SimulatedKit source, target;
        QVERIFY(source.open() && target.open());
        source.withFirmware([](KitFirmware &firmware) { // values of its own in each part
            return firmware.feed(QByteArray("00\x30\x7F") + QByteArray("21\x30\x01\x23") +
                                 QByteArray("6101\x02\x34"));
        });
        QCOMPARE(runTool({"--port", source.slavePath(), "pull", session}).status, 0);
        QCOMPARE(runTool({"--port", target.slavePath(), "push", session}).status, 0);
        SimulatedKit fresh;
        QVERIFY(state(source) != state(fresh));
        QCOMPARE(state(target), state(source));

        QByteArray pushed;
        for (const QByteArray &command : target.commands())
            if (command.startsWith('0'))
                pushed += command.mid(2).toHex().toUpper() + "\n";

        const QString header = dir.filePath("session.h");
        QCOMPARE(runTool({"export", session, "--format", "c", "-o", header}).status, 0);
        QFile program(dir.filePath("words.c"));
        QVERIFY(program.open(QIODevice::WriteOnly));
        program.write("#include \"session.h\"\n#include <stdio.h>\nint main(void) {\n"
                      "    unsigned i;\n"
                      "    for (i = 0; i < KTR4207_REGISTERS_A_COUNT; ++i)\n"
                      "        printf(\"%04X\\n\", ktr4207_registers_a[i]);\n"
                      "    for (i = 0; i < KTR4207_REGISTERS_B_COUNT; ++i)\n"
                      "        printf(\"%04X\\n\", ktr4207_registers_b[i]);\n"
                      "    return 0;\n}\n");
        program.close();
        for (const QStringList &compiler :
             {QStringList{"cc", "-std=c99", "-x", "c"}, QStringList{"c++", "-x", "c++"}}) {
            QProcess build;
            build.start(compiler.first(),
                        compiler.mid(1) + QStringList{"-Wall", "-Wextra", "-Werror",
                                                      program.fileName(), "-o",
                                                      dir.filePath("words")});
            QVERIFY(build.waitForFinished(60000));
            QVERIFY2(build.exitCode() == 0, build.readAllStandardError().constData());
            QProcess words;
            words.start(dir.filePath("words"), QStringList());
            QVERIFY(words.waitForFinished(10000));
            QCOMPARE(words.readAllStandardOutput(), pushed);
        }
    }
};

QTEST_GUILESS_MAIN(TestKitTool)
#include "tst_kittool.moc"
