// tidewatch-capture as a real process against a loopback fake GDB server.
#include "FakeGdbServer.h"
#include "HeldPort.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>
#include <csignal>
#include <cstring>

namespace {

struct Run {
    int exitCode = -1;
    QString out;
    QString err;
};

Run capture(const QStringList& args, int timeoutMs = 20000) {
    QProcess p;
    p.start(CAPTURE_EXE, args);
    Run r;
    if (!p.waitForFinished(timeoutMs)) {
        p.kill();
        p.waitForFinished();
        r.err = "timed out";
        return r;
    }
    r.exitCode = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -2;
    r.out = QString::fromUtf8(p.readAllStandardOutput());
    r.err = QString::fromUtf8(p.readAllStandardError());
    return r;
}

QString portArg(const FakeGdbServer& s) {
    return QString::number(s.port());
}

// Variable 0: int i; 1: unsigned char i; 2: float i * 0.25; 3: short -i.
void realisticSource(uint64_t i, const std::vector<uint32_t>&, std::string& out) {
    auto put = [&](uint64_t v, int n) {
        for (int b = 0; b < n; ++b)
            out.push_back(static_cast<char>((v >> (8 * b)) & 0xff));
    };
    put(i, 4);
    put(i & 0xff, 1);
    const float f = static_cast<float>(i) * 0.25f;
    uint32_t bits;
    std::memcpy(&bits, &f, 4);
    put(bits, 4);
    put(static_cast<uint16_t>(-static_cast<int16_t>(i)), 2);
}

const QStringList kVars{"counter@0x20000000:int:4", "status@20000004:char:1", "wave@20000008:float:4",
                        "temp@2000000C:short:2"};

} // namespace

class CaptureTest : public QObject {
    Q_OBJECT
private slots:
    void writesExactCsv();
    void usageErrors_data();
    void usageErrors();
    void sessionFailures_data();
    void sessionFailures();
    void setWritesReachTargetMemory();
    void refusedSetExitsFive();
    void symbolsFileNamesVariables();
    void terminatesCleanlyOnSignal_data();
    void terminatesCleanlyOnSignal();
};

void CaptureTest::writesExactCsv() {
    FakeGdbServer server;
    server.setSampleSource(realisticSource);
    server.setStamps(0xFFFFFF00u, 0x40); // wraps after four samples
    server.setSamplesPerRead(700);       // 10500 raw bytes in 333-byte pieces: several receives
    server.setSplit(333);
    const Run r = capture(QStringList{"--port", portArg(server), "--samples", "300"} + kVars);
    QCOMPARE(r.exitCode, 0);
    const QStringList lines = r.out.split('\n', Qt::SkipEmptyParts);
    QCOMPARE(lines.size(), 301);
    QCOMPARE(lines[0], QString("time,counter,status,wave,temp"));
    QCOMPARE(lines[1], QString("0,0,0,0,0"));
    QCOMPARE(lines[2], QString("64,1,1,0.25,-1"));
    QCOMPARE(lines[4], QString("192,3,3,0.75,-3"));
    QCOMPARE(lines[5], QString("255,4,4,1,-4")); // the wrap step is one short
    QCOMPARE(lines[300], QString("%1,299,43,74.75,-299").arg(64 * 298 + 63));
    QVERIFY2(r.err.contains("tidewatch-capture: 300 frames in"), qPrintable(r.err));
    QVERIFY(r.err.contains("session end code 0"));
    QVERIFY(!r.err.contains("lost"));
    QCOMPARE(server.countCommands("qSeggerHSS:Start:1,14,4,"), 1);
}

