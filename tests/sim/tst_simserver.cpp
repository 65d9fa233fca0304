// The simulated target's framing and sample ring, and its server over loopback TCP on a RAM file the test
// changes (no emulator): memory commands, sampling beside a debugger client, fault injection.
#include "FaultPlan.h"
#include "GdbServer.h"
#include "HssRequest.h"
#include "Row.h"
#include "RspClient.h"
#include "RspFraming.h"
#include "SampleRing.h"
#include "SharedRam.h"
#include "TargetMemoryMap.h"

#include <QtTest>
#include <memory>

using namespace Sim;

namespace {
constexpr std::uint64_t Counter = SharedRam::Base + 0x100; // a 4-byte "global" the test moves
// A global as the firmware links it, at 0x20000010, and the same bytes seen in physical RAM.
constexpr std::uint64_t WindowWordPhysical = SharedRam::Base + 0x400010;

std::uint32_t Le32(const QByteArray& bytes, int at) {
    return qFromLittleEndian<std::uint32_t>(bytes.constData() + at);
}
} // namespace

class TestSimServer : public QObject {
    Q_OBJECT
    std::unique_ptr<SharedRam> m_ram;
    std::unique_ptr<GdbServer> m_server;

    void Write(std::uint64_t address, const QByteArray& hex) {
        const QByteArray bytes = QByteArray::fromHex(hex);
        QVERIFY(m_ram->Write(address, bytes.constData(), bytes.size()));
    }
    void StartServer(const QString& fault) {
        m_server.reset();
        m_ram = std::make_unique<SharedRam>();
        QString error;
        const QString path = "/dev/shm/tst_simserver-" + QUuid::createUuid().toString(QUuid::Id128);
        QVERIFY2(m_ram->Create(path, 8 * 1024 * 1024, &error), qPrintable(error)); // backs the data window
        m_ram->Unlink();
        Write(Counter, "78563412a5000000");     // counter, flags and padding
        Write(Counter + 8, "0102030405060708"); // an 8-byte global
        Write(WindowWordPhysical, "0df0ad0b");
        FaultPlan plan;
        QVERIFY2(FaultPlan::Parse(fault.split(' ', Qt::SkipEmptyParts), &plan, &error), qPrintable(error));
        m_server = std::make_unique<GdbServer>(*m_ram, SharedRam::Base, plan);
        QVERIFY2(m_server->Listen(0, &error), qPrintable(error));
        m_server->Start();
    }
    static QByteArray Parse(const QList<QByteArray>& reads) {
        RspParser parser;
        std::vector<RspEvent> out;
        for (const QByteArray& bytes : reads)
            parser.Feed(bytes.constData(), bytes.size(), out);
        QByteArrayList words;
        for (const RspEvent& event : out)
            words << QByteArrayList{"ack", "nack", "break", "packet(" + event.payload + ")",
                                    "bad"}[event.kind];
        return words.join(' ');
    }
    static QByteArray Ask(RspClient& client, const QByteArray& command) {
        QByteArray reply;
        return client.Command(command, &reply) ? reply : "<" + client.LastError().toLatin1() + ">";
    }

private slots: // the last server and RAM end with the test object, the server first
    // Bytes received, split over two reads at every place, give the same events; a packet's frame is
    // what the server sends for its payload.
    void framing_data() {
        Row::Column(); // bytes (percent escapes) | events
        QTest::newRow("empty packet") << "$#00 | packet()";
        QTest::newRow("checksum wraps past 256") << "$zzzz#e8 | packet(zzzz)";
        QTest::newRow("uppercase checksum") << "$zzzz#E8 | packet(zzzz)";
        QTest::newRow("acks around") << "+$g#67+ | ack packet(g) ack";
        QTest::newRow("nack, interrupt") << "-%03 | nack break";
        QTest::newRow("bad checksum") << "$g#68 | bad";
        QTest::newRow("checksum not hex") << "$g#6z$g#67 | bad packet(g)";
        QTest::newRow("line noise skipped") << "%0D%0Axx$?#3f | packet(?)";
        QTest::newRow("escape undone") << "$X}%03#d8 | packet(X#)";
    }
    void framing() {
        const QByteArray bytes = QByteArray::fromPercentEncoding(Row::Fields()[0].toLatin1());
        const QByteArray events = Row::Fields()[1].toLatin1();
        for (int cut = 0; cut <= bytes.size(); ++cut)
            QCOMPARE(Parse({bytes.left(cut), bytes.mid(cut)}), events);
        if (events.startsWith("packet(") && events.count('(') == 1 && bytes.startsWith('$') &&
            !bytes.contains('E') && !bytes.contains('}'))
            QCOMPARE(RspFrame(events.mid(7).chopped(1)), bytes);
    }

