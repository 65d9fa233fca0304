// The simulated target's JTAG side without an emulator: remote_bitbang bytes into the TAP and transport
// module, debug-module-interface operations with their busy and failed answers, system bus access and
// the access-register command against a fake hart.
#include "DebugHart.h"
#include "DebugModule.h"
#include "JtagServer.h"
#include "RiscvDtm.h"

#include <QtTest>
#include <cstring>
#include <map>

using namespace Sim;
using DM = DebugModule;
Q_DECLARE_METATYPE(Sim::TapState)
Q_DECLARE_METATYPE(Sim::DebugHart::State)

namespace {

constexpr std::uint64_t MemoryBase = 0x1000;

// The current row's value in a column, usable inside an expression.
template <typename T> T Col(const char* name) {
    return *static_cast<T*>(QTest::qData(name, qMetaTypeId<T>()));
}

// A hart with a few registers (width, value) and 64 bytes of memory holding 00 01 02 ... 3f.
struct FakeHart : DebugHart {
    State state = State::Running;
    std::map<std::uint32_t, std::pair<unsigned, std::uint64_t>> registers{
        {0x1008, {32, 0x12345678}}, {0x1020, {64, 0x400921fb54442d18}}, {0x301, {32, 0x40141105}}};
    QByteArray memory;
    bool releasedHalted = false;

    FakeHart() {
        for (int i = 0; i < 64; ++i)
            memory += char(i);
    }
    State CurrentState() override { return state; }
    bool Halt() override { return (state = State::Halted), true; }
    bool Resume() override { return (state = State::Running), true; }
    bool HoldReset() override { return (state = State::Unavailable), true; }
    bool ReleaseReset(bool halt) override {
        releasedHalted = halt;
        return (state = halt ? State::Halted : State::Running), true;
    }
    unsigned RegisterBits(std::uint32_t regno) const override {
        return registers.count(regno) ? registers.at(regno).first : 0;
    }
    bool ReadRegister(std::uint32_t regno, std::uint64_t* value) override {
        return (*value = registers.at(regno).second), true;
    }
    bool WriteRegister(std::uint32_t regno, std::uint64_t value) override {
        return (registers[regno].second = value), true;
    }
    bool ReadMemory(std::uint64_t address, unsigned bytes, std::uint32_t* value) override {
        if (address < MemoryBase || address + bytes > MemoryBase + memory.size())
            return false;
        *value = 0;
        std::memcpy(value, memory.constData() + (address - MemoryBase), bytes);
        return true;
    }
    bool WriteMemory(std::uint64_t address, unsigned bytes, std::uint32_t value) override {
        if (address < MemoryBase || address + bytes > MemoryBase + memory.size())
            return false;
        std::memcpy(memory.data() + (address - MemoryBase), &value, bytes);
        return true;
    }
};

// The JTAG pins as openocd's remote_bitbang driver works them: each TCK cycle is a falling edge with TMS
// and TDI set, an optional TDO sample ('R'), then the rising edge.
class Probe {
public:
    explicit Probe(RiscvDtm& dtm) : m_dtm(dtm) {}
    QByteArray Feed(const QByteArray& bytes) {
        QByteArray replies;
        FeedBitbang(m_dtm, &m_tck, bytes.constData(), bytes.size(), &replies);
        return replies;
    }
    static QByteArray Cycle(bool tms, bool tdi, bool sample) {
        const char pins = char('0' + (tms ? 2 : 0) + (tdi ? 1 : 0));
        return QByteArray(1, pins) + (sample ? "R" : "") + char(pins + 4);
    }
    void Tms(const char* path) {
        for (; *path; ++path)
            Feed(Cycle(*path == '1', false, false));
    }
    void Idle(int cycles) {
        for (int i = 0; i < cycles; ++i)
            Feed(Cycle(false, false, false));
    }
    // From Run-Test/Idle through a DR (or IR) scan of length bits and back; what came out of TDO.
    quint64 Scan(bool ir, quint64 value, int length) {
        Tms(ir ? "1100" : "100");
        QByteArray bytes;
        for (int i = 0; i < length; ++i)
            bytes += Cycle(i == length - 1, (value >> i) & 1, true);
        const QByteArray out = Feed(bytes);
        Tms("10");
        quint64 captured = 0;
        for (int i = 0; i < out.size(); ++i)
            captured |= quint64(out[i] == '1') << i;
        return captured;
    }
    quint64 Dmi(unsigned op, std::uint32_t address, std::uint32_t data) {
        return Scan(false, (quint64(address) << 34) | (quint64(data) << 2) | op, DM::AddressBits + 34);
    }

private:
    RiscvDtm& m_dtm;
    bool m_tck = false;
};

} // namespace