void CaptureTest::usageErrors_data() {
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<QString>("message");
    QTest::newRow("no variable") << QStringList{} << "name at least one VARIABLE";
    QTest::newRow("interval too short") << QStringList{"--interval", "9", "x@0:int:4"} << "--interval";
    QTest::newRow("interval too long") << QStringList{"--interval", "1000001", "x@0:int:4"} << "--interval";
    QTest::newRow("duration and samples")
        << QStringList{"--duration", "1", "--samples", "2", "x@0:int:4"} << "cannot be used together";
    QTest::newRow("bad address") << QStringList{"x@0xzz:int:4"} << "hexadecimal";
    QTest::newRow("bad size") << QStringList{"x@10:int:0"} << "size";
    QTest::newRow("bare name without symbols") << QStringList{"counter"} << "no --symbols";
    QTest::newRow("unknown option") << QStringList{"--frobnicate", "x@0:int:4"} << "frobnicate";
    QTest::newRow("set without value") << QStringList{"--set", "x", "x@0:int:4"} << "NAME=VALUE";
    QTest::newRow("set of unknown name") << QStringList{"--set", "y=1", "x@0:int:4"} << "'y'";
    QTest::newRow("missing symbols file")
        << QStringList{"--symbols", "/nonexistent/elf.json", "x"} << "not found";
    QStringList many;
    for (int i = 0; i < 35; ++i)
        many << QString("v%1@%2:int:4").arg(i).arg(i * 4, 0, 16);
    QTest::newRow("35 variables") << many << "at most 34";
}

void CaptureTest::usageErrors() {
    QFETCH(QStringList, args);
    QFETCH(QString, message);
    const Run r = capture(args);
    QCOMPARE(r.exitCode, 2);
    QVERIFY2(r.err.contains(message), qPrintable(r.err));
    QVERIFY(r.out.isEmpty());
}

void CaptureTest::sessionFailures_data() {
    QTest::addColumn<QString>("fault");
    QTest::addColumn<QString>("message");
    QTest::newRow("no server")
        << "no-server"
        << "Setup GDBserver Fail! Please check the connection between the debugger and the PC "
           ",and then restart Tidewatch!";
    QTest::newRow("no sampling support") << "no-hss"
                                         << "ended with code -1";
    QTest::newRow("connection closed") << "close"
                                       << "ended with code 3";
    QTest::newRow("server falls silent") << "silent"
                                         << "stopped answering";
    QTest::newRow("no samples") << "empty"
                                << "ended with code 4: the target delivered no samples";
    QTest::newRow("read refused") << "refuse-read"
                                  << "ended with code -10";
}

void CaptureTest::sessionFailures() {
    QFETCH(QString, fault);
    QFETCH(QString, message);
    FakeGdbServer server;
    if (fault == "close")
        server.setCloseAfterReads(3);
    if (fault == "silent")
        server.setSilentAfterReads(3);
    if (fault == "empty")
        server.setSamplesPerRead(0);
    server.setHandler([fault](const std::string& c, FakeGdbServer::Reply& r) {
        if (fault == "no-hss" && c == "qSeggerHSS:Supported") {
            r.chunks = {FakeGdbServer::frame("")};
            return true;
        }
        if (fault == "refuse-read" && c.rfind("qSeggerHSS:Read:", 0) == 0) {
            r.chunks = {FakeGdbServer::frame("E01")};
            return true;
        }
        return false;
    });
    HeldPort refusing(HeldPort::Refusing);
    const QString port = fault == "no-server" ? QString::number(refusing.port()) : portArg(server);
    const Run r = capture(QStringList{"--port", port, "--stall-timeout", "1"} + kVars);
    QCOMPARE(r.exitCode, fault == "no-server" ? 3 : 4);
    QVERIFY2(r.err.contains(message), qPrintable(r.err));
    // Console lines never mix into the CSV; the header goes out once sampling has started.
    QCOMPARE(r.out.isEmpty(), fault == "no-server");
    QVERIFY(r.out.isEmpty() || r.out.startsWith("time,counter,status,wave,temp\n"));
}

void CaptureTest::setWritesReachTargetMemory() {
    FakeGdbServer server;
    const Run r = capture(QStringList{"--port", portArg(server), "--samples", "2000", "--set", "counter=1234",
                                      "--set", "wave=7", "--set", "temp=-2.9"} +
                          kVars);
    QCOMPARE(r.exitCode, 0);
    QVERIFY2(r.err.contains("set counter = 1234: ok"), qPrintable(r.err));
    const auto commands = server.commands();
    QStringList writes;
    for (const std::string& c : commands)
        if (c[0] == 'M')
            writes << QString::fromStdString(c);
    QCOMPARE(writes, (QStringList{"M20000000,4:d2040000", "M20000008,4:07000000", "M2000000c,4:feffffff"}));
    // Each write went out between two reads.
    for (size_t i = 0; i < commands.size(); ++i)
        if (commands[i][0] == 'M')
            QVERIFY(commands[i - 1].rfind("qSeggerHSS:Read:", 0) == 0 || commands[i - 1][0] == 'M');
    const auto memory = server.memory();
    QCOMPARE(int(memory.at(0x20000000)), 0xd2);
    QCOMPARE(int(memory.at(0x20000001)), 0x04);
}

