// The real tidewatch-sim with QEMU running the demo firmware: memory of the live firmware, sampling
// sessions, a debugger attached beside them, fault flags, refusals and clean shutdown.
#include "ElfImage.h"
#include "HeldPort.h"
#include "HssRequest.h"
#include "RspClient.h"
#include "RspFraming.h"
#include "SharedRam.h"
#include "SimChild.h"
#include "TargetMemoryMap.h"

#include <QTemporaryDir>
#include <QtTest>
#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstring>
#include <functional>
#include <unistd.h>

using namespace Sim;

namespace {
const QString SimProgram = QStringLiteral(TIDEWATCH_SIM_BIN);
const QString DemoElf = QStringLiteral(TIDEWATCH_DEMO_ELF);

std::uint32_t Le32(const QByteArray& bytes, int at) {
    std::uint32_t value = 0;
    for (int i = 0; i < 4; ++i)
        value |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes.at(at + i))) << (8 * i);
    return value;
}

float LeFloat(const QByteArray& bytes, int at) {
    const std::uint32_t bits = Le32(bytes, at);
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

QByteArray Hex32(std::uint32_t value) {
    QByteArray bytes(4, '\0');
    for (int i = 0; i < 4; ++i)
        bytes[i] = static_cast<char>(value >> (8 * i));
    return bytes.toHex();
}

QByteArray ReadCommand(std::uint64_t address, int size) {
    return "m" + QByteArray::number(static_cast<qulonglong>(address), 16) + "," +
           QByteArray::number(size, 16);
}

QByteArray WriteCommand(std::uint64_t address, std::uint32_t value) {
    return "M" + QByteArray::number(static_cast<qulonglong>(address), 16) + ",4:" + Hex32(value);
}

// Children of a process, from the kernel's per-thread list.
QList<qint64> ChildPids(qint64 pid) {
    QFile file(QStringLiteral("/proc/%1/task/%1/children").arg(pid));
    QList<qint64> pids;
    if (file.open(QIODevice::ReadOnly)) {
        for (const QByteArray& field : file.readAll().split(' ')) {
            if (!field.trimmed().isEmpty())
                pids << field.trimmed().toLongLong();
        }
    }
    return pids;
}

QStringList ShmFilesOf(qint64 pid) {
    return QDir(QStringLiteral("/dev/shm"))
        .entryList({QStringLiteral("tidewatch-sim-%1-*").arg(pid)}, QDir::Files);
}
} // namespace

class TestSimTarget : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void memoryOfTheRunningFirmware();
    void samplingFollowsTheFirmware();
    void writeBetweenReadsChangesWhatTheFirmwareComputes();
    void debuggerAttachedBesideSampling();
    void faultFlags_data();
    void faultFlags();
    void refusesToStart_data();
    void refusesToStart();
    void stopsCleanlyOnSignal_data();
    void stopsCleanlyOnSignal();
    void reportsTheEmulatorsEnd();

private:
    std::uint64_t Symbol(const char* name);
    void StartSim(SimChild& sim, const QStringList& arguments = {});
    QByteArray Ask(RspClient& client, const QByteArray& command);
    std::uint32_t Read32(RspClient& client, std::uint64_t address);

    ElfImage m_elf;
};

void TestSimTarget::initTestCase() {
    QString error;
    QVERIFY2(m_elf.Load(DemoElf, SharedRam::Base, SharedRam::DefaultSize, &error), qPrintable(error));
    // The firmware keeps its globals in the data window, as a microcontroller keeps them in its RAM.
    for (const char* name : {"loop_counter", "amplitude", "samples", "ratio"}) {
        const std::uint64_t address = Symbol(name);
        QVERIFY2(address >= TargetMemoryMap::DataWindow &&
                     address < TargetMemoryMap::DataWindow + TargetMemoryMap::DataWindowSize,
                 qPrintable(QStringLiteral("%1 at 0x%2").arg(name).arg(address, 0, 16)));
    }
    if (QStandardPaths::findExecutable(QStringLiteral("qemu-system-riscv32")).isEmpty())
        QSKIP("qemu-system-riscv32 is not installed");
}

