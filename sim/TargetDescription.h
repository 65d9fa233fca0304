#pragma once

#include <QByteArray>

// The register set shown to a debugger: RV32 integer registers, pc, and the single-precision FPU the
// demo firmware's hard-float ABI needs. Registers are placeholders: the target never stops, so there
// is no register state to report.
namespace Sim {

constexpr int RegisterCount = 68; // x0..x31, pc, f0..f31, fflags, frm, fcsr
constexpr int PcRegister = 32;

// The target description XML offered through qXfer:features:read:target.xml.
const QByteArray& TargetXml();

} // namespace Sim
