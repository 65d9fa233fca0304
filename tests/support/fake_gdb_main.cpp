// A stand-alone fake GDB server with high-speed sampling, for end-to-end tests of the tools.
#include "FakeGdbServer.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <csignal>
#include <cstdio>
#include <unistd.h>

namespace {
volatile std::sig_atomic_t g_stop = 0;
void onSignal(int) {
    g_stop = 1;
}
} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription("Fake GDB server on 127.0.0.1 (an ephemeral port) for tests.");
    parser.addHelpOption();
    QCommandLineOption perRead("samples-per-read", "Samples announced by each read.", "N", "100");
    QCommandLineOption step("stamp-step", "Time-stamp step between samples.", "N", "20");
    QCommandLineOption silentAfter("silent-after-reads", "Fall silent after N reads.", "N", "-1");
    QCommandLineOption closeAfter("close-after-reads", "Close the connection after N reads.", "N", "-1");
    QCommandLineOption noHss("no-hss", "Answer the sampling packets with empty replies.");
    QCommandLineOption refuseWrites("refuse-writes", "Answer memory writes with E01.");
    parser.addOptions({perRead, step, silentAfter, closeAfter, noHss, refuseWrites});
    parser.process(app);

    FakeGdbServer server;
    server.setSamplesPerRead(parser.value(perRead).toUInt());
    server.setStamps(0, parser.value(step).toUInt());
    server.setSilentAfterReads(parser.value(silentAfter).toInt());
    server.setCloseAfterReads(parser.value(closeAfter).toInt());
    const bool hssOff = parser.isSet(noHss);
    const bool writesOff = parser.isSet(refuseWrites);
    server.setHandler([hssOff, writesOff](const std::string& command, FakeGdbServer::Reply& reply) {
        if (hssOff && command.rfind("qSeggerHSS:", 0) == 0 && command != "qSeggerHSS:Stop") {
            reply.chunks.push_back(FakeGdbServer::frame(""));
            return true;
        }
        if (writesOff && command.rfind("M", 0) == 0) {
            reply.chunks.push_back(FakeGdbServer::frame("E01"));
            return true;
        }
        return false;
    });

    std::signal(SIGINT, onSignal);
    std::signal(SIGTERM, onSignal);
    std::printf("fake-gdb: listening on 127.0.0.1:%u\n", server.port());
    std::fflush(stdout);
    while (!g_stop)
        ::usleep(50 * 1000);
    return 0;
}
