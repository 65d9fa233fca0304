// tidewatch-capture sampling the demo firmware (RAM at 0x80000000) through tidewatch-sim as real processes:
// the globals above 0x7FFFFFFF with their encodings, CSV columns that follow the firmware, a --set write;
// with high-speed sampling and, from a server without it, by polling; through stock openocd with gdb beside.
#include "SimChild.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>
#include <algorithm>

namespace {
const QString SimProgram = QStringLiteral(TIDEWATCH_SIM_BIN);
const QString CaptureProgram = QStringLiteral(TIDEWATCH_CAPTURE_BIN);
const QString DemoElf = QStringLiteral(TIDEWATCH_DEMO_HIGH_ELF);

// The demo's globals that fit a 32-bit sample word, as the extractor names them.
const QStringList DemoVariables = {"loop_counter", "sine_wave", "amplitude",     "follower",   "temperature",
                                   "status_bits",  "motor.rpm", "motor.current", "samples[0]", "samples[3]"};

// The CSV, every field a number. Word() reads an unsigned column as the sample word, and fails the
// row when it is not a whole number.
struct Table {
    QList<QByteArray> header;
    QList<QList<QByteArray>> rows;
    QString problem;

    explicit Table(const QByteArray& csv) {
        QList<QByteArray> lines = csv.trimmed().split('\n');
        header = lines.value(0).split(',');
        for (const QByteArray& line : lines.mid(1)) {
            rows << line.split(',');
            for (const QByteArray& field : rows.last())
                if (rows.last().size() != header.size() || (field.toDouble(&ok), !ok))
                    problem = "bad line " + line;
        }
    }
    double At(int row, const char* name) const { return rows[row][header.indexOf(name)].toDouble(); }
    std::uint32_t Word(int row, const char* name) const {
        bool whole = false;
        const qulonglong word = rows[row][header.indexOf(name)].toULongLong(&whole);
        return whole && word <= 0xFFFFFFFFu ? static_cast<std::uint32_t>(word) : 0xDEADu;
    }
    bool ok = true;
};
} // namespace

class TestSimCapture : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

