#include "RecordedCsv.h"

#include <QFile>
#include <QStringList>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace Soak {

namespace {

// The whole number at the start of [begin, end), up to a comma; false when there is none.
bool Number(const char* begin, const char* end, int64_t* value) {
    if (begin == end || *begin == ',')
        return false;
    char text[32];
    const std::size_t length = std::min<std::size_t>(static_cast<std::size_t>(end - begin), sizeof text - 1);
    std::memcpy(text, begin, length);
    text[length] = '\0';
    char* stop = nullptr;
    errno = 0;
    // Unsigned unless negative: a 64-bit counter may use the top bit.
    if (text[0] == '-')
        *value = std::strtoll(text, &stop, 10);
    else
        *value = static_cast<int64_t>(std::strtoull(text, &stop, 10));
    return errno == 0 && stop != text && (*stop == ',' || *stop == '\0');
}

// The start of field `column` of the line, or nullptr.
const char* Field(const char* begin, const char* end, int column) {
    for (int i = 0; i < column; ++i) {
        begin = static_cast<const char*>(std::memchr(begin, ',', static_cast<std::size_t>(end - begin)));
        if (begin == nullptr)
            return nullptr;
        ++begin;
    }
    return begin;
}

} // namespace

RecordedCsv::RecordedCsv(int intervalUs, const QString& counterName)
    : m_interval(intervalUs), m_counterName(counterName) {}

bool RecordedCsv::Read(const QString& path, QString* error) {
    m_figures = CsvFigures();
    m_havePrevious = false;
    m_counterColumn = -1;
    std::FILE* file = std::fopen(QFile::encodeName(path).constData(), "rb");
    if (file == nullptr) {
        *error = QStringLiteral("cannot read %1").arg(path);
        return false;
    }
    std::vector<char> chunk(size_t(8) << 20);
    std::string carried; // the start of a line the chunk before ended in
    bool header = true;
    bool ok = true;
    for (;;) {
        const std::size_t got = std::fread(chunk.data(), 1, chunk.size(), file);
        if (got == 0)
            break;
        const char* at = chunk.data();
        const char* const end = at + got;
        while (ok && at < end) {
            const char* newline =
                static_cast<const char*>(std::memchr(at, '\n', static_cast<std::size_t>(end - at)));
            if (newline == nullptr) {
                carried.append(at, end);
                break;
            }
            const char* lineBegin = at;
            const char* lineEnd = newline;
            if (!carried.empty()) {
                carried.append(at, newline);
                lineBegin = carried.data();
                lineEnd = carried.data() + carried.size();
            }
            if (header) {
                ok = Header(lineBegin, lineEnd, error);
                header = false;
            } else {
                Line(lineBegin, lineEnd);
            }
            carried.clear();
            at = newline + 1;
        }
        if (!ok)
            break;
    }
    std::fclose(file);
    if (ok && header) {
        *error = QStringLiteral("%1 has no header line").arg(path);
        ok = false;
    }
    m_figures.cutLine = !carried.empty();
    m_figures.seconds = m_figures.frames > 1 ? double(m_time - m_firstTime) / 1e6 : 0.0;
    return ok;
}

bool RecordedCsv::Header(const char* begin, const char* end, QString* error) {
    const QStringList names = QString::fromUtf8(begin, static_cast<int>(end - begin)).trimmed().split(',');
    m_counterColumn = names.indexOf(m_counterName);
    if (m_counterColumn <= 0) {
        *error = QStringLiteral("no column %1 in the header '%2'").arg(m_counterName, names.join(','));
        return false;
    }
    return true;
}

void RecordedCsv::Line(const char* begin, const char* end) {
    ++m_figures.frames;
    int64_t time = 0, counter = 0;
    const char* counterField = Field(begin, end, m_counterColumn);
    if (!Number(begin, end, &time) || counterField == nullptr || !Number(counterField, end, &counter)) {
        ++m_figures.unreadable;
        m_havePrevious = false; // the steps start again after it
        return;
    }
    const uint64_t t = static_cast<uint64_t>(time), c = static_cast<uint64_t>(counter);
    if (m_figures.frames == 1)
        m_firstTime = t;
    if (m_havePrevious) {
        // Steps in microseconds; a jump is more than one and a half intervals.
        const int64_t timeStep = static_cast<int64_t>(t - m_time);
        const int64_t counterStep = static_cast<int64_t>(c - m_counter);
        const int64_t jump = m_interval + m_interval / 2;
        const bool timeJumped = timeStep > jump;
        if (timeStep <= 0)
            ++m_figures.timeBackward;
        else if (static_cast<uint64_t>(timeStep) > m_figures.longestTimeStep)
            m_figures.longestTimeStep = static_cast<uint64_t>(timeStep);
        if (timeJumped) {
            ++m_figures.timeJumps;
            m_figures.slotsPassed += static_cast<uint64_t>((timeStep + m_interval / 2) / m_interval - 1);
        }
        if (counterStep < 0) {
            ++m_figures.counterBackward;
        } else if (counterStep > jump) {
            ++m_figures.counterGaps;
            m_figures.gapsWithTimeJump += timeJumped ? 1 : 0;
            if (static_cast<uint64_t>(counterStep) > m_figures.longestGap)
                m_figures.longestGap = static_cast<uint64_t>(counterStep);
        }
    }
    m_havePrevious = true;
    m_time = t;
    m_counter = c;
}

} // namespace Soak
