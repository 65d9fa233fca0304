#pragma once

#include <QByteArray>
#include <QString>
#include <cstdint>

// What the simulator needs from a firmware file: that it is a 32-bit RISC-V executable that fits the
// RAM, its entry point, one loaded chunk to recognise it in RAM, and symbol addresses.
namespace Sim {

class ElfImage {
public:
    // Reads and checks the file; on failure error says why in the user's terms.
    bool Load(const QString& path, std::uint64_t ramBase, std::uint64_t ramSize, QString* error);

    std::uint64_t Entry() const { return m_entry; }
    // Start of the first loaded segment with file contents, and up to 64 of its bytes.
    std::uint64_t ProbeAddress() const { return m_probeAddress; }
    const QByteArray& ProbeBytes() const { return m_probeBytes; }

    // Address of a global symbol, or 0 when the file has no such symbol.
    std::uint64_t SymbolAddress(const QByteArray& name) const;

private:
    QString m_path;
    std::uint64_t m_entry = 0;
    std::uint64_t m_probeAddress = 0;
    QByteArray m_probeBytes;
};

} // namespace Sim
