#include "HssRequest.h"

#include <QList>
#include <cctype>

namespace Sim {

namespace {
bool ParseHex(const QByteArray& text, std::uint64_t limit, std::uint64_t* value) {
    if (text.isEmpty() || text.size() > 16)
        return false;
    bool ok = false;
    const qulonglong number = text.toULongLong(&ok, 16);
    // toULongLong also takes a "0x" prefix and blanks; the wire format has neither.
    for (char c : text) {
        if (!std::isxdigit(static_cast<unsigned char>(c)))
            return false;
    }
    if (!ok || number > limit)
        return false;
    *value = number;
    return true;
}
} // namespace

std::size_t HssStart::RecordSize() const {
    std::size_t size = 4;
    for (const HssBlock& block : blocks)
        size += block.size;
    return size;
}

bool ParseHssStart(const QByteArray& arguments, HssStart* start) {
    const QList<QByteArray> fields = arguments.split(',');
    if (fields.size() < 3)
        return false;
    std::uint64_t flags = 0, period = 0, count = 0;
    if (!ParseHex(fields[0], UINT32_MAX, &flags) || !ParseHex(fields[1], UINT32_MAX, &period) ||
        !ParseHex(fields[2], MaxHssBlocks, &count) || period == 0)
        return false;
    if (static_cast<std::uint64_t>(fields.size()) != 3 + 3 * count)
        return false;
    HssStart parsed;
    parsed.flags = static_cast<std::uint32_t>(flags);
    parsed.periodUs = static_cast<std::uint32_t>(period);
    for (std::uint64_t i = 0; i < count; ++i) {
        std::uint64_t address = 0, size = 0, blockFlags = 0;
        const int at = static_cast<int>(3 + 3 * i);
        if (!ParseHex(fields[at], UINT64_MAX, &address) ||
            !ParseHex(fields[at + 1], MaxHssBlockSize, &size) ||
            !ParseHex(fields[at + 2], UINT32_MAX, &blockFlags) || size == 0)
            return false;
        parsed.blocks.push_back(
            {address, static_cast<std::uint32_t>(size), static_cast<std::uint32_t>(blockFlags)});
    }
    *start = std::move(parsed);
    return true;
}

bool ParseHssRead(const QByteArray& arguments, std::uint32_t* maxSamples) {
    std::uint64_t value = 0;
    if (!ParseHex(arguments, UINT32_MAX, &value))
        return false;
    *maxSamples = static_cast<std::uint32_t>(value);
    return true;
}

} // namespace Sim

namespace Sim {
QByteArray FormatHssStart(const HssStart& start) {
    QByteArray text = "qSeggerHSS:Start:" + QByteArray::number(start.flags, 16) + ',' +
                      QByteArray::number(start.periodUs, 16) + ',' +
                      QByteArray::number(static_cast<qulonglong>(start.blocks.size()), 16);
    for (const HssBlock& block : start.blocks)
        text += ',' + QByteArray::number(static_cast<qulonglong>(block.address), 16).rightJustified(16, '0') +
                ',' + QByteArray::number(block.size, 16) + ',' + QByteArray::number(block.flags, 16);
    return text;
}
} // namespace Sim
