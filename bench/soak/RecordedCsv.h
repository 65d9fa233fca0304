#pragma once

#include <QString>
#include <cstdint>

// A recording read back line by line: how many frames it holds, and the steps between consecutive frames
// of its time column and of one firmware counter column (a clock of the firmware's own, in microseconds).
//
// A step of either over one and a half sampling intervals passed at least one sampling slot without a frame
// in the file. The time column is the sampler's clock, so its jumps are slots the sampler missed or frames
// lost on the way; the counter is the firmware's, so a counter gap whose time step is regular means only that
// the firmware did not run in between (the emulator stood still), and one with a jump in the time column too
// is a slot missing from the file.
namespace Soak {

struct CsvFigures {
    uint64_t frames = 0;       // whole data lines
    bool cutLine = false;      // the file ends inside a line
    uint64_t unreadable = 0;   // data lines whose time or counter is not a number
    uint64_t timeJumps = 0;    // time steps over 1.5 intervals
    uint64_t slotsPassed = 0;  // sampling slots those steps passed over: round(step / interval) - 1 each
    uint64_t timeBackward = 0; // time steps of 0 or less: a frame repeated or out of order
    uint64_t longestTimeStep = 0;
    uint64_t counterGaps = 0;      // counter steps over 1.5 intervals
    uint64_t gapsWithTimeJump = 0; // ... where the time column jumped too
    uint64_t counterBackward = 0;  // counter steps below 0
    uint64_t longestGap = 0;
    double seconds = 0; // from the first frame's time to the last's
};

class RecordedCsv {
public:
    RecordedCsv(int intervalUs, const QString& counterName);
    // Reads the whole file; false, with the reason, when it cannot be read or has no such counter column.
    bool Read(const QString& path, QString* error);
    const CsvFigures& Figures() const { return m_figures; }

private:
    bool Header(const char* begin, const char* end, QString* error);
    void Line(const char* begin, const char* end);

    const int m_interval;
    const QString m_counterName;
    int m_counterColumn = -1;
    CsvFigures m_figures;
    bool m_havePrevious = false;
    uint64_t m_firstTime = 0;
    uint64_t m_time = 0;
    uint64_t m_counter = 0;
};

} // namespace Soak