    // Ring capacity (1-byte records, record i holds i) | pushes, then the most to take, per round |
    // all records taken, in hex | records dropped
    void ring_data() {
        Row::Column();
        QTest::newRow("order kept across the wrap") << "4 | 3 2 3 10 3 2 | 0001020304050607 | 0";
        QTest::newRow("full: the newest are dropped") << "3 | 5 100 | 000102 | 2";
    }
    void ring() {
        const QStringList f = Row::Fields(), rounds = f[1].split(' ');
        SampleRing ring(1, f[0].toInt());
        unsigned char next = 0;
        QByteArray out;
        for (int i = 0; i < rounds.size(); i += 2) {
            for (int n = 0; n < rounds[i].toInt(); ++n, ++next)
                ring.Push(&next);
            ring.Take(rounds[i + 1].toInt(), out);
        }
        QCOMPARE(out.toHex(), f[2].toLatin1());
        QCOMPARE(ring.Dropped(), f[3].toULongLong());
    }

    // Each step is "what goes out => what comes back". Out: a command, "raw:bytes", "frame:payload",
    // "hssread" (one sample read), "packet" (read one packet), "ram:address,length" (the RAM file itself)
    // or "reconnect". Back: the exact reply, "~text" (contained), "closed" or "silent".
    void dialogue_data() {
        Row::Column(); // fault | steps, separated by " ; "
        QTest::newRow("reads in RAM")
            << " | m80000104,5 => a500000001 ; m807fffff,1 => 00 ; m7ffffffc,4 => E01 ; m807ffffe,4 => E01 ; "
               "m80000100 => E01 ; mfffffffffffffffc,8 => E01 ; m80000010,fffffffffffffff8 => E01";
        QTest::newRow("reads in the data window")
            << " | m20000010,4 => 0df0ad0b ; m80400010,4 => 0df0ad0b ; m203fffff,1 => 00 ; "
               "m20400000,4 => E01 ; m203ffffe,4 => E01 ; m1ffffffc,4 => E01 ; m200bff8,8 => E01";
        QTest::newRow("writes")
            << " | M80000100,4:03000000 => OK ; ram:80000100,4 => 03000000 ; M20000010,4:03000000 => OK"
               " ; ram:80400010,4 => 03000000 ; M20400010,4:03000000 => E01 ; M80000100,4:0300 => E01"
               " ; M80000100,2:zz00 => E01 ; X80000100,0: => ";
        QTest::newRow("queries")
            << " | qSupported:vContSupported => ~PacketSize= ; qAttached => 1 ; ? => S05 ; Hg0 => OK ; "
               "p20 => 00000080 ; P20=04000003 => OK ; p20 => 04000003 ; p44 => E01 ; "
               "vMustReplyEmpty => ; qSeggerHSS:Supported => OK ; qSeggerHSS:Stop => OK ; g => ~04000003 ; "
               "s => S05 ; qSymbol:: => OK";
        QTest::newRow("target description")
            << " | qXfer:features:read:target.xml:0,40 => ~m<?xml ; "
               "qXfer:features:read:target.xml:40,4000 => ~riscv:rv32 ; "
               "qXfer:features:read:other.xml:0,100 => E00 ; qXfer:features:read:target.xml:ffff,10 => l ; "
               "qXfer:features:read:target.xml:zz => E01";
        QTest::newRow("monitor")
            << " | qRcmd,68616c74 => ~6b656570732072756e6e696e67 ; packet => OK ; "
               "qRcmd,687373 => ~6e6f2073616d706c696e67 ; packet => OK ; qRcmd,7a7a => ~756e6b6e6f776e ; "
               "packet => OK ; qRcmd,zz => E01";
        QTest::newRow("bad checksum refused") << " | raw:$m80000100,4#00 => - ; m80000100,4 => 78563412";
        QTest::newRow("nack makes a resend") << " | frame:m80000100,2 => +$7856#da ; raw:- => $7856#da";
        QTest::newRow("noise ignored") << " | raw:\r\n++garbage => ; m80000104,1 => a5";
        QTest::newRow("continue, then interrupt")
            << " | frame:c => + ; raw: => silent ; raw:\x03 => $S02#b5 ; m80000104,1 => a5";
        QTest::newRow("detach") << " | D => OK ; raw: => closed";
        QTest::newRow("kill") << " | frame:k => + ; raw: => closed";
        QTest::newRow("session refusals")
            << " | qSeggerHSS:Read:00002710 => E01 ; qSeggerHSS:Start:1,14,1,00000000807ffffe,4,0 => E02 ; "
               "qSeggerHSS:Start:1,14,2,0000000080000100,4,0 => E01 ; qSeggerHSS:Read: => E01 ; "
               "qSeggerHSS:Pause => ; qSeggerHSS:Start:1,0x14,0 => E01 ; qSeggerHSS:Start:1,14 => E01 ; "
               "qSeggerHSS:Start:1,0,0 => E01 ; start => OK ; qSeggerHSS:Stop => OK ; "
               "qSeggerHSS:Read:00002710 => E01";
        QTest::newRow("no-hss")
            << "no-hss | qSeggerHSS:Supported => ; start => ; qSeggerHSS:Read:00002710 => ; "
               "qSeggerHSS:Stop => ; m80000104,1 => a5";
        QTest::newRow("empty-reads")
            << "empty-reads | start => OK ; qSeggerHSS:Read:00002710 => OK,00000000 ; "
               "qSeggerHSS:Read:00002710 => OK,00000000 ; qRcmd,687373 => ~73616d706c696e67206576657279 ; "
               "packet => OK";
        QTest::newRow("close-after-reads, per connection")
            << "close-after-reads=2 | start => OK ; hssread ; hssread ; m80000104,1 => a5 ; "
               "frame:qSeggerHSS:Read:00002710 => closed ; reconnect ; start => OK ; "
               "qSeggerHSS:Read:00002710 => ~OK,";
        QTest::newRow("silent-after-reads")
            << "silent-after-reads=1 | start => OK ; hssread ; "
               "frame:qSeggerHSS:Read:00002710 => silent ; frame:m80000104,1 => silent";
        QTest::newRow("nack-writes")
            << "nack-writes | frame:M80000100,4:03000000 => - ; ram:80000100,4 => 78563412";
        QTest::newRow("error-writes")
            << "error-writes | frame:M80000100,4:03000000 => +$E01#a6 ; raw:+ => ; m80000100,4 => 78563412";
    }
    void dialogue() {
        const QStringList f = Row::Fields();
        StartServer(f[0].trimmed());
        auto client = std::make_unique<RspClient>();
        QVERIFY(client->Connect(m_server->Port()));
        for (QString text : f[1].split(" ; ")) {
            text.replace("start =>", "qSeggerHSS:Start:1,64,1,0000000080000100,4,0 =>");
            const QByteArray step = text.toLatin1(), out = text.section(" =>", 0, 0).toLatin1(),
                             back = text.section(" => ", 1).toLatin1();
            QByteArray got;
            std::uint32_t n = 0;
            if (out == "reconnect") {
                client = std::make_unique<RspClient>();
                QVERIFY(client->Connect(m_server->Port()));
            } else if (out == "hssread") {
                QVERIFY2(client->HssRead(0x2710, 8, &got, &n), qPrintable(client->LastError()));
                continue;
            } else if (out == "packet") {
                QVERIFY(client->ReadPacket(&got));
            } else if (out.startsWith("ram:")) {
                const QList<QByteArray> where = out.mid(4).split(',');
                got = QByteArray(where[1].toInt(), '\0');
                QVERIFY(m_ram->Read(where[0].toULongLong(nullptr, 16), got.data(), got.size()));
                got = got.toHex();
            } else if (out.startsWith("raw:") || out.startsWith("frame:")) {
                const QByteArray bytes = out.startsWith("raw:") ? out.mid(4) : RspFrame(out.mid(6));
                QVERIFY(bytes.isEmpty() || client->SendRaw(bytes));
                if (back == "closed")
                    got = client->WaitClosed(5000) ? "closed" : "open";
                else if (back == "silent")
                    got = client->StaysSilent(300) ? "silent" : "answered";
                else if (!back.isEmpty())
                    QVERIFY2(client->ReadExactly(back.size(), &got), qPrintable(client->LastError()));
            } else {
                got = Ask(*client, out);
            }
            QVERIFY2(back.startsWith('~') ? got.contains(back.mid(1)) : got == back, step + ": " + got);
        }
    }

