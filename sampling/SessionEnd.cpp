#include "SessionEnd.h"

#include "PollSession.h"

QString sessionEndDescription(int code) {
    switch (code) {
    case -1:
        return "the server refused to start high-speed sampling, or the session failed locally; check that "
               "the GDB server supports high-speed sampling and that every variable lies in target memory "
               "with a size of 1, 2, 4 or 8 bytes (a server without it can be polled: mode auto or poll)";
    case 3:
        return "the connection to the GDB server was lost or fell out of step; check that the server still "
               "runs and that nothing else talks to it on this port";
    case kEndUnreadable:
        return "the server could not read a watched variable's memory; check that the GDB server can read "
               "memory while the target runs";
    case 4:
        return "the target delivered no samples in 15 reads in a row; check that the target runs (not halted "
               "or held in reset) and that the probe still reaches it";
    default:
        return QString("the server refused a read request (its reply compared as %1); check the GDB "
                       "server's own log for the reason")
            .arg(code);
    }
}

QString unreadableDescription(const QString& name, uint32_t address, const QString& reply) {
    return QString("the server could not read variable '%1' at 0x%2 (it answered \"%3\"); check that the GDB "
                   "server can read memory while the target runs and that the address lies in target memory")
        .arg(name)
        .arg(address, 8, 16, QChar('0'))
        .arg(reply.left(32));
}
