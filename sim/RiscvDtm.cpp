#include "RiscvDtm.h"

#include "DebugModule.h"

#include <algorithm>

namespace Sim {

namespace {
constexpr unsigned DmiBits = DebugModule::AddressBits + 34; // address, 32 data bits, 2 op bits
constexpr std::uint32_t DmiReset = 1u << 16, DmiHardReset = 1u << 17;
} // namespace

RiscvDtm::RiscvDtm(DebugModule& dm, unsigned idleCycles) : m_dm(dm), m_idleCycles(std::min(idleCycles, 7u)) {}

void RiscvDtm::Reset() {
    m_state = TapState::TestLogicReset;
    m_instruction = IdCode;
}

bool RiscvDtm::Tdo() const {
    return (m_state == TapState::ShiftDr || m_state == TapState::ShiftIr) && (m_shift & 1u);
}

unsigned RiscvDtm::Length() const {
    switch (m_instruction) {
    case IdCode:
    case Dtmcs:
        return 32;
    case Dmi:
        return DmiBits;
    default:
        return 1;
    }
}

void RiscvDtm::Clock(bool tms, bool tdi) {
    if (m_state == TapState::ShiftDr || m_state == TapState::ShiftIr) {
        const unsigned length = m_state == TapState::ShiftIr ? InstructionBits : Length();
        m_shift = (m_shift >> 1) | (std::uint64_t(tdi) << (length - 1));
    } else if (m_state == TapState::RunTestIdle && m_pending > 0) {
        --m_pending;
    }
    m_state = NextTapState(m_state, tms);
    switch (m_state) {
    case TapState::TestLogicReset:
        m_instruction = IdCode;
        break;
    case TapState::CaptureIr:
        m_shift = 0x01; // ends in binary 01, as the standard asks
        break;
    case TapState::UpdateIr:
        m_instruction = static_cast<std::uint8_t>(m_shift & 0x1f);
        break;
    case TapState::CaptureDr:
        Capture();
        break;
    case TapState::UpdateDr:
        Update();
        break;
    default:
        break;
    }
}

void RiscvDtm::Capture() {
    switch (m_instruction) {
    case IdCode:
        m_shift = IdCodeValue;
        break;
    case Dtmcs: // version 1 (0.13), abits, dmistat, idle
        m_shift = 1u | (DebugModule::AddressBits << 4) | (m_sticky << 10) | (m_idleCycles << 12);
        break;
    case Dmi:
        if (m_pending > 0)
            m_sticky = DmiBusy;
        m_shift = (std::uint64_t(m_lastAddress) << 34) | (std::uint64_t(m_lastData) << 2) | m_sticky;
        break;
    default:
        m_shift = 0;
        break;
    }
}

void RiscvDtm::Update() {
    if (m_instruction == Dtmcs) {
        if (m_shift & (DmiReset | DmiHardReset))
            m_sticky = DmiSuccess;
        if (m_shift & DmiHardReset)
            m_pending = 0;
        return;
    }
    if (m_instruction != Dmi)
        return;
    const unsigned op = m_shift & 3u;
    // Nothing for a no-op; nothing after "busy" or "failed" (set at the capture) until dmireset.
    if (op == 0 || m_sticky != DmiSuccess)
        return;
    if (op == 3) {
        m_sticky = DmiFailed;
        return;
    }
    m_lastAddress = static_cast<std::uint32_t>(m_shift >> 34) & ((1u << DebugModule::AddressBits) - 1u);
    m_lastData = static_cast<std::uint32_t>(m_shift >> 2);
    if (op == 1)
        m_lastData = m_dm.Read(m_lastAddress);
    else
        m_dm.Write(m_lastAddress, m_lastData);
    m_pending = m_idleCycles;
}

} // namespace Sim
