#include "CsvWriter.h"

#include "SampleValue.h"
#include "WatchList.h"

#include <algorithm>
#include <charconv>

QByteArray CsvWriter::headerLine(const QStringList& names) {
    return ("time," + names.join(',') + "\n").toUtf8();
}

void CsvWriter::writeHeader(const QStringList& names) {
    const QByteArray header = headerLine(names);
    std::fwrite(header.constData(), 1, static_cast<size_t>(header.size()), m_out);
}

void CsvWriter::selectColumns(const SampleFrame& frame, const std::vector<int>& slotOf, SampleFrame& out) {
    out.time = frame.time;
    out.count = static_cast<int32_t>(std::min<size_t>(slotOf.size(), kMaxVars));
    for (int i = 0; i < out.count; ++i)
        out.value[i] = slotOf[i] >= 0 && slotOf[i] < frame.count ? frame.value[slotOf[i]] : 0;
}

std::vector<int32_t> CsvWriter::columnCodes(const std::vector<int>& slotOf) {
    const WatchList& watch = watchList();
    std::vector<int32_t> codes;
    for (const int slot : slotOf)
        codes.push_back(slot >= 0 && slot < watch.count ? watch.typeCode[slot] : kCodeNone);
    return codes;
}

void CsvWriter::formatFrame(const SampleFrame& frame, const std::vector<int32_t>& typeCodes,
                            std::string& line, const uint64_t* origin) {
    line.clear();
    appendFrame(frame, typeCodes, line, origin);
}

void CsvWriter::appendFrame(const SampleFrame& frame, const std::vector<int32_t>& typeCodes,
                            std::string& text, const uint64_t* origin) {
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
    text.append(buffer, static_cast<size_t>(at - buffer));
}

void CsvWriter::writeFrame(const SampleFrame& frame) {
    formatFrame(frame, m_codes, m_line, m_relative ? &m_origin : nullptr);
    std::fwrite(m_line.data(), 1, m_line.size(), m_out);
}
