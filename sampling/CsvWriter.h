#pragma once

#include "FrameQueue.h"

#include <QStringList>
#include <cstdio>
#include <string>
#include <vector>

// Writes frames as CSV lines: the frame's time, then each value as the value cell shows it
// (formatSample): whole numbers with every digit, floats and doubles as their shortest exact text.
class CsvWriter {
public:
    // `typeCodes` says how each column's slot reads (SampleValue.h), one per variable in frame order.
    CsvWriter(std::FILE* out, std::vector<int32_t> typeCodes) : m_out(out), m_codes(std::move(typeCodes)) {}
    void writeHeader(const QStringList& names);
    void writeFrame(const SampleFrame& frame);
    // From now on the time column is the distance from this time, negative before it (a triggered
    // capture counts from its trigger sample).
    void setTimeOrigin(uint64_t origin) {
        m_origin = origin;
        m_relative = true;
    }
    // Formats one frame line (with its newline) into `line`; exposed for tests.
    static void formatFrame(const SampleFrame& frame, const std::vector<int32_t>& typeCodes,
                            std::string& line, const uint64_t* origin = nullptr);
    bool failed() const { return std::ferror(m_out) != 0; }
    void flush() { std::fflush(m_out); }

private:
    std::FILE* m_out;
    std::vector<int32_t> m_codes;
    std::string m_line;
    uint64_t m_origin = 0;
    bool m_relative = false;
};