class TestDebugModule : public QObject {
    Q_OBJECT

private slots:
    void tapStates_data() {
        QTest::addColumn<QString>("tms"); // from Test-Logic-Reset
        QTest::addColumn<TapState>("state");
        QTest::newRow("idle") << "0" << TapState::RunTestIdle;
        QTest::newRow("shift DR") << "0100" << TapState::ShiftDr;
        QTest::newRow("shift IR") << "01100" << TapState::ShiftIr;
        QTest::newRow("pause DR") << "010010" << TapState::PauseDr;
        QTest::newRow("pause DR back to shift") << "01001010" << TapState::ShiftDr;
        QTest::newRow("update IR") << "0110011" << TapState::UpdateIr;
        QTest::newRow("select IR, then reset") << "0111" << TapState::TestLogicReset;
        QTest::newRow("five ones from shift DR") << "010011111" << TapState::TestLogicReset;
    }
    void tapStates() {
        FakeHart hart;
        DebugModule dm(hart);
        RiscvDtm dtm(dm);
        Probe probe(dtm);
        probe.Tms(qPrintable(Col<QString>("tms")));
        probe.Feed("66"); // TCK stays high: no edge
        QCOMPARE(dtm.State(), Col<TapState>("state"));
    }

    void scans_data() {
        QTest::addColumn<int>("instruction"); // -1: none since reset
        QTest::addColumn<int>("bits");
        QTest::addColumn<quint64>("captured");
        QTest::newRow("IDCODE selected by reset") << -1 << 32 << quint64(0x1e5a0f7d);
        QTest::newRow("IDCODE") << 0x01 << 32 << quint64(0x1e5a0f7d);
        QTest::newRow("dtmcs: version 1, 7 address bits, idle 2") << 0x10 << 32 << quint64(0x2071);
        QTest::newRow("BYPASS passes bits through a cycle late") << 0x1f << 4 << quint64(0xa);
        QTest::newRow("an unknown instruction is BYPASS") << 0x0a << 4 << quint64(0xa);
    }
    void scans() {
        const int instruction = Col<int>("instruction");
        FakeHart hart;
        DebugModule dm(hart);
        RiscvDtm dtm(dm, 2);
        Probe probe(dtm);
        probe.Feed("t" + Probe::Cycle(false, false, false)); // TRST, then Run-Test/Idle
        if (instruction >= 0)
            QCOMPARE(probe.Scan(true, quint64(instruction), 5), quint64(0x01)); // IR capture ends in 01
        QCOMPARE(probe.Scan(false, 0x5, Col<int>("bits")), Col<quint64>("captured"));
    }

