#include "Simulator.h"

#include "FaultPlan.h"
#include "GdbServer.h"
#include "JtagServer.h"
#include "QemuHart.h"
#include "QemuProcess.h"
#include "StopSignals.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QSocketNotifier>
#include <QStandardPaths>
#include <cstdio>
#include <unistd.h>

namespace Sim {

namespace {
constexpr int FirmwareLoadTimeoutMs = 5000;

QString FindProgram(const QString& program) {
    if (program.contains(QLatin1Char('/'))) {
        const QFileInfo info(program);
        return info.isFile() && info.isExecutable() ? info.absoluteFilePath() : QString();
    }
    return QStandardPaths::findExecutable(program);
}
} // namespace

Simulator::Simulator() = default;

Simulator::~Simulator() {
    Shutdown();
}

std::uint16_t Simulator::Port() const {
    return m_server ? m_server->Port() : 0;
}

std::uint16_t Simulator::JtagPort() const {
    return m_jtag ? m_jtag->Port() : 0;
}

bool Simulator::Start(const SimOptions& options, QString* error) {
    FaultPlan faults;
    if (!FaultPlan::Parse(options.faults, &faults, error))
        return false;
    const QString qemu = FindProgram(options.qemuProgram);
    if (qemu.isEmpty()) {
        *error = QStringLiteral("%1 not found (it comes with the Debian package qemu-system-misc)")
                     .arg(options.qemuProgram);
        return false;
    }
    QString reason;
    if (!m_elf.Load(options.elfPath, SharedRam::Base, SharedRam::DefaultSize, &reason)) {
        *error = QStringLiteral("unusable firmware: %1").arg(reason);
        return false;
    }
    // Listening before the emulator starts makes a taken port fail fast, with nothing to undo.
    m_server = std::make_unique<GdbServer>(m_ram, m_elf.Entry(), faults);
    if (!m_server->Listen(options.port, error)) {
        m_server.reset();
        return false;
    }
    const QString name = QStringLiteral("tidewatch-sim-%1-%2").arg(::getpid()).arg(m_server->Port());
    if (options.jtagPort >= 0) {
        // The debug module reaches the hart through the emulator's own stub, on a socket beside the RAM.
        m_hart = std::make_unique<QemuHart>(m_ram);
        m_jtag = std::make_unique<JtagServer>(*m_hart);
        m_debugSocket = QStringLiteral("/dev/shm/%1.debug").arg(name);
        if (!m_jtag->Listen(static_cast<std::uint16_t>(options.jtagPort), error)) {
            Shutdown();
            return false;
        }
    }
    if (!m_ram.Create(QStringLiteral("/dev/shm/") + name, SharedRam::DefaultSize, error)) {
        Shutdown();
        return false;
    }
    m_qemu = std::make_unique<QemuProcess>();
    m_qemu->setStandardOutputFile(QProcess::nullDevice());
    m_qemu->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_qemu->start(qemu, QemuArguments(options.elfPath, m_ram.Path(), m_ram.Size(), name, m_debugSocket));
    if (!m_qemu->waitForStarted(FirmwareLoadTimeoutMs)) {
        *error = QStringLiteral("cannot start %1: %2").arg(qemu, m_qemu->errorString());
        Shutdown();
        return false;
    }
    if (!WaitForFirmware(error) || (m_hart && !m_hart->Connect(m_debugSocket, error))) {
        Shutdown();
        return false;
    }
    if (m_hart)
        QFile::remove(m_debugSocket);
    // Both mappings stay valid without the name; dropping it now leaves nothing behind on any exit.
    m_ram.Unlink();
    connect(m_qemu.get(), QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this,
            [this](int code, QProcess::ExitStatus) {
                emit Failed(QStringLiteral("the emulator ended unexpectedly (exit code %1)").arg(code));
            });
    m_server->Start();
    if (m_jtag)
        m_jtag->Start();
    return true;
}

bool Simulator::WaitForFirmware(QString* error) {
    // The emulator copies the program into RAM at reset; the first loaded bytes showing up in the shared
    // file mean the machine runs on it.
    QByteArray seen(m_elf.ProbeBytes().size(), '\0');
    const QDeadlineTimer deadline(FirmwareLoadTimeoutMs);
    for (;;) {
        m_ram.Read(m_elf.ProbeAddress(), seen.data(), static_cast<std::size_t>(seen.size()));
        if (seen == m_elf.ProbeBytes())
            return true;
        if (StopSignals::Requested()) {
            *error = QStringLiteral("interrupted while starting");
            return false;
        }
        if (deadline.hasExpired()) {
            *error = QStringLiteral("the firmware did not appear in the emulator's RAM within %1 ms")
                         .arg(FirmwareLoadTimeoutMs);
            return false;
        }
        // Doubles as the poll interval: returns early, with the reason, if the emulator quits.
        if (m_qemu->waitForFinished(10) || m_qemu->state() == QProcess::NotRunning) {
            *error =
                QStringLiteral("the emulator quit during start-up (exit code %1)").arg(m_qemu->exitCode());
            return false;
        }
    }
}

void Simulator::Shutdown() {
    if (m_server)
        m_server->Stop();
    m_server.reset();
    m_jtag.reset();
    m_hart.reset();
    if (!m_debugSocket.isEmpty())
        QFile::remove(m_debugSocket);
    if (m_qemu) {
        m_qemu->disconnect(this);
        if (m_qemu->state() != QProcess::NotRunning) {
            m_qemu->terminate();
            if (!m_qemu->waitForFinished(3000)) {
                m_qemu->kill();
                m_qemu->waitForFinished(3000);
            }
        }
        m_qemu.reset();
    }
    m_ram.Close();
}

int RunSimulator(const SimOptions& options) {
    if (!StopSignals::Install()) {
        std::fprintf(stderr, "tidewatch-sim: cannot install signal handlers\n");
        return 1;
    }
    Simulator simulator;
    QString error;
    if (!simulator.Start(options, &error)) {
        std::fprintf(stderr, "tidewatch-sim: %s\n", qPrintable(error));
        return 1;
    }
    if (simulator.JtagPort() != 0) // before the ready line, so that whoever waits for that sees both
        std::printf("tidewatch-sim: JTAG (remote_bitbang) on 127.0.0.1:%u\n",
                    static_cast<unsigned>(simulator.JtagPort()));
    std::printf("tidewatch-sim: listening on 127.0.0.1:%u\n", static_cast<unsigned>(simulator.Port()));
    std::fflush(stdout);

    int exitCode = 0;
    QSocketNotifier stopNotifier(StopSignals::ReadFd(), QSocketNotifier::Read);
    QObject::connect(&stopNotifier, &QSocketNotifier::activated, [] { QCoreApplication::exit(0); });
    QObject::connect(&simulator, &Simulator::Failed, [&exitCode](const QString& message) {
        std::fprintf(stderr, "tidewatch-sim: %s\n", qPrintable(message));
        exitCode = 1;
        QCoreApplication::exit(1);
    });
    if (!StopSignals::Requested())
        QCoreApplication::exec();
    simulator.Shutdown();
    std::fprintf(stderr, "tidewatch-sim: stopped\n");
    return exitCode;
}

} // namespace Sim
