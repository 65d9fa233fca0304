#pragma once

#include "DebugHart.h"
#include "RspFraming.h"

#include <QByteArray>
#include <QString>
#include <deque>
#include <map>
#include <set>

// The emulated hart under the debug module, driven through the emulator's own GDB stub on a local socket:
// halt is the stub's interrupt, resume its continue (or single step), reset the emulator's system_reset;
// registers are the stub's. What a real hart keeps for debug mode alone, the emulator does not have, so it
// is kept here: dcsr (its cause, step and ebreak bits; prv is the emulator's privilege level) and dpc (the
// pc). Trigger and dscratch registers are not offered. Memory is the shared RAM, read and written while
// the hart runs; other addresses (the boot ROM, devices) go through the stub, which pauses the emulator
// for the access, as does reading a register while the hart runs. An ebreak that the debugger writes
// into memory becomes a breakpoint of the stub at that address, so the hart halts there (cause ebreak)
// instead of trapping into the firmware; writing something else over it takes the breakpoint away.
namespace Sim {

class SharedRam;

class QemuHart : public DebugHart {
public:
    explicit QemuHart(SharedRam& ram);
    ~QemuHart() override;
    QemuHart(const QemuHart&) = delete;
    QemuHart& operator=(const QemuHart&) = delete;

    // Connects to the stub (the emulator pauses when a debugger connects), learns the register layout,
    // and lets the emulator run on. On failure error says why.
    bool Connect(const QString& socketPath, QString* error);

    State CurrentState() override;
    bool Halt() override;
    bool Resume() override;
    bool HoldReset() override;
    bool ReleaseReset(bool halt) override;
    unsigned RegisterBits(std::uint32_t regno) const override;
    bool ReadRegister(std::uint32_t regno, std::uint64_t* value) override;
    bool WriteRegister(std::uint32_t regno, std::uint64_t value) override;
    bool ReadMemory(std::uint64_t address, unsigned bytes, std::uint32_t* value) override;
    bool WriteMemory(std::uint64_t address, unsigned bytes, std::uint32_t value) override;

private:
    bool Send(const QByteArray& bytes);
    bool Receive(int timeoutMs);
    bool NextPacket(QByteArray* packet);
    bool Command(const QByteArray& payload, QByteArray* reply);
    bool WaitForStop();
    bool Stop();
    void TakeOwnStop();
    template <typename Access> bool Stopped(Access access);
    void TrackBreakpoint(std::uint64_t address, unsigned bytes, std::uint32_t value);
    bool LoadRegisterLayout(QString* error);
    bool ReadFeature(const QString& annex, QByteArray* xml);
    int StubNumber(std::uint32_t regno) const;
    bool ReadStub(int number, std::uint64_t* value);
    bool WriteStub(int number, std::uint64_t value);
    bool Lost();

    SharedRam& m_ram;
    int m_fd = -1;
    RspParser m_parser;
    std::deque<QByteArray> m_packets;
    std::map<int, unsigned> m_bits; // the stub's register numbers and widths
    int m_firstFpr = -1;
    int m_priv = -1;
    int m_csrBase = -1;
    bool m_halted = false;
    bool m_inReset = false;
    std::uint32_t m_cause = 0; // dcsr.cause of the last halt
    std::uint32_t m_dcsr = 0;  // the debugger's bits of dcsr
    std::set<std::uint64_t> m_breakpoints;
};

} // namespace Sim