void CaptureTest::refusedSetExitsFive() {
    FakeGdbServer server;
    server.setHandler(FakeGdbServer::answering("M", "E01"));
    const Run r =
        capture(QStringList{"--port", portArg(server), "--samples", "3000", "--set", "counter=5"} + kVars);
    QCOMPARE(r.exitCode, 5);
    QVERIFY2(r.err.contains("set counter = 5: failed"), qPrintable(r.err));
    // Sampling went on after the refused write, up to the requested count.
    QCOMPARE(r.out.count('\n'), 3001);
}

void CaptureTest::symbolsFileNamesVariables() {
    QTemporaryDir dir;
    QFile json(dir.filePath("elf.json"));
    json.open(QIODevice::WriteOnly);
    json.write(R"([{"name":"main.c","dataList":[
      {"name":"counter","address":"20000000","scope":"global","size":4,"type":"int","key":1},
      {"name":"gain","address":"20000010","scope":"global","size":4,"type":"float","key":2}]}])");
    json.close();
    FakeGdbServer server;
    const Run r = capture({"--port", portArg(server), "--symbols", json.fileName(), "--samples", "5", "--set",
                           "gain=3", "counter", "extra@20000020:char:1"});
    QCOMPARE(r.exitCode, 0);
    QVERIFY(r.out.startsWith("time,counter,extra\n"));
    QCOMPARE(server.countCommands("qSeggerHSS:Start:1,14,2,0000000020000000,4,0,0000000020000020,1,0"), 1);
    QCOMPARE(server.countCommands("M20000010,4:03000000"), 1);
}

void CaptureTest::terminatesCleanlyOnSignal_data() {
    QTest::addColumn<QString>("state");
    QTest::addColumn<int>("exitCode");
    QTest::newRow("sampling") << "sampling" << 0;
    QTest::newRow("server silent mid-reply") << "silent" << 0;
    QTest::newRow("server silent at the handshake") << "deaf" << 3;
}

void CaptureTest::terminatesCleanlyOnSignal() {
    QFETCH(QString, state);
    QFETCH(int, exitCode);
    FakeGdbServer server;
    if (state == "silent")
        server.setSilentAfterReads(5);
    if (state == "deaf")
        server.setHandler([](const std::string&, FakeGdbServer::Reply& r) { return r.silent = true; });
    QTemporaryDir dir;
    const QString csv = dir.filePath("out.csv");
    QProcess p;
    p.start(CAPTURE_EXE, QStringList{"--port", portArg(server), "--output", csv} + kVars);
    if (state == "deaf")
        QTRY_VERIFY_WITH_TIMEOUT(server.commands().size() >= 1, 10000);
    else
        QTRY_VERIFY_WITH_TIMEOUT(server.readsServed() >= 6, 10000);
    for (int signal : {SIGTERM, SIGINT}) {
        ::kill(static_cast<pid_t>(p.processId()), signal);
        if (p.waitForFinished(3000))
            break;
    }
    QCOMPARE(p.state(), QProcess::NotRunning);
    QCOMPARE(p.exitStatus(), QProcess::NormalExit);
    QCOMPARE(p.exitCode(), exitCode);
    if (exitCode != 0)
        return;
    QVERIFY(QString(p.readAllStandardError()).contains("session end code 0"));
    QFile f(csv);
    QVERIFY(f.open(QIODevice::ReadOnly));
    const QByteArray written = f.readAll();
    QVERIFY(written.count('\n') > 1 && written.endsWith('\n')); // flushed, whole lines
    if (state == "sampling")
        QCOMPARE(server.countCommands("qSeggerHSS:Stop"), 3); // handshake, session start, and the stop
}

QTEST_GUILESS_MAIN(CaptureTest)
#include "tst_capture.moc"
