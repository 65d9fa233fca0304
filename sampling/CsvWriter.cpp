#include "CsvWriter.h"

#include "SampleValue.h"

#include <charconv>

void CsvWriter::writeHeader(const QStringList& names) {
    const QByteArray header = ("time," + names.join(',') + "\n").toUtf8();
    std::fwrite(header.constData(), 1, static_cast<size_t>(header.size()), m_out);
}

void CsvWriter::formatFrame(const SampleFrame& frame, const std::vector<int32_t>& typeCodes,
                            std::string& line, const uint64_t* origin) {
    char buffer[32 + kMaxVars * (kSampleTextMax + 1)];
    char* at = origin == nullptr
                   ? std::to_chars(buffer, buffer + 32, frame.time).ptr
                   : std::to_chars(buffer, buffer + 32, static_cast<int64_t>(frame.time - *origin)).ptr;
    for (int i = 0; i < frame.count && i < kMaxVars; ++i) {
        *at++ = ',';
        at = formatSample(at, frame.value[i],
                          i < static_cast<int>(typeCodes.size()) ? typeCodes[i] : kCodeNone);
    }
    *at++ = '\n';
    line.assign(buffer, static_cast<size_t>(at - buffer));
}

void CsvWriter::writeFrame(const SampleFrame& frame) {
    formatFrame(frame, m_codes, m_line, m_relative ? &m_origin : nullptr);
    std::fwrite(m_line.data(), 1, m_line.size(), m_out);
}
