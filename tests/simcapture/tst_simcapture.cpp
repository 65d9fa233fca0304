// tidewatch-capture sampling the demo firmware, linked with its RAM at 0x80000000, through
// tidewatch-sim, all as real processes: the extractor's list of globals above 0x7FFFFFFF with their
// encodings, CSV columns that follow what the firmware computes (unsigned ones as whole numbers), and a
// --set write that changes it. (Injected faults are the server's and the capture's own tests.)
#include "SimChild.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>
#include <cmath>

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
        QList<QByteArray> lines = csv.split('\n');
        problem = csv.endsWith('\n') ? "" : "the CSV does not end with a complete line";
        lines.removeLast();
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

struct Capture {
    int exitCode = -1; // -1: crashed, or killed after not ending in time
    QByteArray csv;
    QString messages; // standard error
};
} // namespace

class TestSimCapture : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

    QStringList Arguments(std::uint16_t port, const QStringList& arguments) const {
        return QStringList{"--port",     QString::number(port),
                           "--symbols",  m_dir.filePath("elf.json"),
                           "--interval", "1000"} +
               arguments;
    }
    Capture Run(std::uint16_t port, const QStringList& arguments) {
        Capture result;
        QProcess process;
        process.start(CaptureProgram, Arguments(port, arguments));
        if (!process.waitForFinished(20000))
            process.kill();
        else if (process.exitStatus() == QProcess::NormalExit)
            result.exitCode = process.exitCode();
        process.waitForFinished(5000);
        result.csv = process.readAllStandardOutput();
        result.messages = QString::fromLocal8Bit(process.readAllStandardError());
        return result;
    }

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
        for (const QString& name : DemoVariables)
            QVERIFY2(
                !found.filter(QRegularExpression("^" + QRegularExpression::escape(name) + ":")).isEmpty(),
                qPrintable(name));
        for (const char* key :
             {"loop_counter:unsigned", "temperature:signed", "status_bits:unsigned", "sine_wave:float"})
            QVERIFY2(found.contains(key), key);
    }

    void captureFollowsTheFirmware() {
        Sim::SimChild sim;
        QVERIFY2(sim.Start(SimProgram, {DemoElf}), sim.Output().constData());
        const Capture capture =
            Run(sim.Port(), QStringList{"--duration", "3", "--set", "amplitude=2500"} + DemoVariables);
        QVERIFY2(capture.exitCode == 0, qPrintable(capture.messages));
        QVERIFY2(capture.messages.contains("tidewatch-capture: set amplitude = 2500: ok\n"),
                 qPrintable(capture.messages));
        const Table table(capture.csv);
        QVERIFY2(table.problem.isEmpty(), qPrintable(table.problem));
        QCOMPARE(table.header.join(','), ("time," + DemoVariables.join(',')).toLatin1());
        const QRegularExpressionMatch summary =
            QRegularExpression(
                "tidewatch-capture: (\\d+) frames in [0-9.]+ s \\(\\d+ frames/s\\), session end code 0\n")
                .match(capture.messages);
        QVERIFY2(summary.hasMatch(), qPrintable(capture.messages));
        QCOMPARE(summary.captured(1).toInt(), table.rows.size());
        // 3000 slots at 1 ms; the emulator takes most of both cores, so the sampler misses some.
        QVERIFY2(table.rows.size() >= 600, qPrintable(capture.messages));

        // Time stamps from 0, always forward, at least a period apart; the counter never goes back and
        // rises (the emulator runs in bursts, so not at every sample).
        QCOMPARE(table.At(0, "time"), 0.0);
        std::vector<double> steps;
        int changedAt = -1, followerAgrees = 0, signChecked = 0, signAgrees = 0;
        double sineMin = 2, sineMax = -2, largestAfter = 0;
        for (int i = 0; i < table.rows.size(); ++i) {
            const QString row = table.rows[i].join(',');
            if (i > 0) {
                steps.push_back(table.At(i, "time") - table.At(i - 1, "time"));
                QVERIFY2(steps.back() > 0, qPrintable(row));
                QVERIFY2(table.Word(i, "loop_counter") - table.Word(i - 1, "loop_counter") < 0x80000000u,
                         qPrintable(row));
            }
            // The write goes out once the first sample is in: the amplitude changes once, from 1000 to 2500.
            const double amplitude = table.At(i, "amplitude"), sine = table.At(i, "sine_wave");
            changedAt = changedAt < 0 && amplitude == 2500 ? i : changedAt;
            QVERIFY2(amplitude == (changedAt < 0 ? 1000 : 2500), qPrintable(row));
            QVERIFY2(std::abs(sine) <= 1.0001, qPrintable(row));
            sineMin = std::min(sineMin, sine);
            sineMax = std::max(sineMax, sine);
            const double follower = table.At(i, "follower");
            QVERIFY2(std::abs(follower) <= amplitude, qPrintable(row));
            followerAgrees += std::abs(follower - amplitude * sine) <= 3;
            largestAfter = changedAt >= 0 ? std::max(largestAfter, std::abs(follower)) : 0;
            const std::uint32_t bits = table.Word(i, "status_bits"); // bit 7: "amplitude changed"
            QVERIFY2((bits & ~(changedAt < 0 ? 0x03u : 0x83u)) == 0, qPrintable(row));
            if (std::abs(sine) > 0.1) {
                ++signChecked;
                signAgrees += ((bits & 1u) != 0) == (sine > 0);
            }
        }
        std::nth_element(steps.begin(), steps.begin() + long(steps.size() / 2), steps.end());
        QVERIFY2(steps[steps.size() / 2] >= 800 && steps[steps.size() / 2] <= 1500, "median time step");
        QVERIFY2(table.At(table.rows.size() - 1, "time") <= 3.0e6, "the samples span more than the capture");
        QVERIFY2(table.Word(table.rows.size() - 1, "loop_counter") - table.Word(0, "loop_counter") > 100,
                 "counter");
        // A sample may fall between the firmware's stores of one pass, so agreement is by majority.
        QVERIFY2(followerAgrees >= table.rows.size() * 9 / 10, qPrintable(QString::number(followerAgrees)));
        QVERIFY2(signChecked > 0 && signAgrees >= signChecked * 9 / 10,
                 qPrintable(QString::number(signAgrees)));
        QVERIFY2(changedAt > 0 && sineMax - sineMin > 1.0,
                 "the write never showed, or the sine did not swing");
        QVERIFY((table.Word(table.rows.size() - 1, "status_bits") & 0x80u) != 0);
        QVERIFY2(largestAfter > 2000, qPrintable(QString::number(largestAfter))); // past the old bound
    }
};

QTEST_GUILESS_MAIN(TestSimCapture)
#include "tst_simcapture.moc"
