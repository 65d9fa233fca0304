#pragma once

#include "TargetMemoryMap.h"

#include <QString>
#include <cstddef>
#include <cstdint>
#include <shared_mutex>

// The guest's RAM, shared with the emulator through a file in /dev/shm: offset 0 is guest physical
// address Base. Every address taken here is a target address, placed in the file by TargetMemoryMap, so
// the globals' addresses of the data window work as well as physical ones. Host-side reads and writes
// never stop the guest; they take a reader/writer lock only among the host's own threads.
namespace Sim {

class SharedRam {
public:
    static constexpr std::uint64_t Base = TargetMemoryMap::RamBase;
    static constexpr std::size_t DefaultSize = 128u * 1024u * 1024u;

    SharedRam() = default;
    ~SharedRam();
    SharedRam(const SharedRam&) = delete;
    SharedRam& operator=(const SharedRam&) = delete;

    // Creates the file (it must not exist yet), sizes and maps it. On failure error says why.
    bool Create(const QString& path, std::size_t size, QString* error);
    // Removes the file name; the mapping (ours and the emulator's) stays valid.
    void Unlink();
    // Unmaps and removes the file; also done by the destructor.
    void Close();

    const QString& Path() const { return m_path; }
    std::size_t Size() const { return m_size; }
    // True when [address, address + length) is target memory backed by the file.
    bool Contains(std::uint64_t address, std::uint64_t length) const;

    bool Read(std::uint64_t address, void* destination, std::size_t length) const;
    bool Write(std::uint64_t address, const void* source, std::size_t length);

    // Direct pointer to [address, address + length) for callers that copy several ranges under one
    // ReadLock; nullptr when Contains would say false.
    const unsigned char* At(std::uint64_t address, std::uint64_t length) const;
    std::shared_lock<std::shared_mutex> ReadLock() const {
        return std::shared_lock<std::shared_mutex>(m_lock);
    }

private:
    bool Offset(std::uint64_t address, std::uint64_t length, std::uint64_t* offset) const;

    QString m_path;
    bool m_linked = false;
    unsigned char* m_data = nullptr;
    std::size_t m_size = 0;
    mutable std::shared_mutex m_lock;
};

} // namespace Sim
