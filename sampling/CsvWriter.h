#pragma once

#include "FrameQueue.h"

#include <QStringList>
#include <cstdio>
#include <string>

// Writes frames as CSV lines: the frame's time, then each value read as the chart reads it
// (readSample): the integer types as whole numbers, the others as the shortest float text that reads
// back exactly.
class CsvWriter {
public:
    explicit CsvWriter(std::FILE* out) : m_out(out) {}
    void writeHeader(const QStringList& names);
    void writeFrame(const SampleFrame& frame);
    // Formats one frame line (with its newline) into `line`; exposed for tests.
    static void formatFrame(const SampleFrame& frame, std::string& line);
    bool failed() const { return std::ferror(m_out) != 0; }
    void flush() { std::fflush(m_out); }

private:
    std::FILE* m_out;
    std::string m_line;
};