private slots:
    // Every global lies above 0x7FFFFFFF, in the RAM the firmware is linked to; the encoding key says
    // how its bytes read.
    void initTestCase() {
        if (QStandardPaths::findExecutable("qemu-system-riscv32").isEmpty())
            QSKIP("qemu-system-riscv32 is not installed");
        QProcess extractor;
        extractor.setWorkingDirectory(m_dir.path());
        extractor.start(TIDEWATCH_EXTRACTOR_BIN, {DemoElf});
        QVERIFY(extractor.waitForFinished(30000) && extractor.exitCode() == 0);
        QFile file(m_dir.filePath("elf.json"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QStringList found;
        for (const QJsonValue& unit : QJsonDocument::fromJson(file.readAll()).array())
            for (const QJsonValue& entry : unit.toObject().value("dataList").toArray()) {
                const QJsonObject o = entry.toObject();
                const QString address = o.value("address").toString();
                QVERIFY2(address.size() == 8 && address.startsWith("804"), qPrintable(address));
                found << o.value("name").toString() + ":" + o.value("encoding").toString();
            }
        // Encodings; that every sampled name is listed shows when the capture looks them up.
        for (const char* key :
             {"loop_counter:unsigned", "temperature:signed", "status_bits:unsigned", "sine_wave:float"})
            QVERIFY2(found.contains(key), key);
    }

    void captureFollowsTheFirmware_data() {
        QTest::addColumn<bool>("polled");
        QTest::newRow("high-speed sampling") << false;
        QTest::newRow("a server without high-speed sampling, polled") << true;
    }
    void captureFollowsTheFirmware() {
        QFETCH(bool, polled);
        Sim::SimChild sim;
        QVERIFY2(
            sim.Start(SimProgram, QStringList{DemoElf} + (polled ? QStringList{"--no-hss"} : QStringList())),
            sim.Output().constData());
        QProcess capture;
        capture.start(CaptureProgram, QStringList{"--port", QString::number(sim.Port()), "--symbols",
                                                  m_dir.filePath("elf.json"), "--interval", "1000",
                                                  "--duration", "3", "--set", "amplitude=2500"} +
                                          DemoVariables);
        const bool ended = capture.waitForFinished(20000);
        const QString messages = QString::fromLocal8Bit(capture.readAllStandardError());
        QVERIFY2(ended && capture.exitStatus() == QProcess::NormalExit && capture.exitCode() == 0 &&
                     messages.contains(polled ? "frames/s), polling," : "frames/s), high-speed sampling,"),
                 qPrintable(messages));
        const Table table(capture.readAllStandardOutput());
        QVERIFY2(table.problem.isEmpty(), qPrintable(table.problem));
        QCOMPARE(table.header.join(','), ("time," + DemoVariables.join(',')).toLatin1());
        // 3000 slots at 1 ms; the emulator takes most of both cores, so the sampler misses some.
        QVERIFY2(table.rows.size() >= 600, qPrintable(messages));

        // Time stamps from 0, always forward, about a period apart; the counter never goes back and rises
        // (the emulator runs in bursts, so not at every sample); the write shows once, 1000 turning 2500.
        QCOMPARE(table.At(0, "time"), 0.0);
        std::vector<double> steps;
        int changedAt = -1;
        for (int i = 0; i < table.rows.size(); ++i) {
            const QString row = table.rows[i].join(',');
            QVERIFY2(table.Word(i, "status_bits") != 0xDEADu, qPrintable(row));
            if (i > 0) {
                steps.push_back(table.At(i, "time") - table.At(i - 1, "time"));
                QVERIFY2(steps.back() > 0, qPrintable(row));
                QVERIFY2(table.Word(i, "loop_counter") - table.Word(i - 1, "loop_counter") < 0x80000000u,
                         qPrintable(row));
            }
            changedAt = changedAt < 0 && table.At(i, "amplitude") == 2500 ? i : changedAt;
            QVERIFY2(table.At(i, "amplitude") == (changedAt < 0 ? 1000 : 2500), qPrintable(row));
        }
        std::nth_element(steps.begin(), steps.begin() + long(steps.size() / 2), steps.end());
        QVERIFY2(steps[steps.size() / 2] >= 800 && steps[steps.size() / 2] <= 1500, "median time step");
        QVERIFY2(table.Word(table.rows.size() - 1, "loop_counter") - table.Word(0, "loop_counter") > 100,
                 "counter");
        QVERIFY2(changedAt > 0, "the write never showed");
    }

    // Stock openocd between the capture tool and the simulator's JTAG debug module, with gdb as its second
    // client while the capture polls: the counter rises, a typed float lands whole, gdb reads the same.
    void throughStockOpenocd() {
        const QString openocd = QStandardPaths::findExecutable("openocd");
        if (openocd.isEmpty() || QStandardPaths::findExecutable("gdb-multiarch").isEmpty())
            QSKIP("needs openocd and gdb-multiarch (scripts/install-deps.sh)");
        Sim::SimChild sim;
        QVERIFY2(sim.Start(SimProgram, {DemoElf, "--jtag-port", "0"}), sim.Output().constData());
        const QRegularExpression jtag("JTAG \\(remote_bitbang\\) on 127.0.0.1:(\\d+)");
        QProcess server;
        server.setProcessChannelMode(QProcess::MergedChannels);
        server.start(openocd, {"-f", TIDEWATCH_OPENOCD_CFG, "-c",
                               "remote_bitbang port " + jtag.match(sim.Output()).captured(1), "-c",
                               "gdb_port 0", "-c", "tcl_port disabled", "-c", "telnet_port disabled"});
        QByteArray said;
        const QRegularExpression listening("Listening on port (\\d+) for gdb");
        QTRY_VERIFY2_WITH_TIMEOUT((said += server.readAll(), listening.match(said).hasMatch()), said, 10000);
        const QString port = listening.match(said).captured(1);

        QProcess capture;
        capture.start(CaptureProgram,
                      {"--port", port, "--symbols", m_dir.filePath("elf.json"), "--interval", "1000",
                       "--duration", "2", "--set", "amplitude=2500.7", "loop_counter", "amplitude"});
        QByteArray messages;
        QTRY_VERIFY_WITH_TIMEOUT((messages += capture.readAllStandardError()).contains("set amplitude"),
                                 10000);
        QProcess gdb;
        gdb.start("gdb-multiarch", {"-batch", "-ex", "target extended-remote 127.0.0.1:" + port, "-ex",
                                    "print amplitude", "-ex", "print loop_counter", DemoElf});
        QVERIFY(gdb.waitForFinished(20000));
        const QString read = gdb.readAllStandardOutput();
        const QRegularExpressionMatch values =
            QRegularExpression("\\$1 = (\\d+)\\n\\$2 = (\\d+)").match(read);
        QVERIFY2(values.hasMatch(), qPrintable(read + gdb.readAllStandardError()));
        QVERIFY(capture.waitForFinished(20000));
        messages += capture.readAllStandardError();
        QVERIFY2(capture.exitCode() == 0 && messages.contains("), polling,"), messages);

        const Table table(capture.readAllStandardOutput());
        QVERIFY2(table.problem.isEmpty() && table.rows.size() > 20, qPrintable(table.problem));
        const std::uint32_t first = table.Word(0, "loop_counter"),
                            last = table.Word(table.rows.size() - 1, "loop_counter");
        QVERIFY2(last - first > 1000, qPrintable(QString("%1 to %2").arg(first).arg(last)));
        QCOMPARE(table.At(table.rows.size() - 1, "amplitude"), 2500.0);
        QCOMPARE(values.captured(1), QString("2500"));
        QVERIFY2(values.captured(2).toUInt() > first, qPrintable(read)); // read after the capture's first
        server.terminate();
        QVERIFY(server.waitForFinished(5000));
    }
};

QTEST_GUILESS_MAIN(TestSimCapture)
#include "tst_simcapture.moc"