std::uint64_t TestSimTarget::Symbol(const char* name) {
    const std::uint64_t address = m_elf.SymbolAddress(name);
    if (address == 0)
        qFatal("demo.elf has no symbol %s", name);
    return address;
}

void TestSimTarget::StartSim(SimChild& sim, const QStringList& arguments) {
    QVERIFY2(sim.Start(SimProgram, arguments), sim.Output().constData());
}

QByteArray TestSimTarget::Ask(RspClient& client, const QByteArray& command) {
    QByteArray reply;
    if (!client.Command(command, &reply))
        return "<" + client.LastError().toLatin1() + ">";
    return reply;
}

std::uint32_t TestSimTarget::Read32(RspClient& client, std::uint64_t address) {
    const QByteArray hex = Ask(client, ReadCommand(address, 4));
    return hex.size() == 8 ? Le32(QByteArray::fromHex(hex), 0) : 0xffffffffu;
}

void TestSimTarget::memoryOfTheRunningFirmware() {
    SimChild sim;
    StartSim(sim);
    RspClient client;
    QVERIFY(client.Connect(sim.Port()));
    QVERIFY(Ask(client, "qSupported:vContSupported").contains("PacketSize="));
    QCOMPARE(Ask(client, "qSeggerHSS:Stop"), QByteArray("OK"));

    const std::uint32_t first = Read32(client, Symbol("loop_counter"));
    QTRY_VERIFY_WITH_TIMEOUT(Read32(client, Symbol("loop_counter")) != first, 5000);
    QCOMPARE(Read32(client, Symbol("amplitude")), 1000u);
    // The start value came from the file's load address, which the page table shows at the link address.
    const std::uint64_t amplitudeInRam = SharedRam::Base + TargetMemoryMap::DataWindowOffset +
                                         (Symbol("amplitude") - TargetMemoryMap::DataWindow);
    QCOMPARE(Read32(client, amplitudeInRam), 1000u);

    QCOMPARE(Ask(client, WriteCommand(Symbol("amplitude"), 0)), QByteArray("OK"));
    QCOMPARE(Read32(client, Symbol("amplitude")), 0u);
    QTRY_COMPARE_WITH_TIMEOUT(Read32(client, Symbol("follower")), 0u, 5000);
    QTRY_VERIFY_WITH_TIMEOUT((Read32(client, Symbol("status_bits")) & 0x80u) != 0, 5000);

    QCOMPARE(Ask(client, ReadCommand(0x7ffffffc, 4)), QByteArray("E01"));
    QCOMPARE(Ask(client, ReadCommand(SharedRam::Base + SharedRam::DefaultSize, 1)), QByteArray("E01"));
    QCOMPARE(Ask(client, WriteCommand(TargetMemoryMap::DataWindow + TargetMemoryMap::DataWindowSize, 3)),
             QByteArray("E01"));
    QCOMPARE(Ask(client, ReadCommand(0x0200bff8, 4)), QByteArray("E01")); // the timer is not shared RAM
}

