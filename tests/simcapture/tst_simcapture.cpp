// tidewatch-capture sampling the demo firmware (RAM at 0x80000000) through tidewatch-sim as real processes:
// the globals above 0x7FFFFFFF with their encodings, CSV columns that follow the firmware, --set writes of
// 1, 2, 4 and 8 bytes that leave their neighbours alone, 64-bit values with every digit; with high-speed
// sampling and, from a server without it, by polling; through stock openocd with gdb beside.
#include "SimChild.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>
#include <algorithm>
#include <cmath>

namespace {
const QString SimProgram = QStringLiteral(TIDEWATCH_SIM_BIN);
const QString CaptureProgram = QStringLiteral(TIDEWATCH_CAPTURE_BIN);
const QString DemoElf = QStringLiteral(TIDEWATCH_DEMO_HIGH_ELF);

// The demo's globals as the extractor names them: words, a double, 64-bit integers, packed bytes.
const QStringList DemoVariables = {
    "loop_counter",  "sine_wave",      "amplitude",           "follower",           "temperature",
    "status_bits",   "motor.rpm",      "motor.current",       "samples[0]",         "samples[3]",
    "ratio",         "trim_offset",    "set_point",           "wide_counter",       "settings.guard_low",
    "settings.trim", "settings.level", "settings.guard_high", "settings.guard_wide"};
// Written once sampling runs: variable, value before, value written (the CSV's texts).
const QList<QStringList> Writes = {{"amplitude", "1000", "2500"},
                                   {"trim_offset", "-5000000000", "-1234567890123"},
                                   {"set_point", "1.5", "0.75"},
                                   {"settings.trim", "-1", "-7"},
                                   {"settings.level", "100", "-300"}};
// The packed settings' neighbours, which the firmware never touches.
const QList<QPair<const char*, QByteArray>> Guards = {
    {"settings.guard_low", "90"}, {"settings.guard_high", "165"}, {"settings.guard_wide", "48879"}};

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
    QByteArray Text(int row, const QString& name) const { return rows[row][header.indexOf(name.toLatin1())]; }
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
        QStringList args =
            QString("--port %1 --interval 1000 --duration 3 --symbols").arg(sim.Port()).split(' ');
        args << m_dir.filePath("elf.json");
        for (const QStringList& w : Writes)
            args << "--set" << w[0] + "=" + w[2];
        QProcess capture;
        capture.start(CaptureProgram, args + DemoVariables);
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
        // (the emulator runs in bursts, so not at every sample); each write shows once and stays, its
        // neighbours keep their values; the double is a ratio; the 64-bit counter crosses 2^32 with every
        // digit, but a sample may catch its two words half-stored, as on real hardware.
        QCOMPARE(table.At(0, "time"), 0.0);
        std::vector<double> steps;
        QVector<int> changedAt(Writes.size(), -1);
        int wideInRange = 0, wideAbove = 0;
        double largestRatio = 0;
        for (int i = 0; i < table.rows.size(); ++i) {
            const QString row = table.rows[i].join(',');
            QVERIFY2(table.Word(i, "status_bits") != 0xDEADu, qPrintable(row));
            if (i > 0) {
                steps.push_back(table.At(i, "time") - table.At(i - 1, "time"));
                QVERIFY2(steps.back() > 0, qPrintable(row));
                QVERIFY2(table.Word(i, "loop_counter") - table.Word(i - 1, "loop_counter") < 0x80000000u,
                         qPrintable(row));
            }
            for (int w = 0; w < Writes.size(); ++w) {
                const QByteArray text = table.Text(i, Writes[w][0]);
                changedAt[w] = changedAt[w] < 0 && text == Writes[w][2] ? i : changedAt[w];
                QVERIFY2(text == Writes[w][changedAt[w] < 0 ? 1 : 2], qPrintable(Writes[w][0] + ": " + row));
            }
            for (const auto& [name, value] : Guards)
                QVERIFY2(table.Text(i, name) == value, qPrintable(row));
            bool whole = false;
            const qulonglong wide = table.Text(i, "wide_counter").toULongLong(&whole);
            QVERIFY2(whole && QByteArray::number(wide) == table.Text(i, "wide_counter"), qPrintable(row));
            wideInRange += wide >= 0xFFFFFFFFull - 499999 && wide <= 0xFFFFFFFFull + 500000;
            wideAbove += wide > 0xFFFFFFFFull && wide <= 0xFFFFFFFFull + 500000;
            QVERIFY2(std::fabs(table.At(i, "ratio")) <= 1.0, qPrintable(row));
            largestRatio = std::max(largestRatio, std::fabs(table.At(i, "ratio")));
        }
        std::nth_element(steps.begin(), steps.begin() + long(steps.size() / 2), steps.end());
        QVERIFY2(steps[steps.size() / 2] >= 800 && steps[steps.size() / 2] <= 1500, "median time step");
        QVERIFY2(table.Word(table.rows.size() - 1, "loop_counter") - table.Word(0, "loop_counter") > 100,
                 "counter");
        QVERIFY2(!changedAt.contains(-1) && !changedAt.contains(0), "a write never showed");
        QVERIFY2(wideInRange >= table.rows.size() * 95 / 100 && wideAbove > 0 && wideAbove < wideInRange,
                 qPrintable(QString("%1 in range, %2 above 2^32").arg(wideInRange).arg(wideAbove)));
        QVERIFY2(largestRatio > 0.5, "the double never moved");
    }

    // Stock openocd between the capture tool and the simulator's JTAG debug module, with gdb as its second
    // client while the capture polls: the counter rises, a typed floating value lands, gdb reads the same.
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
                       "--duration", "2", "--set", "set_point=2500.75", "loop_counter", "set_point"});
        QByteArray messages;
        QTRY_VERIFY_WITH_TIMEOUT((messages += capture.readAllStandardError()).contains("set set_point"),
                                 10000);
        QProcess gdb;
        gdb.start("gdb-multiarch", {"-batch", "-ex", "target extended-remote 127.0.0.1:" + port, "-ex",
                                    "print set_point", "-ex", "print loop_counter", DemoElf});
        QVERIFY(gdb.waitForFinished(20000));
        const QString read = gdb.readAllStandardOutput();
        const QRegularExpressionMatch values =
            QRegularExpression("\\$1 = ([-0-9.e]+)\\n\\$2 = (\\d+)").match(read);
        QVERIFY2(values.hasMatch(), qPrintable(read + gdb.readAllStandardError()));
        QVERIFY(capture.waitForFinished(20000));
        messages += capture.readAllStandardError();
        QVERIFY2(capture.exitCode() == 0 && messages.contains("), polling,"), messages);

        const Table table(capture.readAllStandardOutput());
        QVERIFY2(table.problem.isEmpty() && table.rows.size() > 20, qPrintable(table.problem));
        const std::uint32_t first = table.Word(0, "loop_counter"),
                            last = table.Word(table.rows.size() - 1, "loop_counter");
        QVERIFY2(last - first > 1000, qPrintable(QString("%1 to %2").arg(first).arg(last)));
        QCOMPARE(table.At(table.rows.size() - 1, "set_point"), 2500.75);
        QCOMPARE(values.captured(1), QString("2500.75"));
        QVERIFY2(values.captured(2).toUInt() > first, qPrintable(read)); // read after the capture's first
        server.terminate();
        QVERIFY(server.waitForFinished(5000));
    }
};

QTEST_GUILESS_MAIN(TestSimCapture)
#include "tst_simcapture.moc"
