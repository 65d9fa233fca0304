#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVector>
#include <cstdint>

// What the two soak runs share: their options, the figures each gathers and how they are printed.
namespace Soak {

struct Options {
    double seconds = 600;
    int intervalUs = 10;
    bool capture = true;
    bool window = true;
    QString outDir;
    double everySeconds = 60; // a progress line this often
};

// The demo firmware's globals a run samples; the first is the counter whose steps are checked.
QStringList Variables();
inline QString CounterName() {
    return QStringLiteral("uptime_us");
}

// One progress line: what had arrived, been written and was resident at that moment of the run, and what
// happened since the line before.
struct Progress {
    static constexpr uint64_t Unknown = ~uint64_t(0);
    double seconds = 0;
    uint64_t received = Unknown;
    uint64_t recorded = 0;
    double residentMb = -1;
    double cpuPercent = -1; // of one core, by the process
    double load = -1;       // the machine's load average over the last minute
    double fpsMean = -1;    // the window's "FPS: %0" label, read four times a second
    double fpsLowest = -1;
    double paintsPerSecond = -1; // paints of the curves
    double cpuMsPerBatch = -1;   // the process's CPU per batch the display drew
};

// The simulator's own account of its sampling session, from the line it prints at the session's end.
struct SimFigures {
    bool found = false;
    uint64_t taken = 0;
    uint64_t dropped = 0; // its buffer was full: the client did not read fast enough
    uint64_t missed = 0;  // its thread woke too late for these slots
    uint64_t sent = 0;    // records handed to the client
};
SimFigures ParseSimOutput(const QByteArray& output);

struct RunFigures {
    QString title;
    bool window = false;
    double seconds = 0; // from Start to Stop
    uint64_t received = 0;
    QString receivedHow;
    uint64_t recorderWritten = 0;
    uint64_t recorderLost = 0;
    QString file;
    SimFigures sim;
    double residentStart = -1;  // MB, once the first frame is in
    double residentFilled = -1; // once the ring has taken 1,000,000 frames
    double filledAt = -1;       // seconds into the run
    double residentEnd = -1;
    QVector<Progress> progress;
    double cpuPercent = -1; // of one core, by the process, over the run
    QString failure;        // why the run did not complete, if it did not

    // One reading of the process's memory `resident` (MB) with `frames` taken in so far, `seconds` in.
    void NoteResident(double resident, uint64_t frames, double seconds);
};

// VmRSS of a process in MB from /proc/PID/status; -1 when it cannot be read.
double ResidentMb(qint64 pid);
// User and system CPU time of a process in seconds from /proc/PID/stat; -1 when it cannot be read.
double CpuSeconds(qint64 pid);
// The machine's load average over the last minute; -1 when it cannot be read.
double LoadAverage();
// The number of an "FPS: %0" text; -1 without one.
double FpsOf(const QString& label);
// Runs the extractor on the demo firmware, leaving elf.json in `dir`.
bool ListDemoVariables(const QString& dir, QString* error);
// The demo firmware and the programs a run starts.
QString DemoElf();
QString SimProgram();
QString CaptureProgram();

void PrintProgressHeading(bool window);
void PrintProgress(const Progress& p, bool window);
// Reads the recording back and prints the run's figures. 0 when it was read and nothing was lost between
// the simulator and the file, 1 otherwise.
int PrintReport(const Options& options, const RunFigures& run);

// The two runs; each prints its progress and its report and returns as PrintReport does (2: it did not run).
int RunCapture(const Options& options);
int RunWindow(const Options& options);

} // namespace Soak
