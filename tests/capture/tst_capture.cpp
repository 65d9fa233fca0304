// tidewatch-capture as a real process against a loopback fake GDB server.
#include "FakeGdbServer.h"
#include "Row.h"

#include <QTcpSocket>
#include <QtTest>
#include <csignal>
#include <memory>

namespace {

struct Run {
    int exitCode = -1;
    QString out, err;
};

Run capture(const QStringList& args) {
    QProcess p;
    p.start(CAPTURE_EXE, args);
    const bool ended = p.waitForFinished(20000) && p.exitStatus() == QProcess::NormalExit;
    if (!ended)
        p.kill();
    p.waitForFinished();
    return {ended ? p.exitCode() : -2, QString::fromUtf8(p.readAllStandardOutput()),
            QString::fromUtf8(p.readAllStandardError()) + (ended ? "" : "ended abnormally")};
}

// After `reads` sample reads the server closes the connection, or falls silent, at the next one.
void failAfterReads(FakeGdbServer& server, int reads, bool close) {
    auto left = std::make_shared<int>(reads); // the server calls copies of the handler
    server.setHandler([left, close](const std::string& command, FakeGdbServer::Reply& r) {
        if (command.rfind("qSeggerHSS:Read:", 0) != 0 || (*left)-- > 0)
            return false;
        r.ack.clear();
        r.close = close;
        return r.silent = !close;
    });
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
    out.append(reinterpret_cast<const char*>(&f), 4); // little-endian, as the host
    put(static_cast<uint16_t>(-static_cast<int16_t>(i)), 2);
}

const QStringList kVars{"counter@0x20000000:int:4", "status@20000004:char:1", "wave@20000008:float:4",
                        "temp@2000000C:short:2"};

} // namespace

class CaptureTest : public QObject {
    Q_OBJECT
private slots:
    void writesExactCsv() {
        FakeGdbServer server;
        server.setSampleSource(realisticSource);
        server.setStamps(0xFFFFFF00u, 0x40); // wraps after four samples
        server.setSamplesPerRead(700);       // 10500 raw bytes in 333-byte pieces: several receives
        server.setSplit(333);
        const Run r =
            capture(QStringList{"--port", QString::number(server.port()), "--samples", "300"} + kVars);
        QCOMPARE(r.exitCode, 0);
        const QStringList lines = r.out.split('\n', Qt::SkipEmptyParts);
        QCOMPARE(lines[0], QString("time,counter,status,wave,temp"));
        QCOMPARE(lines.mid(1, 5).join(' '), // the wrap step is one short
                 QString("0,0,0,0,0 64,1,1,0.25,-1 128,2,2,0.5,-2 192,3,3,0.75,-3 255,4,4,1,-4"));
        QCOMPARE(lines.mid(300).join(' '), QString("%1,299,43,74.75,-299").arg(64 * 298 + 63)); // and no more
        QVERIFY2(r.err.contains("tidewatch-capture: 300 frames in"), qPrintable(r.err));
        QVERIFY(r.err.contains("session end code 0") && !r.err.contains("lost"));
        QCOMPARE(server.countCommands("qSeggerHSS:Start:1,14,4,"), 1);
    }

    // Arguments | message on standard error
    void usageErrors_data() {
        Row::Column();
        QTest::newRow("no variable") << " | name at least one VARIABLE";
        QTest::newRow("interval too short") << "--interval 9 x@0:int:4 | --interval";
        QTest::newRow("interval too long") << "--interval 1000001 x@0:int:4 | --interval";
        QTest::newRow("both ends") << "--duration 1 --samples 2 x@0:int:4 | cannot be used together";
        QTest::newRow("bad address") << "x@0xzz:int:4 | hexadecimal";
        QTest::newRow("bad size") << "x@10:int:0 | size";
        QTest::newRow("size no sample holds") << "x@10:int:3 | cannot be sampled";
        QTest::newRow("unknown mode") << "--mode fast x@0:int:4 | --mode takes auto, hss or poll";
        QTest::newRow("bare name without symbols") << "counter | no --symbols";
        QTest::newRow("unknown option") << "--frobnicate x@0:int:4 | frobnicate";
        QTest::newRow("set without value") << "--set x x@0:int:4 | NAME=VALUE";
        QTest::newRow("set of unknown name") << "--set y=1 x@0:int:4 | 'y'";
        QTest::newRow("missing symbols file") << "--symbols /nonexistent/elf.json x | not found";
        QString many;
        for (int i = 0; i < 35; ++i)
            many += QString(" v%1@%2:int:4").arg(i).arg(i * 4, 0, 16);
        QTest::newRow("35 variables") << many + " | at most 34";
    }
    void usageErrors() {
        const QStringList f = Row::Fields();
        const Run r = capture(f[0].split(' ', Qt::SkipEmptyParts));
        QVERIFY2(r.exitCode == 2 && r.out.isEmpty() && r.err.contains(f[1]), qPrintable(r.err));
    }

