#include "JtagTap.h"

namespace Sim {

TapState NextTapState(TapState state, bool tms) {
    using S = TapState;
    // Successor with TMS low, successor with TMS high; in the order of the enumeration.
    static constexpr S next[16][2] = {
        {S::RunTestIdle, S::TestLogicReset}, // TestLogicReset
        {S::RunTestIdle, S::SelectDrScan},   // RunTestIdle
        {S::CaptureDr, S::SelectIrScan},     // SelectDrScan
        {S::ShiftDr, S::Exit1Dr},            // CaptureDr
        {S::ShiftDr, S::Exit1Dr},            // ShiftDr
        {S::PauseDr, S::UpdateDr},           // Exit1Dr
        {S::PauseDr, S::Exit2Dr},            // PauseDr
        {S::ShiftDr, S::UpdateDr},           // Exit2Dr
        {S::RunTestIdle, S::SelectDrScan},   // UpdateDr
        {S::CaptureIr, S::TestLogicReset},   // SelectIrScan
        {S::ShiftIr, S::Exit1Ir},            // CaptureIr
        {S::ShiftIr, S::Exit1Ir},            // ShiftIr
        {S::PauseIr, S::UpdateIr},           // Exit1Ir
        {S::PauseIr, S::Exit2Ir},            // PauseIr
        {S::ShiftIr, S::UpdateIr},           // Exit2Ir
        {S::RunTestIdle, S::SelectDrScan},   // UpdateIr
    };
    return next[static_cast<int>(state)][tms ? 1 : 0];
}

} // namespace Sim
