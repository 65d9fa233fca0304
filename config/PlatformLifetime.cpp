#include "PlatformLifetime.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#ifndef _WIN32
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>
#endif

namespace Platform {

#ifdef _WIN32

QObject* WatchStopSignals(QObject*, std::function<void()>) {
    return nullptr;
}

ToolProcess::ToolProcess(QObject* parent)
    : QProcess(parent), m_parentPid(QCoreApplication::applicationPid()) {}

void ToolProcess::setupChildProcess() {}

#else

namespace {

// The signal handler may only write: the byte wakes the notifier on the event loop.
int g_stopPipe[2] = {-1, -1};

void OnStopSignal(int) {
    const int saved = errno;
    const char byte = 's';
    [[maybe_unused]] const ssize_t written = ::write(g_stopPipe[1], &byte, 1);
    errno = saved;
}

} // namespace

QObject* WatchStopSignals(QObject* parent, std::function<void()> onStop) {
    if (g_stopPipe[0] < 0 && ::pipe2(g_stopPipe, O_CLOEXEC | O_NONBLOCK) != 0)
        return nullptr;
    auto* notifier = new QSocketNotifier(g_stopPipe[0], QSocketNotifier::Read, parent);
    QObject::connect(notifier, &QSocketNotifier::activated, notifier, [onStop = std::move(onStop)] {
        char bytes[16];
        while (::read(g_stopPipe[0], bytes, sizeof bytes) > 0) {
        }
        onStop();
    });
    struct sigaction action = {};
    action.sa_handler = OnStopSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGTERM, &action, nullptr);
    ::sigaction(SIGINT, &action, nullptr);
    return notifier;
}

ToolProcess::ToolProcess(QObject* parent)
    : QProcess(parent), m_parentPid(QCoreApplication::applicationPid()) {}

// Runs in the child between fork and exec: only async-signal-safe calls. The request is tied to the thread
// that starts the tool, so tools are started from the GUI thread, which lives as long as the program.
void ToolProcess::setupChildProcess() {
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    // Tidewatch ended before the request was made: nothing would end the tool later.
    if (::getppid() != static_cast<pid_t>(m_parentPid))
        ::_exit(127);
}

#endif

} // namespace Platform