    // The debug module needs 2 Run-Test/Idle cycles per operation; leaving Run-Test/Idle is one of them.
    void dmiOperations_data() {
        QTest::addColumn<int>("idle");      // extra cycles after writing data0 = 0x11111111
        QTest::addColumn<int>("op");        // then: 1 read data0, 2 write data0 = 0x22222222, 3 reserved
        QTest::addColumn<bool>("dmireset"); // then dtmcs.dmireset, and plenty of idle cycles
        QTest::addColumn<int>("status");    // captured by the scan carrying op
        QTest::addColumn<int>("later");     // captured by a no-op scan at the end
        QTest::addColumn<quint32>("data0");
        QTest::newRow("write in time") << 1 << 2 << false << 0 << 0 << 0x22222222u;
        QTest::newRow("read in time") << 1 << 1 << false << 0 << 0 << 0x11111111u;
        QTest::newRow("too soon: busy, dropped") << 0 << 2 << false << 3 << 3 << 0x11111111u;
        QTest::newRow("busy until dmireset") << 0 << 2 << true << 3 << 0 << 0x11111111u;
        QTest::newRow("reserved op fails") << 1 << 3 << false << 0 << 2 << 0x11111111u;
        QTest::newRow("failure until dmireset") << 1 << 3 << true << 0 << 0 << 0x11111111u;
    }
    void dmiOperations() {
        FakeHart hart;
        DebugModule dm(hart);
        RiscvDtm dtm(dm, 2);
        Probe probe(dtm);
        probe.Tms("0");
        probe.Scan(true, RiscvDtm::Dmi, 5);
        probe.Dmi(2, DM::DmControl, 1);
        probe.Idle(1);
        probe.Dmi(2, DM::Data0, 0x11111111);
        probe.Idle(Col<int>("idle"));
        const quint64 first = probe.Dmi(unsigned(Col<int>("op")), DM::Data0, 0x22222222);
        QCOMPARE(int(first & 3), Col<int>("status"));
        if (Col<bool>("dmireset")) {
            probe.Scan(true, RiscvDtm::Dtmcs, 5);
            probe.Scan(false, 1u << 16, 32);
            probe.Scan(true, RiscvDtm::Dmi, 5);
        }
        probe.Idle(8);
        const quint64 later = probe.Dmi(0, 0, 0);
        QCOMPARE(int(later & 3), Col<int>("later"));
        QCOMPARE(dm.Read(DM::Data0), Col<quint32>("data0"));
        if ((later & 3) == 0 && (first & 3) == 0) // what a read found comes with the next scan
            QCOMPARE(quint32(later >> 2), dm.Read(DM::Data0));
    }

    void abstractCommands_data() {
        QTest::addColumn<DebugHart::State>("state");
        QTest::addColumn<quint32>("command");
        QTest::addColumn<quint32>("cmderr");
        QTest::addColumn<quint32>("data0");
        QTest::addColumn<quint32>("data1");
        const auto halted = DebugHart::State::Halted, running = DebugHart::State::Running;
        QTest::newRow("32-bit s0") << halted << 0x00221008u << 0u << 0x12345678u << 0u;
        QTest::newRow("64-bit s0 on RV32: not supported") << halted << 0x00321008u << 2u << 0u << 0u;
        QTest::newRow("128-bit s0: not supported") << halted << 0x00421008u << 2u << 0u << 0u;
        QTest::newRow("64-bit double register") << halted << 0x00321020u << 0u << 0x54442d18u << 0x400921fbu;
        QTest::newRow("low half of it") << halted << 0x00221020u << 0u << 0x54442d18u << 0u;
        QTest::newRow("misa") << halted << 0x00220301u << 0u << 0x40141105u << 0u;
        QTest::newRow("missing CSR: exception") << halted << 0x00220123u << 3u << 0u << 0u;
        QTest::newRow("past the FPRs: exception") << halted << 0x00221040u << 3u << 0u << 0u;
        QTest::newRow("postexec without program buffer") << halted << 0x00261008u << 2u << 0u << 0u;
        QTest::newRow("quick access") << halted << 0x01000000u << 2u << 0u << 0u;
        QTest::newRow("access memory") << halted << 0x02000000u << 2u << 0u << 0u;
        QTest::newRow("no transfer: nothing") << halted << 0x00201008u << 0u << 0u << 0u;
        QTest::newRow("read while running") << running << 0x00221008u << 0u << 0x12345678u << 0u;
        QTest::newRow("write while running") << running << 0x00231008u << 4u << 0u << 0u;
        QTest::newRow("read in reset") << DebugHart::State::Unavailable << 0x00221008u << 4u << 0u << 0u;
    }
    void abstractCommands() {
        FakeHart hart;
        hart.state = Col<DebugHart::State>("state");
        DebugModule dm(hart);
        dm.Write(DM::DmControl, 1);
        dm.Write(DM::Command, Col<quint32>("command"));
        const quint32 cmderr = (dm.Read(DM::AbstractCs) >> 8) & 7;
        QCOMPARE(cmderr, Col<quint32>("cmderr"));
        QCOMPARE(dm.Read(DM::Data0), Col<quint32>("data0"));
        QCOMPARE(dm.Read(DM::Data1), Col<quint32>("data1"));
        dm.Write(DM::Command, 0x00221008); // ignored until the error is cleared
        QCOMPARE(dm.Read(DM::Data0), cmderr ? Col<quint32>("data0") : 0x12345678u);
        dm.Write(DM::AbstractCs, 7u << 8);
        QCOMPARE(dm.Read(DM::AbstractCs), 2u); // datacount 2, progbufsize 0
    }

