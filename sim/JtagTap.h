#pragma once

#include <cstdint>

// The JTAG test access port's controller: sixteen states, one step per rising TCK edge, chosen by TMS.
namespace Sim {

enum class TapState : std::uint8_t {
    TestLogicReset,
    RunTestIdle,
    SelectDrScan,
    CaptureDr,
    ShiftDr,
    Exit1Dr,
    PauseDr,
    Exit2Dr,
    UpdateDr,
    SelectIrScan,
    CaptureIr,
    ShiftIr,
    Exit1Ir,
    PauseIr,
    Exit2Ir,
    UpdateIr,
};

TapState NextTapState(TapState state, bool tms);

} // namespace Sim