    // Fault | message on standard error
    void sessionFailures_data() {
        Row::Column();
        QTest::newRow("no server") << "no-server | Setup GDBserver Fail! Please check the connection between "
                                      "the debugger and the PC ,and then restart Tidewatch!";
        QTest::newRow("no sampling support") << "qSeggerHSS:Supported= --mode hss | ended with code -1";
        QTest::newRow("memory read refused")
            << "m=E01 --mode poll | code 256: the server could not read variable "
               "'counter' at 0x20000000 (it answered \"E01\")";
        QTest::newRow("connection closed") << "close | ended with code 3";
        QTest::newRow("server falls silent") << "silent | stopped answering";
        QTest::newRow("no samples") << "empty | ended with code 4: the target delivered no samples";
        QTest::newRow("read refused") << "qSeggerHSS:Read:=E01 | ended with code -10";
    }
    void sessionFailures() {
        const QString fault = Row::Fields()[0].section(' ', 0, 0), message = Row::Fields()[1];
        const QStringList mode = Row::Fields()[0].split(' ').mid(1); // a --mode to capture with
        FakeGdbServer server;
        if (fault == "close" || fault == "silent")
            failAfterReads(server, 3, fault == "close");
        server.setSamplesPerRead(fault == "empty" ? 0 : 100);
        if (fault.contains('=')) // a command prefix and its answer
            server.setHandler(FakeGdbServer::answering(fault.section('=', 0, 0).toStdString(),
                                                       fault.section('=', 1).toStdString()));
        QTcpSocket refusing; // bound, never listening: every connection to its port is refused
        QVERIFY(refusing.bind(QHostAddress::LocalHost));
        const quint16 port = fault == "no-server" ? refusing.localPort() : server.port();
        const Run r =
            capture(QStringList{"--port", QString::number(port), "--stall-timeout", "1"} + mode + kVars);
        QCOMPARE(r.exitCode, fault == "no-server" ? 3 : 4);
        QVERIFY2(r.err.contains(message), qPrintable(r.err));
        // Console lines never mix into the CSV; the header goes out once sampling has started.
        QCOMPARE(r.out.left(30), QString(fault == "no-server" ? "" : "time,counter,status,wave,temp\n"));
    }

    // A triggered window: counter counts 0, 1, 2, ... at 64 us a sample; temp is -counter.
    void triggeredWindow_data() {
        QTest::addColumn<QString>("args");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("rows"); // time and the source's value of each line
        QTest::addColumn<QString>("message");
        // clang-format off
        QTest::newRow("rising, three before") << "--trigger counter,rising,100 --pretrigger 3 --samples 6" << 0 << "-192,97 -128,98 -64,99 0,100 64,101 128,102" << "6 frames in";
        QTest::newRow("falling, trigger first") << "--trigger temp,Falling,-50.5 --samples 2 --duration 5" << 0 << "0,-51 64,-52" << "2 frames in";
        QTest::newRow("no trigger in time") << "--trigger counter,either,-1 --samples 5 --duration 0.3" << 6 << "" << "no trigger (counter either through -1) came within";
        QTest::newRow("window longer than the pre part") << "--trigger counter,rising,1 --pretrigger 5 --samples 5" << 2 << "" << "--pretrigger takes";
        QTest::newRow("unknown source") << "--trigger gain,rising,1 --samples 5" << 2 << "" << "'gain', which is no VARIABLE";
        QTest::newRow("bad edge") << "--trigger counter,up,1 --samples 5" << 2 << "" << "EDGE rising, falling or either";
        // clang-format on
    }
    void triggeredWindow() {
        QFETCH(QString, args);
        FakeGdbServer server;
        server.setSampleSource(realisticSource);
        server.setStamps(0, 0x40);
        const Run r =
            capture(QStringList{"--port", QString::number(server.port())} + args.split(' ') + kVars);
        QFETCH(int, exitCode);
        QVERIFY2(r.exitCode == exitCode, qPrintable(QString("exit %1: %2").arg(r.exitCode).arg(r.err)));
        QStringList rows = r.out.split('\n', Qt::SkipEmptyParts).mid(1);
        const int source = args.contains("temp") ? 4 : 1;
        for (QString& row : rows)
            row = row.section(',', 0, 0) + ',' + row.section(',', source, source);
        QTEST(rows.join(' '), "rows");
        QFETCH(QString, message);
        QVERIFY2(r.err.contains(message), qPrintable(r.err));
    }