    // Samples of four globals while a second client, a debugger, writes one of them: time stamps always
    // rise, every block holds its global's bytes, and the write shows in later samples. The debugger is
    // served meanwhile and has no session of its own.
    void sessionDeliversRecords() {
        StartServer("");
        RspClient client, debugger;
        QVERIFY(client.Connect(m_server->Port()) && debugger.Connect(m_server->Port()));
        QCOMPARE(Ask(client, "qSeggerHSS:Start:1,1f4,4,0000000080000100,4,0,0000000080000104,1,0,"
                             "0000000080000108,8,0,0000000020000010,4,0"),
                 QByteArray("OK"));
        QByteArray all;
        std::uint32_t total = 0;
        for (QDeadlineTimer deadline(10000); total < 200 && !deadline.hasExpired();) {
            QByteArray records;
            std::uint32_t n = 0;
            QVERIFY2(client.HssRead(0x2710, 21, &records, &n), qPrintable(client.LastError()));
            all += records;
            if (total < 50 && total + n >= 50)
                QCOMPARE(Ask(debugger, "M80000100,4:0100feca"), QByteArray("OK"));
            total += n;
        }
        QVERIFY2(total >= 200, qPrintable(QString::number(total)));
        QCOMPARE(Ask(debugger, "qSeggerHSS:Read:00002710"), QByteArray("E01"));
        int before = 0;
        bool after = false;
        for (std::uint32_t i = 0; i < total; ++i) {
            const QByteArray record = all.mid(int(i) * 21, 21);
            QVERIFY(i == 0 || Le32(record, 0) > Le32(all, int(i - 1) * 21));
            after = after || Le32(record, 4) == 0xcafe0001;
            QCOMPARE(Le32(record, 4), after ? 0xcafe0001u : 0x12345678u);
            before += !after;
            QCOMPARE(record.mid(8).toHex(), QByteArray("a501020304050607080df0ad0b"));
        }
        QVERIFY(before >= 50 && after);
    }
};

QTEST_GUILESS_MAIN(TestSimServer)
#include "tst_simserver.moc"
