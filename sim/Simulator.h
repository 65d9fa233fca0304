#pragma once

#include "ElfImage.h"
#include "SharedRam.h"

#include <QObject>
#include <QString>
#include <QStringList>
#include <cstdint>
#include <memory>

// The whole simulated target: checks its inputs, starts the emulator on the shared RAM, waits for the
// firmware to be loaded, then serves clients until shut down.
namespace Sim {

class GdbServer;
class JtagServer;
class QemuHart;
class QemuProcess;

struct SimOptions {
    QString elfPath;
    QString qemuProgram = QStringLiteral("qemu-system-riscv32");
    std::uint16_t port = 3333; // 0: any free port
    QStringList faults;        // values of --fault
    int jtagPort = -1;         // --jtag-port: 0 picks a free one; -1: no JTAG endpoint
};

class Simulator : public QObject {
    Q_OBJECT
public:
    Simulator();
    ~Simulator() override;

    // False with a message, and nothing left running or on disk, when the target cannot be started.
    bool Start(const SimOptions& options, QString* error);
    std::uint16_t Port() const;
    std::uint16_t JtagPort() const; // 0 without one
    // Stops the server and the emulator and removes the shared file. Safe to call twice.
    void Shutdown();

signals:
    // The emulator ended on its own.
    void Failed(const QString& message);

private:
    bool WaitForFirmware(QString* error);

    SharedRam m_ram;
    ElfImage m_elf;
    std::unique_ptr<GdbServer> m_server;
    std::unique_ptr<QemuProcess> m_qemu;
    std::unique_ptr<QemuHart> m_hart;
    std::unique_ptr<JtagServer> m_jtag;
    QString m_debugSocket;
};

// Starts the simulator, prints the ready line, and runs the event loop of the existing
// QCoreApplication until SIGINT/SIGTERM or the emulator's end. Returns the process exit code.
int RunSimulator(const SimOptions& options);

} // namespace Sim