    // Arguments after the port ("SYMBOLS": a catalogue file naming counter and gain) | the server's answer
    // to writes | exit code | message | CSV header | the writes and start command the server saw
    void sets_data() {
        Row::Column();
        QTest::newRow("writes between reads, each its type and bytes")
            << "--samples 2000 --set counter=1234 --set status=0xff --set wave=7 --set temp=-3 | OK | 0 | "
               "set counter = 1234: ok | time,counter,status,wave,temp | M20000000,4:d2040000 M20000004,1:ff "
               "M20000008,4:0000e040 M2000000c,2:fdff";
        QTest::newRow("refused before sampling")
            << "--samples 5 --set counter=1 --set temp=-2.9 | OK | 5 | "
               "--set temp=-2.9 is not written: not a whole number (short) | - | ";
        QTest::newRow("refused write, sampling goes on")
            << "--samples 3000 --set counter=5 | E01 | 5 | set counter = 5: failed | "
               "time,counter,status,wave,temp "
               "| M20000000,4:05000000";
        QTest::newRow("names from the catalogue")
            << "SYMBOLS --samples 5 --set gain=3 counter extra@20000020:char:1 | OK | 0 |  | "
               "time,counter,extra | "
               "qSeggerHSS:Start:1,14,2,0000000020000000,4,0,0000000020000020,1,0 M20000010,4:00004040";
    }
    void sets() {
        const QStringList f = Row::Fields();
        QTemporaryDir dir;
        QFile json(dir.filePath("elf.json"));
        QVERIFY(json.open(QIODevice::WriteOnly) && json.write(R"([{"name":"main.c","dataList":[
          {"name":"counter","address":"20000000","scope":"global","size":4,"type":"int","key":1},
          {"name":"gain","address":"20000010","scope":"global","size":4,"type":"float","key":2}]}])") > 0 &&
                json.flush());
        FakeGdbServer server;
        server.setHandler(FakeGdbServer::answering("M", f[1].toStdString()));
        QStringList args = f[0].split(' ');
        const bool symbols = args.removeAll("SYMBOLS") > 0;
        const Run r = capture(QStringList{"--port", QString::number(server.port())} +
                              (symbols ? QStringList{"--symbols", json.fileName()} : QStringList()) + args +
                              (symbols ? QStringList() : kVars));
        QCOMPARE(r.exitCode, f[2].toInt());
        QVERIFY2(r.err.contains(f[3]), qPrintable(r.err));
        QCOMPARE(r.out.section('\n', 0, 0), f[4] == "-" ? QString() : f[4]);
        // Every write went out between two reads; sampling ran to the requested count.
        const auto commands = server.commands();
        QStringList seen;
        for (size_t i = 0; i < commands.size(); ++i) {
            const QString c = QString::fromStdString(commands[i]);
            if (c[0] == 'M')
                QVERIFY(commands[i - 1].rfind("qSeggerHSS:Read:", 0) == 0 || commands[i - 1][0] == 'M');
            if (c[0] == 'M' || (c.startsWith("qSeggerHSS:Start:") && symbols))
                seen << c;
        }
        QCOMPARE(seen.join(' '), f[5].trimmed());
        QCOMPARE(r.out.count('\n'), f[4] == "-" ? 0 : args[args.indexOf("--samples") + 1].toInt() + 1);
    }

    // A kill -9 while recording to --output: every frame that arrived is in the file within a moment, even
    // while the process lives on waiting (the server falls silent after 40 reads), and what a kill leaves
    // reads line for line as consecutive frames, all but at most a cut last line.
    // Server | lines to wait for before the kill
    void outputSurvivesKill_data() {
        Row::Column();
        QTest::newRow("server silent") << "silent | 4001";
        QTest::newRow("streaming") << "streaming | 20000";
    }
    void outputSurvivesKill() {
        const QStringList f = Row::Fields();
        FakeGdbServer server;
        server.setSampleSource(realisticSource);
        if (f[0] == "silent")
            failAfterReads(server, 40, false);
        QTemporaryDir dir;
        QFile csv(dir.filePath("out.csv"));
        QProcess p;
        p.start(CAPTURE_EXE, QStringList{"--port", QString::number(server.port()), "--output", csv.fileName(),
                                         "--stall-timeout", "60"} +
                                 kVars);
        const auto lines = [&csv] {
            csv.open(QIODevice::ReadOnly);
            const int n = csv.readAll().count('\n');
            csv.close();
            return n;
        };
        QTRY_VERIFY_WITH_TIMEOUT(lines() >= f[1].toInt(), 10000);
        ::kill(static_cast<pid_t>(p.processId()), SIGKILL);
        QVERIFY(p.waitForFinished(5000));
        QVERIFY(csv.open(QIODevice::ReadOnly));
        QStringList rows = QString(csv.readAll()).split('\n');
        QCOMPARE(rows.takeFirst(), QString("time,counter,status,wave,temp"));
        rows.removeLast(); // after the last newline: empty, or a line the kill cut
        QVERIFY(rows.size() >= f[1].toInt() - 1);
        for (int i = 0; i < rows.size(); ++i)
            QVERIFY2(rows[i].section(',', 0, 1) == QString("%1,%2").arg(20 * i).arg(i) &&
                         rows[i].count(',') == 4,
                     qPrintable(rows[i]));
    }

    // State at the signal | exit code
    void terminatesCleanlyOnSignal_data() {
        Row::Column();
        QTest::newRow("sampling") << "sampling | 0";
        QTest::newRow("server silent mid-reply") << "silent | 0";
        QTest::newRow("server silent at the handshake") << "deaf | 3";
    }
    void terminatesCleanlyOnSignal() {
        const QString state = Row::Fields()[0];
        FakeGdbServer server;
        if (state == "silent")
            failAfterReads(server, 5, false);
        if (state == "deaf")
            server.setHandler([](const std::string&, FakeGdbServer::Reply& r) { return r.silent = true; });
        QTemporaryDir dir;
        const QString csv = dir.filePath("out.csv");
        QProcess p;
        p.start(CAPTURE_EXE, QStringList{"--port", QString::number(server.port()), "--output", csv} + kVars);
        QTRY_VERIFY_WITH_TIMEOUT(server.countCommands(state == "deaf" ? "" : "qSeggerHSS:Read:") >=
                                     (state == "deaf" ? 1 : 6),
                                 10000);
        for (int signal : {SIGTERM, SIGINT}) {
            ::kill(static_cast<pid_t>(p.processId()), signal);
            if (p.waitForFinished(3000))
                break;
        }
        QCOMPARE(QString("%1 %2 %3").arg(p.state()).arg(p.exitStatus()).arg(p.exitCode()),
                 "0 0 " + Row::Fields()[1]);
        if (state == "deaf")
            return;
        QVERIFY(QString(p.readAllStandardError()).contains("session end code 0"));
        QFile f(csv);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QByteArray written = f.readAll();
        QVERIFY(written.count('\n') > 1 && written.endsWith('\n')); // flushed, whole lines
        if (state == "sampling")
            QCOMPARE(server.countCommands("qSeggerHSS:Stop"), 3); // handshake, session start, and the stop
    }
};

QTEST_GUILESS_MAIN(CaptureTest)
#include "tst_capture.moc"