void TestSimTarget::samplingFollowsTheFirmware() {
    SimChild sim;
    StartSim(sim);
    RspClient client;
    QVERIFY(client.Connect(sim.Port()));
    HssStart start;
    start.flags = 1;
    start.periodUs = 100;
    start.blocks = {{Symbol("loop_counter"), 4, 0}, {Symbol("sine_wave"), 4, 0},
                    {Symbol("follower"), 4, 0},     {Symbol("uptime_us"), 8, 0},
                    {Symbol("temperature"), 2, 0},  {Symbol("status_bits"), 1, 0}};
    const int size = static_cast<int>(start.RecordSize());
    QCOMPARE(Ask(client, "qSeggerHSS:Supported"), QByteArray("OK"));
    QCOMPARE(Ask(client, FormatHssStart(start)), QByteArray("OK"));

    QByteArray all;
    std::uint32_t total = 0;
    const QDeadlineTimer deadline(15000);
    while (total < 3000 && !deadline.hasExpired()) {
        QByteArray records;
        std::uint32_t n = 0;
        QVERIFY2(client.HssRead(0x2710, static_cast<std::size_t>(size), &records, &n),
                 qPrintable(client.LastError()));
        all += records;
        total += n;
    }
    QVERIFY2(total >= 3000, qPrintable(QString::number(total)));
    QCOMPARE(Ask(client, "qSeggerHSS:Stop"), QByteArray("OK"));

    std::vector<std::uint32_t> steps;
    std::uint32_t counterRises = 0;
    for (std::uint32_t i = 0; i < total; ++i) {
        const int at = static_cast<int>(i) * size;
        const float sine = LeFloat(all, at + 8);
        const auto follower = static_cast<std::int32_t>(Le32(all, at + 12));
        // The record ends one byte after the temperature: read exactly its two bytes.
        const auto temperature = static_cast<std::int16_t>(static_cast<unsigned char>(all.at(at + 24)) |
                                                           static_cast<unsigned char>(all.at(at + 25)) << 8);
        QVERIFY2(sine >= -1.0001f && sine <= 1.0001f, qPrintable(QString::number(sine)));
        QVERIFY2(follower >= -1000 && follower <= 1000, qPrintable(QString::number(follower)));
        QVERIFY2(temperature >= 250 && temperature <= 350, qPrintable(QString::number(temperature)));
        if (i > 0) {
            const int previous = at - size;
            steps.push_back(Le32(all, at) - Le32(all, previous));
            const std::uint32_t counter = Le32(all, at + 4), before = Le32(all, previous + 4);
            QVERIFY2(counter - before < 0x80000000u, "the loop counter went backwards");
            counterRises += counter != before;
        }
    }
    // The emulator shares two cores with the sampler and this busy client, so it advances in bursts: the
    // counter must never go back and must have moved, not move at every sample.
    const std::uint32_t rise = Le32(all, (static_cast<int>(total) - 1) * size + 4) - Le32(all, 4);
    QVERIFY2(
        counterRises > 0 && rise > 100,
        qPrintable(QStringLiteral("rose in %1 of %2 samples, by %3").arg(counterRises).arg(total).arg(rise)));

    // Time stamps: steps of one period, apart from the odd late wake-up.
    std::vector<std::uint32_t> sorted = steps;
    std::sort(sorted.begin(), sorted.end());
    const std::uint32_t median = sorted[sorted.size() / 2];
    QVERIFY2(median >= 80 && median <= 150, qPrintable(QStringLiteral("median step %1 us").arg(median)));
    const std::uint32_t span = Le32(all, (static_cast<int>(total) - 1) * size) - Le32(all, 0);
    QVERIFY2(span >= 90 * (total - 1),
             qPrintable(QStringLiteral("span %1 us for %2 samples").arg(span).arg(total)));

    // The firmware's own clock moved as far as the time stamps did.
    auto uptime = [&](int index) {
        const int at = index * size + 16;
        return (static_cast<std::uint64_t>(Le32(all, at + 4)) << 32) | Le32(all, at);
    };
    const double firmwareSpan = static_cast<double>(uptime(static_cast<int>(total) - 1) - uptime(0));
    QVERIFY2(std::abs(firmwareSpan - span) < 0.1 * span + 5000,
             qPrintable(QStringLiteral("firmware %1 us, time stamps %2 us").arg(firmwareSpan).arg(span)));
}

