#pragma once

#include <QProcess>
#include <functional>

class QObject;

// How long Tidewatch and the debug tools it starts live: the end of the program asked for from outside,
// and tools that end with it. Windows-only behaviour stays in PlatformLifetime.cpp.
namespace Platform {

// Calls `onStop` on the calling thread's event loop each time SIGTERM or SIGINT arrives (a logout, a
// `kill`, Ctrl+C in the terminal), so that the program can close as its window's close does. The watch is a
// child of `parent`. Windows: a GUI program gets no such signals (the session's end reaches its windows as
// close events), so nothing is watched and null is returned.
QObject* WatchStopSignals(QObject* parent, std::function<void()> onStop);

// A debug tool's process, ended by the system when Tidewatch ends in any way, a kill -9 too, so that no
// server is left holding the target's port. Linux: SIGTERM, so that a server still ends its own children
// (tidewatch-sim its emulator, openocd its probe). Windows: a plain process, ended by image name at exit.
class ToolProcess : public QProcess {
public:
    explicit ToolProcess(QObject* parent = nullptr);

protected:
    void setupChildProcess() override;

private:
    qint64 m_parentPid;
};

} // namespace Platform
