// The real tidewatch-sim as a process: what it refuses to start with, how it ends on a signal or when
// its emulator dies, leaving no emulator and no shared RAM behind, and stock openocd on its JTAG port.
#include "ElfImage.h"
#include "Row.h"
#include "RspClient.h"
#include "SharedRam.h"
#include "SimChild.h"
#include "TargetMemoryMap.h"

#include <QRegularExpression>
#include <QTcpServer>
#include <QtTest>
#include <csignal>

using namespace Sim;

namespace {
const QString SimProgram = QStringLiteral(TIDEWATCH_SIM_BIN);

// The one child of a process, from the kernel's per-thread list.
qint64 ChildPid(qint64 pid) {
    QFile file(QString("/proc/%1/task/%1/children").arg(pid));
    file.open(QIODevice::ReadOnly);
    const QList<QByteArray> pids = file.readAll().simplified().split(' ');
    return pids.size() == 1 ? pids[0].toLongLong() : -1;
}

// A monitor command through openocd's GDB server: its output packets, then the final reply.
QByteArray Monitor(RspClient& client, const QByteArray& command) {
    QByteArray reply;
    if (!client.Command("qRcmd," + command.toHex(), &reply))
        return "<" + client.LastError().toLatin1() + ">";
    while (reply.startsWith('O') && reply != "OK" && client.ReadPacket(&reply)) {
    }
    return reply;
}

quint32 Counter(RspClient& client) { // loop_counter of the demo firmware
    QByteArray reply;
    return client.Command("m2000003c,4", &reply) && reply.size() == 8
               ? qFromLittleEndian<quint32>(QByteArray::fromHex(reply).constData())
               : 0;
}

bool NoShmFilesOf(qint64 pid) {
    return QDir("/dev/shm").entryList({QString("tidewatch-sim-%1-*").arg(pid)}, QDir::Files).isEmpty();
}
} // namespace