void TestSimTarget::writeBetweenReadsChangesWhatTheFirmwareComputes() {
    SimChild sim;
    StartSim(sim);
    RspClient client;
    QVERIFY(client.Connect(sim.Port()));
    HssStart start;
    start.flags = 1;
    start.periodUs = 1000;
    start.blocks = {{Symbol("amplitude"), 4, 0}, {Symbol("follower"), 4, 0}};
    QCOMPARE(Ask(client, FormatHssStart(start)), QByteArray("OK"));

    // Reads the session for up to timeoutMs, until done() holds for an (amplitude, follower) sample.
    auto sampleUntil = [&](const std::function<bool(std::int32_t, std::int32_t)>& done, int timeoutMs) {
        const QDeadlineTimer deadline(timeoutMs);
        while (!deadline.hasExpired()) {
            QByteArray records;
            std::uint32_t n = 0;
            if (!client.HssRead(0x2710, 12, &records, &n))
                return false;
            for (std::uint32_t i = 0; i < n; ++i) {
                const int at = static_cast<int>(i) * 12;
                if (done(static_cast<std::int32_t>(Le32(records, at + 4)),
                         static_cast<std::int32_t>(Le32(records, at + 8))))
                    return true;
            }
        }
        return false;
    };
    QVERIFY(sampleUntil([](std::int32_t amplitude, std::int32_t) { return amplitude == 1000; }, 5000));
    QCOMPARE(Ask(client, WriteCommand(Symbol("amplitude"), 0)), QByteArray("OK"));
    QVERIFY(sampleUntil(
        [](std::int32_t amplitude, std::int32_t follower) { return amplitude == 0 && follower == 0; }, 5000));
    QCOMPARE(Ask(client, WriteCommand(Symbol("amplitude"), 50000)), QByteArray("OK"));
    // Within half the sine's 2 s period the magnitude passes 0.7 of the amplitude.
    QVERIFY(
        sampleUntil([](std::int32_t amplitude,
                       std::int32_t follower) { return amplitude == 50000 && std::abs(follower) > 35000; },
                    5000));
    QVERIFY(sampleUntil([](std::int32_t, std::int32_t follower) { return std::abs(follower) > 50000; },
                        300) == false);
}

