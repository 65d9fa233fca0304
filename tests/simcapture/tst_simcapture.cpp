// tidewatch-capture sampling the demo firmware through tidewatch-sim, all as real processes: the
// extractor's list of globals, CSV columns that follow what the firmware computes, a --set write that
// changes it, a debugger reading beside a capture, and every injected server fault ending the capture
// with its message and exit code, without a hang.
#include "HeldPort.h"
#include "SimChild.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <unistd.h>

namespace {
const QString SimProgram = QStringLiteral(TIDEWATCH_SIM_BIN);
const QString CaptureProgram = QStringLiteral(TIDEWATCH_CAPTURE_BIN);
const QString ExtractorProgram = QStringLiteral(TIDEWATCH_EXTRACTOR_BIN);
const QString DemoElf = QStringLiteral(TIDEWATCH_DEMO_ELF);

// The demo's globals that fit a 32-bit sample word, as the extractor names them.
const QStringList DemoVariables = {
    QStringLiteral("loop_counter"), QStringLiteral("sine_wave"),     QStringLiteral("amplitude"),
    QStringLiteral("follower"),     QStringLiteral("temperature"),   QStringLiteral("status_bits"),
    QStringLiteral("motor.rpm"),    QStringLiteral("motor.current"), QStringLiteral("samples[0]"),
    QStringLiteral("samples[1]"),   QStringLiteral("samples[2]"),    QStringLiteral("samples[3]")};

struct CaptureResult {
    int exitCode = -1; // -1: crashed, or killed after not ending in time
    QByteArray csv;
    QString messages; // standard error
    qint64 elapsedMs = 0;
};

// The CSV with every field a number. Word() reads an unsigned column as the sample word.
struct Table {
    QList<QByteArray> header;
    QList<QList<QByteArray>> fields;
    QVector<QVector<double>> numbers;

    int Column(const char* name) const { return header.indexOf(QByteArray(name)); }
    double At(int row, const char* name) const { return numbers[row][Column(name)]; }
    std::uint32_t Word(int row, const char* name) const {
        return static_cast<std::uint32_t>(std::strtoull(fields[row][Column(name)].constData(), nullptr, 10));
    }
    int Rows() const { return numbers.size(); }
};

bool ParseTable(const QByteArray& csv, Table* table, QString* problem) {
    QList<QByteArray> lines = csv.split('\n');
    if (lines.isEmpty() || !csv.endsWith('\n')) {
        *problem = QStringLiteral("the CSV does not end with a complete line");
        return false;
    }
    lines.removeLast(); // after the final newline
    table->header = lines.takeFirst().split(',');
    for (const QByteArray& line : lines) {
        const QList<QByteArray> fields = line.split(',');
        if (fields.size() != table->header.size()) {
            *problem = QStringLiteral("line '%1' has %2 fields for %3 columns")
                           .arg(QString::fromLatin1(line))
                           .arg(fields.size())
                           .arg(table->header.size());
            return false;
        }
        QVector<double> row;
        for (const QByteArray& field : fields) {
            bool ok = false;
            row << field.toDouble(&ok);
            if (!ok) {
                *problem = QStringLiteral("'%1' in line '%2' is not a number")
                               .arg(QString::fromLatin1(field), QString::fromLatin1(line));
                return false;
            }
        }
        table->fields << fields;
        table->numbers << row;
    }
    return true;
}

// Median of successive differences of the time column, in microseconds.
double MedianTimeStep(const Table& table) {
    std::vector<double> steps;
    for (int i = 1; i < table.Rows(); ++i)
        steps.push_back(table.numbers[i][0] - table.numbers[i - 1][0]);
    if (steps.empty())
        return 0;
    std::nth_element(steps.begin(), steps.begin() + static_cast<long>(steps.size() / 2), steps.end());
    return steps[steps.size() / 2];
}
} // namespace

class TestSimCapture : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void captureFollowsTheFirmware();
    void setChangesWhatTheFirmwareComputes();
    void debuggerReadsBesideACapture();
    void serverFaults_data();
    void serverFaults();

private:
    void StartSim(Sim::SimChild& sim, const QStringList& arguments = {});
    QStringList CaptureArguments(std::uint16_t port, const QStringList& arguments) const;
    CaptureResult Capture(std::uint16_t port, const QStringList& arguments, int timeoutMs = 20000);

    QTemporaryDir m_dir;
    QString m_symbols;
};

