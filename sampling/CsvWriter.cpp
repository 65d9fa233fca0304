#include "CsvWriter.h"

#include "SampleValue.h"

#include <charconv>

void CsvWriter::writeHeader(const QStringList& names) {
    const QByteArray header = ("time," + names.join(',') + "\n").toUtf8();
    std::fwrite(header.constData(), 1, static_cast<size_t>(header.size()), m_out);
}

void CsvWriter::formatFrame(const SampleFrame& frame, std::string& line) {
    char buffer[64 + kMaxVars * 32];
    char* at = buffer;
    char* const end = buffer + sizeof buffer;
    at = std::to_chars(at, end, frame.time).ptr;
    for (int i = 0; i < frame.count && i < kMaxVars; ++i) {
        *at++ = ',';
        const SampleReading reading = readSample(frame.value[i], frame.typeCode[i]);
        at = reading.whole ? std::to_chars(at, end, reading.integer).ptr
                           : std::to_chars(at, end, reading.real).ptr;
    }
    *at++ = '\n';
    line.assign(buffer, static_cast<size_t>(at - buffer));
}

void CsvWriter::writeFrame(const SampleFrame& frame) {
    formatFrame(frame, m_line);
    std::fwrite(m_line.data(), 1, m_line.size(), m_out);
}
