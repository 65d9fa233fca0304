#include "StopSignals.h"

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace StopSignals {

namespace {
volatile std::sig_atomic_t g_requested = 0;
int g_pipe[2] = {-1, -1};

void OnSignal(int) {
    g_requested = 1;
    const char byte = 's';
    [[maybe_unused]] const ssize_t written = ::write(g_pipe[1], &byte, 1); // async-signal-safe
}
} // namespace

bool Install() {
    if (g_pipe[0] >= 0)
        return true;
    if (::pipe2(g_pipe, O_CLOEXEC | O_NONBLOCK) != 0)
        return false;
    struct sigaction action = {};
    action.sa_handler = OnSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGINT, &action, nullptr);
    ::sigaction(SIGTERM, &action, nullptr);
    return true;
}

int ReadFd() {
    return g_pipe[0];
}

bool Requested() {
    return g_requested != 0;
}

void Reset() {
    g_requested = 0;
    char buffer[16];
    while (g_pipe[0] >= 0 && ::read(g_pipe[0], buffer, sizeof buffer) > 0) {
    }
}

} // namespace StopSignals
