#include "QemuProcess.h"

#include <csignal>
#include <sys/prctl.h>

namespace Sim {

QStringList QemuArguments(const QString& elf, const QString& ramPath, std::size_t ramSize,
                          const QString& name, const QString& debugSocket) {
    const QString size = QStringLiteral("%1M").arg(ramSize / (1024 * 1024));
    // The backend must be exactly as large as the machine's RAM, or the emulator refuses it.
    QStringList arguments{
        QStringLiteral("-name"),
        name,
        QStringLiteral("-M"),
        QStringLiteral("virt,memory-backend=mem"),
        QStringLiteral("-m"),
        size,
        QStringLiteral("-object"),
        QStringLiteral("memory-backend-file,id=mem,size=%1,mem-path=%2,share=on").arg(size, ramPath),
        QStringLiteral("-bios"),
        QStringLiteral("none"),
        QStringLiteral("-kernel"),
        elf,
        QStringLiteral("-display"),
        QStringLiteral("none"),
        QStringLiteral("-serial"),
        QStringLiteral("none"),
        QStringLiteral("-monitor"),
        QStringLiteral("none")};
    if (!debugSocket.isEmpty())
        arguments << QStringLiteral("-chardev")
                  << QStringLiteral("socket,id=debug,path=%1,server=on,wait=off").arg(debugSocket)
                  << QStringLiteral("-gdb") << QStringLiteral("chardev:debug");
    return arguments;
}

void QemuProcess::setupChildProcess() {
    // Runs in the child between fork and exec.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
}

} // namespace Sim