    // sbcs bits: 20 read on address, 17..19 access size, 16 auto-increment, 15 read on data.
    void busReads_data() {
        QTest::addColumn<quint32>("sbcs");
        QTest::addColumn<quint32>("address");
        QTest::addColumn<int>("reads"); // of sbdata0
        QTest::addColumn<quint32>("last");
        QTest::addColumn<quint32>("end"); // sbaddress0 afterwards
        QTest::addColumn<quint32>("sberror");
        QTest::newRow("32-bit, all three") << 0x15c000u << 0x1000u << 3 << 0x0b0a0908u << 0x1010u << 0u;
        QTest::newRow("16-bit, all three") << 0x13c000u << 0x1002u << 3 << 0x0706u << 0x100au << 0u;
        QTest::newRow("8-bit, all three") << 0x118000u << 0x1003u << 3 << 0x05u << 0x1007u << 0u;
        QTest::newRow("no auto-increment") << 0x148000u << 0x1000u << 3 << 0x03020100u << 0x1000u << 0u;
        QTest::newRow("read on address only") << 0x150000u << 0x1000u << 2 << 0x03020100u << 0x1004u << 0u;
        QTest::newRow("no read at all") << 0x050000u << 0x1000u << 1 << 0u << 0x1000u << 0u;
        QTest::newRow("last word, then past the end")
            << 0x15c000u << 0x103cu << 2 << 0x3f3e3d3cu << 0x1040u << 2u;
        QTest::newRow("misaligned") << 0x15c000u << 0x1002u << 1 << 0u << 0x1002u << 3u;
        QTest::newRow("64-bit access") << 0x178000u << 0x1000u << 1 << 0u << 0x1000u << 4u;
        QTest::newRow("nothing there") << 0x15c000u << 0x9000u << 1 << 0u << 0x9000u << 2u;
    }
    void busReads() {
        FakeHart hart;
        DebugModule dm(hart);
        dm.Write(DM::DmControl, 1);
        dm.Write(DM::SbCs, Col<quint32>("sbcs"));
        dm.Write(DM::SbAddress0, Col<quint32>("address"));
        quint32 value = 0;
        for (int i = Col<int>("reads"); i > 0; --i)
            value = dm.Read(DM::SbData0);
        QCOMPARE(value, Col<quint32>("last"));
        QCOMPARE(dm.Read(DM::SbAddress0), Col<quint32>("end"));
        const quint32 sbcs = dm.Read(DM::SbCs);
        QCOMPARE((sbcs >> 12) & 7, Col<quint32>("sberror"));
        QCOMPARE(sbcs >> 29, 1u);        // version 1
        QCOMPARE(sbcs & 0xfffu, 0x407u); // 32 address bits; 8-, 16- and 32-bit accesses
        dm.Write(DM::SbCs, sbcs);        // the error is cleared by writing it back
        QCOMPARE((dm.Read(DM::SbCs) >> 12) & 7, 0u);
    }

