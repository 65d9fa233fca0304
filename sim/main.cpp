// tidewatch-sim: a RISC-V target without hardware, served over the GDB remote protocol.
#include "FaultPlan.h"
#include "FirmwareLocator.h"
#include "Simulator.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <cstdio>

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tidewatch-sim"));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral(
            "Runs a bare-metal RV32 firmware in QEMU and serves it over the GDB remote protocol on "
            "127.0.0.1, with high-speed sampling (qSeggerHSS) done here, so the firmware never "
            "stops.\n\n"
            "Sampling: records are a 32-bit little-endian time stamp (microseconds of the monotonic "
            "clock since Start) and each block's bytes. A Read before Start or after Stop answers "
            "E01; a Start with a block outside memory answers E02; m/M outside memory answer E01.\n\n"
            "Memory: physical RAM from 0x80000000, and the firmware's data window 0x20000000..0x203fffff, "
            "which its page table maps onto RAM at 0x80400000 (as the demo firmware does).\n\n"
            "JTAG (--jtag-port): openocd's remote_bitbang protocol, a RISC-V debug transport module "
            "(IDCODE 0x1e5a0f7d, 5-bit IR) and a debug module of RISC-V External Debug Support 0.13 with "
            "system bus access (8/16/32 bits, auto-increment, read on address and on data), for stock "
            "openocd (examples/openocd/tidewatch-sim.cfg). Halt, resume, single step and reset (ndmreset) "
            "pause, continue, step and reset the emulator; an ebreak the debugger writes into memory halts "
            "the hart there. Registers are the emulator's hart's own (GPRs, FPRs, CSRs), readable while it "
            "runs (the emulator pauses for each read), writable while it is halted, except: dcsr is kept by "
            "the simulator (its cause, step and ebreak bits; prv is the hart's privilege level), dpc is the "
            "pc, and there are no trigger or dscratch registers (so no hardware breakpoints or watchpoints), "
            "no program buffer and no abstract memory access. Memory outside the shared RAM (boot ROM, "
            "devices) pauses the emulator for each access. Other writes into code that has already run may "
            "not take effect, as the emulator keeps what it translated.\n\n") +
        Sim::FaultPlan::Help());
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("elf"),
                                 QStringLiteral("Firmware ELF (default: the demo firmware)."),
                                 QStringLiteral("[elf]"));
    const QCommandLineOption portOption(
        QStringLiteral("port"), QStringLiteral("TCP port on 127.0.0.1 (default 3333; 0 picks a free one)."),
        QStringLiteral("port"), QStringLiteral("3333"));
    const QCommandLineOption qemuOption(
        QStringLiteral("qemu"), QStringLiteral("Emulator program (default qemu-system-riscv32 on PATH)."),
        QStringLiteral("program"), QStringLiteral("qemu-system-riscv32"));
    const QCommandLineOption faultOption(QStringLiteral("fault"),
                                         QStringLiteral("Inject a fault (see the list above); repeatable."),
                                         QStringLiteral("mode"));
    const QCommandLineOption noHssOption(
        QStringLiteral("no-hss"),
        QStringLiteral("Answer every qSeggerHSS packet with an empty reply, as a server without high-speed "
                       "sampling does (the same as --fault no-hss); m and M still work."));
    const QCommandLineOption jtagOption(
        QStringLiteral("jtag-port"),
        QStringLiteral(
            "Also serve a JTAG debug module (openocd remote_bitbang) on this TCP port on 127.0.0.1 "
            "(0 picks a free one)."),
        QStringLiteral("port"));
    parser.addOptions({portOption, qemuOption, faultOption, noHssOption, jtagOption});
    parser.process(app);

    Sim::SimOptions options;
    bool portOk = false;
    const uint port = parser.value(portOption).toUInt(&portOk);
    if (!portOk || port > 65535) {
        std::fprintf(stderr, "tidewatch-sim: invalid port '%s'\n", qPrintable(parser.value(portOption)));
        return 2;
    }
    options.port = static_cast<std::uint16_t>(port);
    if (parser.isSet(jtagOption)) {
        const uint jtagPort = parser.value(jtagOption).toUInt(&portOk);
        if (!portOk || jtagPort > 65535) {
            std::fprintf(stderr, "tidewatch-sim: invalid JTAG port '%s'\n",
                         qPrintable(parser.value(jtagOption)));
            return 2;
        }
        options.jtagPort = static_cast<int>(jtagPort);
    }
    options.qemuProgram = parser.value(qemuOption);
    options.faults = parser.values(faultOption);
    if (parser.isSet(noHssOption))
        options.faults << QStringLiteral("no-hss");
    const QStringList positional = parser.positionalArguments();
    options.elfPath = positional.isEmpty() ? Sim::DefaultFirmwarePath(QCoreApplication::applicationDirPath())
                                           : positional.first();
    if (options.elfPath.isEmpty()) {
        std::fprintf(stderr, "tidewatch-sim: the demo firmware demo.elf was not found; name an ELF file\n");
        return 2;
    }
    return Sim::RunSimulator(options);
}