void TestSimCapture::initTestCase() {
    if (QStandardPaths::findExecutable(QStringLiteral("qemu-system-riscv32")).isEmpty())
        QSKIP("qemu-system-riscv32 is not installed");
    QVERIFY(m_dir.isValid());
    QProcess extractor;
    extractor.setWorkingDirectory(m_dir.path());
    extractor.setProcessChannelMode(QProcess::MergedChannels);
    extractor.start(ExtractorProgram, {DemoElf});
    QVERIFY(extractor.waitForFinished(30000));
    const QByteArray output = extractor.readAll();
    QVERIFY2(extractor.exitStatus() == QProcess::NormalExit && extractor.exitCode() == 0, output.constData());
    m_symbols = m_dir.filePath(QStringLiteral("elf.json"));
    QFile file(m_symbols);
    QVERIFY2(file.open(QIODevice::ReadOnly), output.constData());

    // Every global must be at an address the sampling engine takes: 0x2000xxxx, below 0x80000000.
    QStringList found;
    for (const QJsonValue& unit : QJsonDocument::fromJson(file.readAll()).array()) {
        for (const QJsonValue& entry : unit.toObject().value(QStringLiteral("dataList")).toArray()) {
            const QJsonObject variable = entry.toObject();
            const QString name = variable.value(QStringLiteral("name")).toString();
            const QString address = variable.value(QStringLiteral("address")).toString();
            QVERIFY2(address.size() == 8 && address.startsWith(QLatin1String("2000")),
                     qPrintable(QStringLiteral("%1 at %2").arg(name, address)));
            found << name;
        }
    }
    for (const QString& name : DemoVariables)
        QVERIFY2(found.contains(name), qPrintable(name));
}

void TestSimCapture::StartSim(Sim::SimChild& sim, const QStringList& arguments) {
    QVERIFY2(sim.Start(SimProgram, arguments), sim.Output().constData());
}

QStringList TestSimCapture::CaptureArguments(std::uint16_t port, const QStringList& arguments) const {
    return QStringList{QStringLiteral("--port"), QString::number(port), QStringLiteral("--symbols"),
                       m_symbols} +
           arguments;
}

CaptureResult TestSimCapture::Capture(std::uint16_t port, const QStringList& arguments, int timeoutMs) {
    CaptureResult result;
    QProcess process;
    QElapsedTimer clock;
    clock.start();
    process.start(CaptureProgram, CaptureArguments(port, arguments));
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished(5000);
    } else if (process.exitStatus() == QProcess::NormalExit) {
        result.exitCode = process.exitCode();
    }
    result.elapsedMs = clock.elapsed();
    result.csv = process.readAllStandardOutput();
    result.messages = QString::fromLocal8Bit(process.readAllStandardError());
    return result;
}