    void busWrites_data() {
        QTest::addColumn<quint32>("sbcs");
        QTest::addColumn<quint32>("address");
        QTest::addColumn<QByteArray>("memory"); // from 0x1000, after writing 0xa1b2c3d4 twice
        QTest::newRow("32-bit, auto-increment")
            << 0x050000u << 0x1000u << QByteArray::fromHex("d4c3b2a1d4c3b2a1");
        QTest::newRow("16-bit, auto-increment")
            << 0x030000u << 0x1002u << QByteArray::fromHex("0001d4c3d4c30607");
        QTest::newRow("8-bit, in place") << 0x000000u << 0x1001u << QByteArray::fromHex("00d4020304050607");
        QTest::newRow("misaligned: nothing")
            << 0x050000u << 0x1001u << QByteArray::fromHex("0001020304050607");
    }
    void busWrites() {
        FakeHart hart;
        DebugModule dm(hart);
        dm.Write(DM::DmControl, 1);
        dm.Write(DM::SbCs, Col<quint32>("sbcs"));
        dm.Write(DM::SbAddress0, Col<quint32>("address"));
        dm.Write(DM::SbData0, 0xa1b2c3d4);
        dm.Write(DM::SbData0, 0xa1b2c3d4);
        QCOMPARE(hart.memory.left(8).toHex(), Col<QByteArray>("memory").toHex());
    }

    // dmstatus: 0x82 version 2 and authenticated, 0x300 halted, 0xc00 running, 0x3000 unavailable,
    // 0x30000 resume acknowledged, 0xc0000 have reset. dmcontrol: bit 31 haltreq, 30 resumereq, 28
    // ackhavereset, 1 ndmreset, 0 dmactive.
    void runControl_data() {
        QTest::addColumn<DebugHart::State>("state");
        QTest::addColumn<quint32>("first"); // dmcontrol writes
        QTest::addColumn<quint32>("second");
        QTest::addColumn<quint32>("dmstatus");
        const auto halted = DebugHart::State::Halted, running = DebugHart::State::Running;
        QTest::newRow("halt") << running << 0x80000001u << 0x00000001u << 0x382u;
        QTest::newRow("resume") << halted << 0x40000001u << 0x00000001u << 0x30c82u;
        QTest::newRow("resume ignored beside halt") << halted << 0xc0000001u << 0x00000001u << 0x382u;
        QTest::newRow("held in reset") << running << 0x00000001u << 0x00000003u << 0x3082u;
        QTest::newRow("halt request ignored in reset") << running << 0x00000003u << 0x80000003u << 0x3082u;
        QTest::newRow("reset, run") << halted << 0x00000003u << 0x00000001u << 0xc0c82u;
        QTest::newRow("reset, halt") << running << 0x80000003u << 0x80000001u << 0xc0382u;
        QTest::newRow("module reset lets go") << running << 0x00000003u << 0x00000000u << 0xc82u;
        QTest::newRow("inactive module ignores halt") << running << 0x80000000u << 0x80000000u << 0xc82u;
    }
    void runControl() {
        FakeHart hart;
        hart.state = Col<DebugHart::State>("state");
        DebugModule dm(hart);
        dm.Write(DM::DmControl, Col<quint32>("first"));
        dm.Write(DM::DmControl, Col<quint32>("second"));
        QCOMPARE(dm.Read(DM::DmStatus), Col<quint32>("dmstatus"));
        QCOMPARE(dm.Read(DM::HaltSum0), quint32(hart.state == DebugHart::State::Halted));
        dm.Write(DM::DmControl, 0x10000001u | (Col<quint32>("second") & 2)); // ackhavereset
        QCOMPARE(dm.Read(DM::DmStatus) & 0xc0000u, 0u);
    }
};

QTEST_GUILESS_MAIN(TestDebugModule)
#include "tst_debugmodule.moc"
