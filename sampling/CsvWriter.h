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
    // The same, added to the end of `text`.
    static void appendFrame(const SampleFrame& frame, const std::vector<int32_t>& typeCodes,
                            std::string& text, const uint64_t* origin = nullptr);
    // "time,NAME1,...", with its newline.
    static QByteArray headerLine(const QStringList& names);
    // The frame with the value of slot slotOf[i] in column i (0 for a slot the frame lacks): a file's
    // columns follow the table's rows, not the order the session sampled in.
    static void selectColumns(const SampleFrame& frame, const std::vector<int>& slotOf, SampleFrame& out);
    // How each such column reads: the type code of its slot in the session's watch list.
    static std::vector<int32_t> columnCodes(const std::vector<int>& slotOf);
    bool failed() const { return std::ferror(m_out) != 0; }
    void flush() { std::fflush(m_out); }

private:
    std::FILE* m_out;
    std::vector<int32_t> m_codes;
    std::string m_line;
    uint64_t m_origin = 0;
    bool m_relative = false;
};