class TestSimTarget : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        ElfImage elf; // the firmware keeps its globals in the data window, as a microcontroller in its RAM
        QString error;
        QVERIFY2(elf.Load(TIDEWATCH_DEMO_ELF, SharedRam::Base, SharedRam::DefaultSize, &error),
                 qPrintable(error));
        for (const char* name : {"loop_counter", "amplitude", "samples", "ratio"})
            QVERIFY2(elf.SymbolAddress(name) - TargetMemoryMap::DataWindow < TargetMemoryMap::DataWindowSize,
                     name);
        if (QStandardPaths::findExecutable("qemu-system-riscv32").isEmpty())
            QSKIP("qemu-system-riscv32 is not installed");
    }

    // Arguments ("TAKEN": a port in use, "EMPTY-PATH": no emulator on PATH) | message
    void refusesToStart_data() {
        Row::Column();
        QTest::newRow("text file") << __FILE__ " | is not an ELF file";
        QTest::newRow("host program") << "/bin/sh | is not a 32-bit RISC-V program";
        QTest::newRow("missing file") << "/nonexistent/gone.elf | cannot open";
        QTest::newRow("emulator not on PATH") << "EMPTY-PATH | qemu-system-riscv32 not found";
        QTest::newRow("emulator path wrong") << "--qemu /nonexistent/qemu | /nonexistent/qemu not found";
        QTest::newRow("unknown fault") << "--fault explode | unknown fault 'explode'";
        QTest::newRow("port taken") << "--port TAKEN | port TAKEN is already in use";
        QTest::newRow("JTAG port taken") << "--jtag-port TAKEN | port TAKEN is already in use";
    }
    void refusesToStart() {
        QStringList arguments = Row::Fields()[0].split(' ');
        QString message = Row::Fields()[1];
        QTcpServer holder;
        QVERIFY(holder.listen(QHostAddress::LocalHost));
        arguments.replaceInStrings("TAKEN", QString::number(holder.serverPort()));
        message.replace("TAKEN", QString::number(holder.serverPort()));
        QProcess process;
        process.setProcessChannelMode(QProcess::MergedChannels);
        if (arguments.removeAll("EMPTY-PATH") > 0) {
            QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
            environment.insert("PATH", "/nonexistent");
            process.setProcessEnvironment(environment);
        }
        process.start(SimProgram,
                      arguments.contains("--port") ? arguments : arguments + QStringList{"--port", "0"});
        QVERIFY(process.waitForStarted(10000));
        const qint64 pid = process.processId();
        QVERIFY(process.waitForFinished(10000));
        const QString output = QString::fromLocal8Bit(process.readAll());
        QVERIFY2(process.exitStatus() == QProcess::NormalExit && process.exitCode() != 0, qPrintable(output));
        QVERIFY2(output.contains("tidewatch-sim: ") && output.contains(message), qPrintable(output));
        QVERIFY2(!output.contains("listening"), qPrintable(output));
        QVERIFY(NoShmFilesOf(pid));
    }

    // Signal | sent to the emulator instead | exit code | message
    void ends_data() {
        Row::Column();
        QTest::newRow("SIGTERM") << "15 | 0 | 0 | tidewatch-sim: stopped";
        QTest::newRow("SIGINT") << "2 | 0 | 0 | tidewatch-sim: stopped";
        QTest::newRow("emulator killed") << "9 | 1 | 1 | the emulator ended unexpectedly";
    }
    void ends() {
        const QStringList f = Row::Fields();
        const int signal = f[0].toInt(), exitCode = f[2].toInt();
        SimChild sim;
        QVERIFY2(sim.Start(SimProgram, {}), sim.Output().constData());
        const qint64 pid = sim.Pid(), qemu = ChildPid(pid);
        QFile cmdline(QString("/proc/%1/cmdline").arg(qemu));
        QVERIFY(cmdline.open(QIODevice::ReadOnly));
        QVERIFY(
            cmdline.readAll().contains(QString("tidewatch-sim-%1-%2").arg(pid).arg(sim.Port()).toLatin1()));
        RspClient client; // a connected client with a session does not hold the end up
        QVERIFY(client.Connect(sim.Port()));
        QByteArray reply;
        QVERIFY(client.Command("qSeggerHSS:Start:1,a,0", &reply) && reply == "OK");
        QCOMPARE(::kill(pid_t(f[1] == "1" ? qemu : pid), signal), 0);
        QCOMPARE(sim.WaitExit(10000), exitCode);
        QVERIFY(client.WaitClosed(5000));
        QVERIFY2(!QFileInfo::exists(QString("/proc/%1").arg(qemu)), "the emulator outlived the simulator");
        QVERIFY(NoShmFilesOf(pid));
        QVERIFY2(sim.Output().contains(f[3].toLatin1()), sim.Output().constData());
    }

    // openocd examines the hart without leaving it halted, reads memory while it runs (two clients at
    // once), and its reset-halt and resume do what they say.
    void openocd() {
        if (QStandardPaths::findExecutable("openocd").isEmpty())
            QSKIP("openocd is not installed");
        SimChild sim;
        QVERIFY2(sim.Start(SimProgram, {"--jtag-port", "0"}), sim.Output().constData());
        const QRegularExpression jtag("JTAG \\(remote_bitbang\\) on 127\\.0\\.0\\.1:(\\d+)");
        const QString jtagPort = jtag.match(QString::fromLocal8Bit(sim.Output())).captured(1);
        QVERIFY2(!jtagPort.isEmpty(), sim.Output().constData());
        QTcpServer free; // a port nobody uses, in this test's own network namespace
        QVERIFY(free.listen(QHostAddress::LocalHost));
        const quint16 gdbPort = free.serverPort();
        free.close();
        QProcess openocd;
        openocd.setProcessChannelMode(QProcess::MergedChannels);
        openocd.start("openocd", {"-f", TIDEWATCH_OPENOCD_CFG, "-c", "remote_bitbang port " + jtagPort, "-c",
                                  QString("gdb_port %1").arg(gdbPort), "-c", "telnet_port disabled", "-c",
                                  "tcl_port disabled"});
        RspClient gdb, second;
        QByteArray reply;
        QTRY_VERIFY_WITH_TIMEOUT(gdb.Connect(gdbPort) || openocd.state() == QProcess::NotRunning, 20000);
        for (RspClient* client : {&gdb, &second}) { // openocd and gdb greet each other with a '+'
            QVERIFY(client == &gdb || client->Connect(gdbPort));
            QVERIFY(client->SendRaw("+") && client->ReadExactly(1, &reply) && reply == "+");
        }
        const quint32 first = Counter(gdb);
        QVERIFY(first > 0);
        QTRY_VERIFY(Counter(second) > first); // runs after the examination, and both clients read it
        QVERIFY(gdb.Command("M20000004,2:3930", &reply) && reply == "OK"); // amplitude's low half: 12345
        QVERIFY(gdb.Command("m20000004,4", &reply) && reply == "39300000");
        QCOMPARE(Monitor(gdb, "reset halt"), QByteArray("OK"));
        QVERIFY(gdb.Command("p20", &reply) && reply == "00100000");         // pc at the reset vector
        QVERIFY(gdb.Command("m20000004,4", &reply) && reply == "e8030000"); // 1000 again after the reset
        const quint32 halted = Counter(gdb);
        QCOMPARE(Counter(second), halted);
        QCOMPARE(Monitor(gdb, "resume"), QByteArray("OK"));
        QTRY_VERIFY(Counter(gdb) > halted);
        openocd.terminate();
        QVERIFY(openocd.waitForFinished(10000));
    }
};

QTEST_GUILESS_MAIN(TestSimTarget)
#include "tst_simtarget.moc"
