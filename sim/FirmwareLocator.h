#pragma once

#include <QString>

namespace Sim {

// The demo firmware: beside the program, in an installed share folder, or in the source tree the
// program was built from. Empty when none exists.
QString DefaultFirmwarePath(const QString& programDir);

} // namespace Sim