void TestSimCapture::captureFollowsTheFirmware() {
    Sim::SimChild sim;
    StartSim(sim);
    const CaptureResult capture =
        Capture(sim.Port(), QStringList{QStringLiteral("--interval"), QStringLiteral("1000"),
                                        QStringLiteral("--duration"), QStringLiteral("2")} +
                                DemoVariables);
    QVERIFY2(capture.exitCode == 0, qPrintable(capture.messages));
    Table table;
    QString problem;
    QVERIFY2(ParseTable(capture.csv, &table, &problem), qPrintable(problem));
    QCOMPARE(table.header.join(','), ("time," + DemoVariables.join(',')).toLatin1());

    const QRegularExpression summary(QStringLiteral(
        "tidewatch-capture: (\\d+) frames in [0-9.]+ s \\(\\d+ frames/s\\), session end code 0\n"));
    const QRegularExpressionMatch match = summary.match(capture.messages);
    QVERIFY2(match.hasMatch(), qPrintable(capture.messages));
    QCOMPARE(match.captured(1).toInt(), table.Rows());
    // 2000 slots at 1 ms; the emulator takes most of both cores, so the sampler misses some.
    QVERIFY2(table.Rows() >= 400, qPrintable(capture.messages));

    // Time stamps: from 0, always forward, about one period apart.
    QCOMPARE(table.numbers[0][0], 0.0);
    for (int i = 1; i < table.Rows(); ++i)
        QVERIFY2(table.numbers[i][0] > table.numbers[i - 1][0], qPrintable(QString::number(i)));
    const double median = MedianTimeStep(table);
    QVERIFY2(median >= 800 && median <= 1500, qPrintable(QStringLiteral("median step %1 us").arg(median)));
    // The span is the samples' periods (longer where the sampler missed slots) and fits in the capture,
    // whose first sample comes a fraction of a second after its start.
    const double span = table.numbers.last()[0];
    QVERIFY2(span >= 800.0 * (table.Rows() - 1) && span <= 2.0e6,
             qPrintable(QStringLiteral("%1 us for %2 samples").arg(span).arg(table.Rows())));

    // The counter never goes back and has risen; the emulator runs in bursts, so not at every sample.
    const std::uint32_t first = table.Word(0, "loop_counter");
    for (int i = 1; i < table.Rows(); ++i)
        QVERIFY2(table.Word(i, "loop_counter") - table.Word(i - 1, "loop_counter") < 0x80000000u,
                 qPrintable(QStringLiteral("row %1").arg(i)));
    QVERIFY2(table.Word(table.Rows() - 1, "loop_counter") - first > 100, "the loop counter hardly moved");

    double sineMin = 2, sineMax = -2;
    int followerAgrees = 0, signChecked = 0, signAgrees = 0;
    for (int i = 0; i < table.Rows(); ++i) {
        const QString row = QString::fromLatin1(table.fields[i].join(','));
        const double sine = table.At(i, "sine_wave");
        QVERIFY2(std::abs(sine) <= 1.0001, qPrintable(row));
        sineMin = std::min(sineMin, sine);
        sineMax = std::max(sineMax, sine);
        QCOMPARE(table.At(i, "amplitude"), 1000.0);
        const double follower = table.At(i, "follower");
        QVERIFY2(std::abs(follower) <= 1000, qPrintable(row));
        followerAgrees += std::abs(follower - 1000 * sine) <= 2;
        const double temperature = table.At(i, "temperature");
        QVERIFY2(temperature >= 250 && temperature <= 350, qPrintable(row));
        const std::uint32_t bits = table.Word(i, "status_bits");
        QVERIFY2((bits & ~0x03u) == 0, qPrintable(row)); // bit 7 stays clear while amplitude is 1000
        if (std::abs(sine) > 0.1) {
            ++signChecked;
            signAgrees += ((bits & 1u) != 0) == (sine > 0);
        }
        const double rpm = table.At(i, "motor.rpm");
        QVERIFY2(rpm >= 1500 && rpm <= 2000, qPrintable(row));
        const double current = table.At(i, "motor.current");
        QVERIFY2(current >= 0.2499 && current <= 0.7501, qPrintable(row));
        for (const char* slot : {"samples[0]", "samples[1]", "samples[2]", "samples[3]"})
            QVERIFY2(table.At(i, slot) >= 0 && table.At(i, slot) <= 1000, qPrintable(row));
    }
    // A sample may fall between the firmware's stores of one pass, so agreement is by majority.
    QVERIFY2(followerAgrees >= table.Rows() * 9 / 10,
             qPrintable(QStringLiteral("%1 of %2").arg(followerAgrees).arg(table.Rows())));
    QVERIFY2(signChecked > 0 && signAgrees >= signChecked * 9 / 10,
             qPrintable(QStringLiteral("%1 of %2").arg(signAgrees).arg(signChecked)));
    // 2 s is one period of the sine.
    QVERIFY2(sineMax - sineMin > 1.0, qPrintable(QStringLiteral("%1..%2").arg(sineMin).arg(sineMax)));
}