void TestSimTarget::debuggerAttachedBesideSampling() {
    const QString gdb = QStandardPaths::findExecutable(QStringLiteral("gdb-multiarch"));
    if (gdb.isEmpty())
        QSKIP("gdb-multiarch is not installed");
    SimChild sim;
    StartSim(sim);
    RspClient sampler;
    QVERIFY(sampler.Connect(sim.Port()));
    QCOMPARE(Ask(sampler, "qSeggerHSS:Start:1,64,1," +
                              QByteArray::number(static_cast<qulonglong>(Symbol("loop_counter")), 16)
                                  .rightJustified(16, '0') +
                              ",4,0"),
             QByteArray("OK"));

    QTemporaryDir dir;
    QFile script(dir.filePath(QStringLiteral("attach.gdb")));
    QVERIFY(script.open(QIODevice::WriteOnly));
    // The loop waits for the counter to move, bounded so that a frozen target ends the script anyway.
    script.write(QStringLiteral("target remote :%1\n"
                                "print loop_counter\n"
                                "set $first = loop_counter\n"
                                "set $tries = 0\n"
                                "while loop_counter == $first && $tries < 100000\n"
                                "  set $tries = $tries + 1\n"
                                "end\n"
                                "print loop_counter\n"
                                "monitor reset\n"
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
    const QRegularExpression printed(QStringLiteral("^\\$(\\d+) = (\\d+)$"),
                                     QRegularExpression::MultilineOption);
    QList<qulonglong> values;
    for (auto it = printed.globalMatch(output); it.hasNext();)
        values << it.next().captured(2).toULongLong();
    QVERIFY2(values.size() == 2, qPrintable(output));
    QVERIFY2(values[1] != values[0], qPrintable(output));
    QVERIFY2(output.contains(QStringLiteral("keeps running")), qPrintable(output));
    QCOMPARE(debugger.exitCode(), 0);

    // The session went on undisturbed.
    QByteArray records;
    std::uint32_t n = 0;
    QVERIFY2(sampler.HssRead(0x2710, 8, &records, &n), qPrintable(sampler.LastError()));
    QVERIFY(n > 0);
}

void TestSimTarget::faultFlags_data() {
    QTest::addColumn<QString>("fault");
    QTest::newRow("no-hss") << "no-hss";
    QTest::newRow("empty-reads") << "empty-reads";
    QTest::newRow("close-after-reads=1") << "close-after-reads=1";
    QTest::newRow("silent-after-reads=0") << "silent-after-reads=0";
    QTest::newRow("nack-writes") << "nack-writes";
    QTest::newRow("error-writes") << "error-writes";
}

void TestSimTarget::faultFlags() {
    QFETCH(QString, fault);
    SimChild sim;
    StartSim(sim, {QStringLiteral("--fault"), fault});
    RspClient client;
    QVERIFY(client.Connect(sim.Port()));
    const QByteArray start =
        "qSeggerHSS:Start:1,64,1," +
        QByteArray::number(static_cast<qulonglong>(Symbol("loop_counter")), 16).rightJustified(16, '0') +
        ",4,0";
    const QByteArray read = "qSeggerHSS:Read:00002710";
    const QByteArray write = WriteCommand(Symbol("amplitude"), 7);
    if (fault == QLatin1String("no-hss")) {
        QCOMPARE(Ask(client, "qSeggerHSS:Supported"), QByteArray(""));
        QCOMPARE(Ask(client, start), QByteArray(""));
    } else if (fault == QLatin1String("empty-reads")) {
        QCOMPARE(Ask(client, start), QByteArray("OK"));
        QCOMPARE(Ask(client, read), QByteArray("OK,00000000"));
    } else if (fault.startsWith(QLatin1String("close-after-reads"))) {
        QCOMPARE(Ask(client, start), QByteArray("OK"));
        QByteArray records;
        std::uint32_t n = 0;
        QVERIFY(client.HssRead(0x2710, 8, &records, &n));
        QVERIFY(client.SendRaw(RspFrame(read)));
        QVERIFY(client.WaitClosed(5000));
    } else if (fault.startsWith(QLatin1String("silent-after-reads"))) {
        QCOMPARE(Ask(client, start), QByteArray("OK"));
        QVERIFY(client.SendRaw(RspFrame(read)));
        QVERIFY(client.StaysSilent(300));
    } else if (fault == QLatin1String("nack-writes")) {
        QVERIFY(client.SendRaw(RspFrame(write)));
        QByteArray answer;
        QVERIFY(client.ReadExactly(1, &answer));
        QCOMPARE(answer, QByteArray("-"));
        QCOMPARE(Read32(client, Symbol("amplitude")), 1000u);
    } else {
        QCOMPARE(Ask(client, write), QByteArray("E01"));
        QCOMPARE(Read32(client, Symbol("amplitude")), 1000u);
    }
    QVERIFY(sim.Output().contains("--fault") == false);
}

void TestSimTarget::refusesToStart_data() {
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("emptyPath"); // "yes": run with a PATH that has no emulator
    QTest::addColumn<QString>("message");
    QTemporaryDir* dir = new QTemporaryDir;
    dir->setAutoRemove(true);
    connect(this, &QObject::destroyed, [dir] { delete dir; });
    const QString text = dir->filePath(QStringLiteral("notes.elf"));
    QFile file(text);
    if (file.open(QIODevice::WriteOnly))
        file.write("not a firmware\n");
    QTest::newRow("text file") << QStringList{text} << ""
                               << "is not an ELF file";
    QTest::newRow("host program") << QStringList{QStringLiteral("/bin/sh")} << ""
                                  << "is not a 32-bit RISC-V program";
    QTest::newRow("missing file") << QStringList{dir->filePath(QStringLiteral("gone.elf"))} << ""
                                  << "cannot open";
    QTest::newRow("emulator not on PATH") << QStringList{} << "yes"
                                          << "qemu-system-riscv32 not found";
    QTest::newRow("emulator path wrong")
        << QStringList{QStringLiteral("--qemu"), QStringLiteral("/nonexistent/qemu")} << ""
        << "/nonexistent/qemu not found";
    QTest::newRow("unknown fault") << QStringList{QStringLiteral("--fault"), QStringLiteral("explode")} << ""
                                   << "unknown fault 'explode'";
    QTest::newRow("port taken") << QStringList{QStringLiteral("--port"), QStringLiteral("TAKEN")} << ""
                                << "port TAKEN is already in use";
}

void TestSimTarget::refusesToStart() {
    QFETCH(QStringList, arguments);
    QFETCH(QString, emptyPath);
    QFETCH(QString, message);
    HeldPort holder(HeldPort::Listening);
    if (arguments.contains(QStringLiteral("TAKEN"))) {
        QVERIFY(holder.port() != 0);
        const QString port = QString::number(holder.port());
        arguments.replaceInStrings(QStringLiteral("TAKEN"), port);
        message.replace(QStringLiteral("TAKEN"), port);
    }
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    if (!emptyPath.isEmpty()) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("PATH"), QStringLiteral("/nonexistent"));
        process.setProcessEnvironment(environment);
    }
    if (!arguments.contains(QStringLiteral("--port")))
        arguments << QStringLiteral("--port") << QStringLiteral("0");
    process.start(SimProgram, arguments);
    QVERIFY(process.waitForStarted(10000));
    const qint64 pid = process.processId();
    QVERIFY(process.waitForFinished(10000));
    const QString output = QString::fromLocal8Bit(process.readAll());
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QVERIFY2(process.exitCode() != 0, qPrintable(output));
    QVERIFY2(output.contains(QStringLiteral("tidewatch-sim: ")) && output.contains(message),
             qPrintable(output));
    QVERIFY2(!output.contains(QStringLiteral("listening")), qPrintable(output));
    QVERIFY(ShmFilesOf(pid).isEmpty());
}

