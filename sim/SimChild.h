#pragma once

#include <QByteArray>
#include <QProcess>
#include <QStringList>
#include <cstdint>

// tidewatch-sim started as a child process and waited for until it prints its ready line. For tests,
// benchmarks and tools that need a target.
namespace Sim {

class SimChild {
public:
    ~SimChild();

    // Starts program with arguments ("--port 0" is added unless a port is given) and waits for
    // "tidewatch-sim: listening on 127.0.0.1:PORT". False, with the child's output in Output(), when the
    // child ends or the time runs out first.
    bool Start(const QString& program, const QStringList& arguments, int timeoutMs = 10000);
    std::uint16_t Port() const { return m_port; }
    qint64 Pid() const { return m_process.processId(); }
    // Sends SIGTERM and waits; the exit code, or -1 when the child did not end in time or crashed.
    int Stop(int timeoutMs = 10000);
    // Waits for the child to end by itself; the exit code, or -1 on time-out or a crash.
    int WaitExit(int timeoutMs);
    // Standard output and error so far.
    QByteArray Output();

private:
    QProcess m_process;
    QByteArray m_output;
    std::uint16_t m_port = 0;
};

} // namespace Sim