void TestSimCapture::setChangesWhatTheFirmwareComputes() {
    Sim::SimChild sim;
    StartSim(sim);
    const CaptureResult capture = Capture(
        sim.Port(), {QStringLiteral("--interval"), QStringLiteral("1000"), QStringLiteral("--duration"),
                     QStringLiteral("3"), QStringLiteral("--set"), QStringLiteral("amplitude=2500"),
                     QStringLiteral("amplitude"), QStringLiteral("follower")});
    QVERIFY2(capture.exitCode == 0, qPrintable(capture.messages));
    QVERIFY2(capture.messages.contains(QStringLiteral("tidewatch-capture: set amplitude = 2500: ok\n")),
             qPrintable(capture.messages));
    Table table;
    QString problem;
    QVERIFY2(ParseTable(capture.csv, &table, &problem), qPrintable(problem));
    QVERIFY(table.Rows() > 0);

    // The write goes out once the first sample is in: the amplitude changes once, from 1000 to 2500.
    QCOMPARE(table.At(0, "amplitude"), 1000.0);
    int changedAt = -1;
    double largestAfter = 0;
    for (int i = 0; i < table.Rows(); ++i) {
        const double amplitude = table.At(i, "amplitude");
        const double follower = std::abs(table.At(i, "follower"));
        const QString row = QString::fromLatin1(table.fields[i].join(','));
        if (changedAt < 0 && amplitude == 2500)
            changedAt = i;
        QVERIFY2(amplitude == (changedAt < 0 ? 1000 : 2500), qPrintable(row));
        QVERIFY2(follower <= amplitude, qPrintable(row));
        if (changedAt >= 0)
            largestAfter = std::max(largestAfter, follower);
    }
    QVERIFY2(changedAt > 0, "the write never showed");
    // More than a period of the sine follows the write: the follower swings well past the old bound.
    QVERIFY2(largestAfter > 2000, qPrintable(QString::number(largestAfter)));

    // The write is in the firmware's memory, not only in what one session saw.
    const CaptureResult later = Capture(
        sim.Port(), {QStringLiteral("--interval"), QStringLiteral("1000"), QStringLiteral("--duration"),
                     QStringLiteral("1"), QStringLiteral("amplitude"), QStringLiteral("status_bits")});
    QVERIFY2(later.exitCode == 0, qPrintable(later.messages));
    Table after;
    QVERIFY2(ParseTable(later.csv, &after, &problem), qPrintable(problem));
    QVERIFY(after.Rows() > 0);
    for (int i = 0; i < after.Rows(); ++i) {
        QCOMPARE(after.At(i, "amplitude"), 2500.0);
        QVERIFY((after.Word(i, "status_bits") & 0x80u) != 0); // the firmware's "amplitude changed" flag
    }
}

void TestSimCapture::debuggerReadsBesideACapture() {
    const QString gdb = QStandardPaths::findExecutable(QStringLiteral("gdb-multiarch"));
    if (gdb.isEmpty())
        QSKIP("gdb-multiarch is not installed");
    Sim::SimChild sim;
    StartSim(sim);
    QProcess capture;
    capture.start(CaptureProgram,
                  CaptureArguments(sim.Port(), {QStringLiteral("--interval"), QStringLiteral("1000"),
                                                QStringLiteral("--duration"), QStringLiteral("3"),
                                                QStringLiteral("loop_counter")}));
    // Samples flow (a header and a row) before the debugger comes.
    QByteArray csv;
    const QDeadlineTimer flowing(10000);
    while (csv.count('\n') < 2 && !flowing.hasExpired() && capture.state() != QProcess::NotRunning) {
        capture.waitForReadyRead(100);
        csv += capture.readAllStandardOutput();
    }
    QVERIFY2(csv.count('\n') >= 2, capture.readAllStandardError().constData());

    QFile script(m_dir.filePath(QStringLiteral("beside.gdb")));
    QVERIFY(script.open(QIODevice::WriteOnly));
    // The loop waits for the counter to move, bounded so that a frozen target ends the script anyway.
    script.write(QStringLiteral("target remote :%1\n"
                                "print &loop_counter\n"
                                "print loop_counter\n"
                                "set $first = loop_counter\n"
                                "set $tries = 0\n"
                                "while loop_counter == $first && $tries < 100000\n"
                                "  set $tries = $tries + 1\n"
                                "end\n"
                                "print loop_counter\n"
                                "detach\n")
                     .arg(sim.Port())
                     .toLatin1());
    script.close();
    QProcess debugger;
    debugger.setProcessChannelMode(QProcess::MergedChannels);
    debugger.start(gdb, {QStringLiteral("-nx"), QStringLiteral("-batch"), QStringLiteral("-x"),
                         script.fileName(), DemoElf});
    QVERIFY(debugger.waitForFinished(60000));
    const QString output = QString::fromLocal8Bit(debugger.readAll());
    QCOMPARE(debugger.exitCode(), 0);
    // The debugger reads the global at its link address in the data window.
    const QRegularExpression pointer(
        QStringLiteral("= \\(volatile unsigned int \\*\\) 0x2000[0-9a-f]{4} <loop_counter>"));
    QVERIFY2(pointer.match(output).hasMatch(), qPrintable(output));
    const QRegularExpression printed(QStringLiteral("^\\$\\d+ = (\\d+)$"),
                                     QRegularExpression::MultilineOption);
    QList<qulonglong> values;
    for (auto it = printed.globalMatch(output); it.hasNext();)
        values << it.next().captured(1).toULongLong();
    QVERIFY2(values.size() == 2 && values[1] != values[0], qPrintable(output));

    QVERIFY(capture.waitForFinished(20000));
    csv += capture.readAllStandardOutput();
    const QString messages = QString::fromLocal8Bit(capture.readAllStandardError());
    QVERIFY2(capture.exitStatus() == QProcess::NormalExit && capture.exitCode() == 0, qPrintable(messages));
    Table table;
    QString problem;
    QVERIFY2(ParseTable(csv, &table, &problem), qPrintable(problem));
    QVERIFY2(table.Word(table.Rows() - 1, "loop_counter") - table.Word(0, "loop_counter") > 100,
             "the capture did not see the counter move");
}

