#pragma once

#include <QProcess>
#include <QStringList>
#include <cstddef>

// The emulator child: a bare-metal RV32 'virt' machine whose RAM is the shared file. The child is
// killed by the kernel if the simulator dies without cleaning up.
namespace Sim {

// Arguments for qemu-system-riscv32; name marks the process as this instance's. With debugSocket the
// emulator's GDB stub listens on that local socket.
QStringList QemuArguments(const QString& elf, const QString& ramPath, std::size_t ramSize,
                          const QString& name, const QString& debugSocket = QString());

class QemuProcess : public QProcess {
public:
    using QProcess::QProcess;

protected:
    void setupChildProcess() override;
};

} // namespace Sim
