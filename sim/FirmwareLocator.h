#pragma once

#include <QString>

namespace Sim {

// The demo firmware, found from the program's own folder: in the installed share folder
// (bin/../share/tidewatch), or beside the program as in the build tree. Empty when none exists.
QString DefaultFirmwarePath(const QString& programDir);

} // namespace Sim
