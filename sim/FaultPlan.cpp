#include "FaultPlan.h"

namespace Sim {

namespace {
bool ParseCount(const QString& value, const QString& name, int* count) {
    if (!value.startsWith(name + QLatin1Char('=')))
        return false;
    bool ok = false;
    const int n = value.mid(name.size() + 1).toInt(&ok);
    if (!ok || n < 0)
        return false;
    *count = n;
    return true;
}
} // namespace

bool FaultPlan::Parse(const QStringList& values, FaultPlan* plan, QString* error) {
    FaultPlan parsed;
    for (const QString& value : values) {
        if (value == QLatin1String("no-hss"))
            parsed.noHss = true;
        else if (value == QLatin1String("empty-reads"))
            parsed.emptyReads = true;
        else if (value == QLatin1String("nack-writes"))
            parsed.nackWrites = true;
        else if (value == QLatin1String("error-writes"))
            parsed.errorWrites = true;
        else if (!ParseCount(value, QStringLiteral("close-after-reads"), &parsed.closeAfterReads) &&
                 !ParseCount(value, QStringLiteral("silent-after-reads"), &parsed.silentAfterReads)) {
            *error = QStringLiteral("unknown fault '%1'").arg(value);
            return false;
        }
    }
    *plan = parsed;
    return true;
}

QString FaultPlan::Help() {
    return QStringLiteral(
        "Faults (--fault, repeatable; read counts are per connection):\n"
        "  no-hss                 qSeggerHSS:Supported/Start/Read/Stop get an empty reply\n"
        "  empty-reads            every qSeggerHSS:Read answers OK,00000000 and sends no samples\n"
        "  close-after-reads=N    answer N reads, close the connection when the next read arrives\n"
        "  silent-after-reads=N   answer N reads, then send nothing more (no '+', no reply); keep the "
        "socket\n"
        "  nack-writes            answer every M packet with '-' and do not write\n"
        "  error-writes           acknowledge every M packet, do not write, reply E01\n");
}

} // namespace Sim
