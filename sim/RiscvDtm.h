#pragma once

#include "JtagTap.h"

#include <cstdint>

// The RISC-V debug transport module behind a JTAG TAP: instructions IDCODE, DTMCS (version 1) and DMI,
// everything else BYPASS. A DMI operation is carried out at Update-DR and is busy until the TAP has spent
// the configured number of TCK cycles in Run-Test/Idle; a scan that comes sooner answers "busy", and that
// answer, like "failed" (for the reserved operation 3), sticks until dtmcs.dmireset.
namespace Sim {

class DebugModule;

class RiscvDtm {
public:
    enum Instruction : std::uint8_t { IdCode = 0x01, Dtmcs = 0x10, Dmi = 0x11, Bypass = 0x1f };
    enum DmiStatus : unsigned { DmiSuccess = 0, DmiFailed = 2, DmiBusy = 3 };
    static constexpr unsigned InstructionBits = 5;
    static constexpr std::uint32_t IdCodeValue = 0x1e5a0f7du;

    // idleCycles (at most 7, as dtmcs.idle tells) is what each DMI operation takes.
    explicit RiscvDtm(DebugModule& dm, unsigned idleCycles = 0);

    // One rising TCK edge with these TMS and TDI levels.
    void Clock(bool tms, bool tdi);
    // TDO as it stands between edges (only the Shift states drive it).
    bool Tdo() const;
    // TRST: straight to Test-Logic-Reset.
    void Reset();
    TapState State() const { return m_state; }

private:
    unsigned Length() const;
    void Capture();
    void Update();

    DebugModule& m_dm;
    const unsigned m_idleCycles;
    TapState m_state = TapState::TestLogicReset;
    std::uint8_t m_instruction = IdCode;
    std::uint64_t m_shift = 0;
    unsigned m_pending = 0; // Run-Test/Idle cycles until the last DMI operation is done
    unsigned m_sticky = DmiSuccess;
    std::uint32_t m_lastAddress = 0;
    std::uint32_t m_lastData = 0;
};

} // namespace Sim