void TestSimTarget::stopsCleanlyOnSignal_data() {
    QTest::addColumn<int>("signal");
    QTest::newRow("SIGTERM") << int(SIGTERM);
    QTest::newRow("SIGINT") << int(SIGINT);
}

void TestSimTarget::stopsCleanlyOnSignal() {
    QFETCH(int, signal);
    SimChild sim;
    StartSim(sim);
    const qint64 pid = sim.Pid();
    const QList<qint64> children = ChildPids(pid);
    QCOMPARE(children.size(), 1);
    const qint64 qemu = children.first();
    QFile cmdline(QStringLiteral("/proc/%1/cmdline").arg(qemu));
    QVERIFY(cmdline.open(QIODevice::ReadOnly));
    QVERIFY(cmdline.readAll().contains(
        QStringLiteral("tidewatch-sim-%1-%2").arg(pid).arg(sim.Port()).toLatin1()));
    cmdline.close();
    RspClient client; // a connected client does not hold the shutdown up
    QVERIFY(client.Connect(sim.Port()));
    QCOMPARE(Ask(client, "qSeggerHSS:Start:1,a,0"), QByteArray("OK"));

    QCOMPARE(::kill(static_cast<pid_t>(pid), signal), 0);
    QCOMPARE(sim.WaitExit(10000), 0);
    QVERIFY(client.WaitClosed(5000));
    QVERIFY2(!QFileInfo::exists(QStringLiteral("/proc/%1").arg(qemu)), "the emulator outlived the simulator");
    QVERIFY(ShmFilesOf(pid).isEmpty());
    QVERIFY(sim.Output().contains("tidewatch-sim: stopped"));
}

void TestSimTarget::reportsTheEmulatorsEnd() {
    SimChild sim;
    StartSim(sim);
    const qint64 pid = sim.Pid();
    const QList<qint64> children = ChildPids(pid);
    QCOMPARE(children.size(), 1);
    QCOMPARE(::kill(static_cast<pid_t>(children.first()), SIGKILL), 0);
    QCOMPARE(sim.WaitExit(10000), 1);
    QVERIFY2(sim.Output().contains("the emulator ended unexpectedly"), sim.Output().constData());
    QVERIFY(ShmFilesOf(pid).isEmpty());
}

QTEST_GUILESS_MAIN(TestSimTarget)
#include "tst_simtarget.moc"