void TestSimCapture::serverFaults_data() {
    QTest::addColumn<QString>("fault"); // empty: nothing listens on the port
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("message");
    QTest::addColumn<bool>("amplitudeKept"); // the CSV shows the firmware's amplitude untouched
    const QStringList set{QStringLiteral("--duration"), QStringLiteral("1"), QStringLiteral("--set"),
                          QStringLiteral("amplitude=2500")};
    // Long enough that only the fault can end these captures.
    const QStringList longRun{QStringLiteral("--duration"), QStringLiteral("30")};
    const QString setup = QStringLiteral("Setup GDBserver Fail! Please check the connection between the "
                                         "debugger and the PC ,and then restart Tidewatch!");
    QTest::newRow("no server") << QString() << longRun << 3 << setup << false;
    // The opening handshake stops any earlier session and insists on its OK.
    QTest::newRow("no-hss") << "no-hss" << longRun << 3 << setup << false;
    QTest::newRow("empty-reads")
        << "empty-reads" << longRun << 4
        << "sampling session ended with code 4: the target delivered no samples in 15 "
           "reads in a row"
        << false;
    QTest::newRow("close-after-reads=3")
        << "close-after-reads=3" << longRun << 4
        << "sampling session ended with code 3: the connection to the GDB server was lost or fell out of step"
        << false;
    QTest::newRow("silent-after-reads=3") << "silent-after-reads=3" << longRun << 4
                                          << "no samples for 2 s: the GDB server stopped answering" << false;
    QTest::newRow("nack-writes") << "nack-writes" << set << 5 << "set amplitude = 2500: failed" << true;
    QTest::newRow("error-writes") << "error-writes" << set << 5 << "set amplitude = 2500: failed" << true;
}

void TestSimCapture::serverFaults() {
    QFETCH(QString, fault);
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, message);
    QFETCH(bool, amplitudeKept);
    Sim::SimChild sim;
    HeldPort refusing(HeldPort::Refusing);
    std::uint16_t port = refusing.port();
    if (!fault.isEmpty()) {
        StartSim(sim, {QStringLiteral("--fault"), fault});
        port = sim.Port();
    }
    QVERIFY(port != 0);
    const CaptureResult capture =
        Capture(port, arguments + QStringList{QStringLiteral("--interval"), QStringLiteral("1000"),
                                              QStringLiteral("--stall-timeout"), QStringLiteral("2"),
                                              QStringLiteral("loop_counter"), QStringLiteral("amplitude")});
    QVERIFY2(capture.exitCode == exitCode, qPrintable(QStringLiteral("exit %1 after %2 ms\n%3")
                                                          .arg(capture.exitCode)
                                                          .arg(capture.elapsedMs)
                                                          .arg(capture.messages)));
    QVERIFY2(capture.messages.contains(message), qPrintable(capture.messages));
    // Ended by the fault within the stall time and the stop's own bounded waits, not by --duration.
    QVERIFY2(capture.elapsedMs < 10000, qPrintable(QStringLiteral("%1 ms").arg(capture.elapsedMs)));
    if (amplitudeKept) {
        Table table;
        QString problem;
        QVERIFY2(ParseTable(capture.csv, &table, &problem), qPrintable(problem));
        QVERIFY(table.Rows() > 0);
        for (int i = 0; i < table.Rows(); ++i)
            QCOMPARE(table.At(i, "amplitude"), 1000.0);
    }
}

QTEST_GUILESS_MAIN(TestSimCapture)
#include "tst_simcapture.moc"
