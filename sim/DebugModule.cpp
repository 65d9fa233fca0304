#include "DebugModule.h"

#include "DebugHart.h"

namespace Sim {

namespace {

bool Bit(std::uint32_t value, unsigned bit) {
    return (value >> bit) & 1u;
}

std::uint32_t Field(std::uint32_t value, unsigned low, unsigned width) {
    return (value >> low) & ((1u << width) - 1u);
}

// dmcontrol
constexpr unsigned DmActive = 0, NdmReset = 1, AckHaveReset = 28, ResumeReq = 30, HaltReq = 31;
// sbcs
constexpr unsigned SbReadOnData = 15, SbAutoIncrement = 16, SbReadOnAddr = 20;
// The hart's registers as the access-register command numbers them.
constexpr std::uint32_t LastRegno = 0x103f;

} // namespace

DebugModule::DebugModule(DebugHart& hart) : m_hart(hart) {}

std::uint32_t DebugModule::Read(std::uint32_t address) {
    switch (address) {
    case Data0:
    case Data1:
        return m_s.data[address - Data0];
    case DmControl:
        // haltreq and resumereq read as 0; hartsel and hasel hold only 0 (one hart).
        return (m_s.ndmreset ? 1u << NdmReset : 0u) | (m_s.active ? 1u << DmActive : 0u);
    case DmStatus:
        return Status();
    case HaltSum0:
    case HaltSum1:
        return m_hart.CurrentState() == DebugHart::State::Halted && !m_s.ndmreset ? 1u : 0u;
    case AbstractCs: // progbufsize 0, busy never
        return (m_s.cmdErr << 8) | DataCount;
    case SbCs:
        return BusControl();
    case SbAddress0:
        return m_s.sbAddress;
    case SbData0: {
        const std::uint32_t value = m_s.sbData;
        if (m_s.active && m_s.sbReadOnData && m_s.sbError == SbNone)
            BusAccess(false);
        return value;
    }
    default: // hartinfo, abstractauto, the program buffer and the rest: not there
        return 0;
    }
}

void DebugModule::Write(std::uint32_t address, std::uint32_t value) {
    if (address == DmControl) {
        WriteControl(value);
        return;
    }
    if (!m_s.active)
        return;
    switch (address) {
    case Data0:
    case Data1:
        m_s.data[address - Data0] = value;
        break;
    case AbstractCs:
        m_s.cmdErr &= ~Field(value, 8, 3); // write 1 to clear
        break;
    case Command:
        if (m_s.cmdErr == CmdNone) // a command waits until the last error is cleared
            Execute(value);
        break;
    case SbCs:
        m_s.sbReadOnAddr = Bit(value, SbReadOnAddr);
        m_s.sbAccess = Field(value, 17, 3);
        m_s.sbAutoIncrement = Bit(value, SbAutoIncrement);
        m_s.sbReadOnData = Bit(value, SbReadOnData);
        m_s.sbError &= ~Field(value, 12, 3);
        break;
    case SbAddress0:
        m_s.sbAddress = value;
        if (m_s.sbReadOnAddr && m_s.sbError == SbNone)
            BusAccess(false);
        break;
    case SbData0:
        m_s.sbData = value;
        if (m_s.sbError == SbNone)
            BusAccess(true);
        break;
    default:
        break;
    }
}

void DebugModule::WriteControl(std::uint32_t value) {
    if (!Bit(value, DmActive)) {
        // The module's own reset; the hart is not touched, but a system it held in reset is let go.
        if (m_s.ndmreset)
            m_hart.ReleaseReset(false);
        m_s = State{};
        return;
    }
    m_s.active = true;
    if (Bit(value, AckHaveReset))
        m_s.haveReset = false;
    const bool ndmreset = Bit(value, NdmReset);
    m_s.haltRequest = Bit(value, HaltReq);
    if (ndmreset && !m_s.ndmreset) {
        m_s.ndmreset = true;
        m_hart.HoldReset();
    } else if (!ndmreset && m_s.ndmreset) {
        // A halt request still set when the reset ends catches the hart before its first instruction.
        m_s.ndmreset = false;
        m_s.haveReset = m_hart.ReleaseReset(m_s.haltRequest) || m_s.haveReset;
        return;
    }
    const DebugHart::State state = m_hart.CurrentState();
    if (m_s.haltRequest) {
        if (state == DebugHart::State::Running)
            m_hart.Halt();
    } else if (Bit(value, ResumeReq)) {
        m_s.resumeAck = false;
        if (state == DebugHart::State::Halted)
            m_s.resumeAck = m_hart.Resume();
    }
}

std::uint32_t DebugModule::Status() const {
    constexpr std::uint32_t Version013 = 2, Authenticated = 1u << 7;
    std::uint32_t status = Version013 | Authenticated;
    const DebugHart::State state = m_s.ndmreset ? DebugHart::State::Unavailable : m_hart.CurrentState();
    const unsigned both = state == DebugHart::State::Halted    ? 8u   // anyhalted, allhalted
                          : state == DebugHart::State::Running ? 10u  // anyrunning, allrunning
                                                               : 12u; // anyunavail, allunavail
    status |= 3u << both;
    if (m_s.resumeAck)
        status |= 3u << 16;
    if (m_s.haveReset)
        status |= 3u << 18;
    return status;
}

void DebugModule::Execute(std::uint32_t command) {
    const unsigned type = Field(command, 24, 8);
    const unsigned size = Field(command, 20, 3);
    const bool postexec = Bit(command, 18), transfer = Bit(command, 17), write = Bit(command, 16);
    const std::uint32_t regno = Field(command, 0, 16);
    // Only access register; with no program buffer there is nothing to execute after it.
    if (type != 0 || postexec) {
        m_s.cmdErr = CmdNotSupported;
        return;
    }
    if (!transfer)
        return;
    // A running hart's registers can be read (as they are at that moment), not written.
    const DebugHart::State state = m_s.ndmreset ? DebugHart::State::Unavailable : m_hart.CurrentState();
    if (state == DebugHart::State::Unavailable || (write && state != DebugHart::State::Halted)) {
        m_s.cmdErr = CmdHaltResume;
        return;
    }
    const unsigned bits = regno <= LastRegno ? m_hart.RegisterBits(regno) : 0;
    if (bits == 0) { // as an instruction touching a missing register would trap
        m_s.cmdErr = CmdException;
        return;
    }
    const unsigned sizeBits = size == 2 ? 32 : size == 3 ? 64 : 0;
    if (sizeBits == 0 || sizeBits > bits) { // e.g. 64 bits of a 32-bit GPR
        m_s.cmdErr = CmdNotSupported;
        return;
    }
    if (write) {
        std::uint64_t value = m_s.data[0];
        if (sizeBits == 64)
            value |= std::uint64_t(m_s.data[1]) << 32;
        if (!m_hart.WriteRegister(regno, value))
            m_s.cmdErr = CmdException;
        return;
    }
    std::uint64_t value = 0;
    if (!m_hart.ReadRegister(regno, &value)) {
        m_s.cmdErr = CmdException;
        return;
    }
    m_s.data[0] = static_cast<std::uint32_t>(value);
    if (sizeBits == 64)
        m_s.data[1] = static_cast<std::uint32_t>(value >> 32);
}

std::uint32_t DebugModule::BusControl() const {
    constexpr std::uint32_t Version1 = 1u << 29, AddressSize32 = 32u << 5, Access8To32 = 0x7;
    return Version1 | (m_s.sbReadOnAddr ? 1u << SbReadOnAddr : 0u) | (m_s.sbAccess << 17) |
           (m_s.sbAutoIncrement ? 1u << SbAutoIncrement : 0u) | (m_s.sbReadOnData ? 1u << SbReadOnData : 0u) |
           (m_s.sbError << 12) | AddressSize32 | Access8To32;
}

void DebugModule::BusAccess(bool write) {
    if (m_s.sbAccess > 2) {
        m_s.sbError = SbSize;
        return;
    }
    const unsigned bytes = 1u << m_s.sbAccess;
    if (m_s.sbAddress % bytes != 0) {
        m_s.sbError = SbAlignment;
        return;
    }
    const bool done = write ? m_hart.WriteMemory(m_s.sbAddress, bytes, m_s.sbData)
                            : m_hart.ReadMemory(m_s.sbAddress, bytes, &m_s.sbData);
    if (!done) {
        m_s.sbError = SbBadAddress;
        return;
    }
    if (m_s.sbAutoIncrement)
        m_s.sbAddress += bytes;
}

} // namespace Sim
