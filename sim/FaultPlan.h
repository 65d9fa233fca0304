#pragma once

#include <QString>
#include <QStringList>

// Misbehaviour on purpose, for reliability tests of the client. Every connection of the process follows
// the same plan; read counts are per connection.
namespace Sim {

struct FaultPlan {
    bool noHss = false;        // "no-hss": every qSeggerHSS packet gets an empty reply
    bool emptyReads = false;   // "empty-reads": every read answers "OK,00000000" with no samples
    int closeAfterReads = -1;  // "close-after-reads=N": N reads answered, the next one closes the socket
    int silentAfterReads = -1; // "silent-after-reads=N": N reads answered, then nothing is ever sent again
    bool nackWrites = false;   // "nack-writes": 'M' packets are answered '-' and not carried out
    bool errorWrites = false;  // "error-writes": 'M' packets are acknowledged and answered "E01"

    // Parses values of --fault; on an unknown or malformed one, error names it.
    static bool Parse(const QStringList& values, FaultPlan* plan, QString* error);
    // The modes, one per line, for --help.
    static QString Help();
};

} // namespace Sim
