#include "SharedRam.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <sys/mman.h>
#include <unistd.h>

namespace Sim {

SharedRam::~SharedRam() {
    Close();
}

bool SharedRam::Create(const QString& path, std::size_t size, QString* error) {
    Close();
    const QByteArray native = path.toLocal8Bit();
    const int fd = ::open(native.constData(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0) {
        *error =
            QStringLiteral("cannot create %1: %2").arg(path, QString::fromLocal8Bit(std::strerror(errno)));
        return false;
    }
    m_path = path;
    m_linked = true;
    if (::ftruncate(fd, static_cast<off_t>(size)) != 0) {
        *error = QStringLiteral("cannot size %1: %2").arg(path, QString::fromLocal8Bit(std::strerror(errno)));
        ::close(fd);
        Close();
        return false;
    }
    void* map = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    ::close(fd);
    if (map == MAP_FAILED) {
        *error = QStringLiteral("cannot map %1: %2").arg(path, QString::fromLocal8Bit(std::strerror(errno)));
        Close();
        return false;
    }
    m_data = static_cast<unsigned char*>(map);
    m_size = size;
    return true;
}

void SharedRam::Unlink() {
    if (m_linked) {
        ::unlink(m_path.toLocal8Bit().constData());
        m_linked = false;
    }
}

void SharedRam::Close() {
    if (m_data) {
        ::munmap(m_data, m_size);
        m_data = nullptr;
        m_size = 0;
    }
    Unlink();
}

bool SharedRam::Contains(std::uint64_t address, std::uint64_t length) const {
    return At(address, length) != nullptr;
}

bool SharedRam::Offset(std::uint64_t address, std::uint64_t length, std::uint64_t* offset) const {
    return m_data && TargetMemoryMap(m_size).ToOffset(address, length, offset);
}

const unsigned char* SharedRam::At(std::uint64_t address, std::uint64_t length) const {
    std::uint64_t offset = 0;
    return Offset(address, length, &offset) ? m_data + offset : nullptr;
}

bool SharedRam::Read(std::uint64_t address, void* destination, std::size_t length) const {
    const unsigned char* source = At(address, length);
    if (!source)
        return false;
    std::shared_lock<std::shared_mutex> lock(m_lock);
    std::memcpy(destination, source, length);
    return true;
}

bool SharedRam::Write(std::uint64_t address, const void* source, std::size_t length) {
    std::uint64_t offset = 0;
    if (!Offset(address, length, &offset))
        return false;
    std::unique_lock<std::shared_mutex> lock(m_lock);
    std::memcpy(m_data + offset, source, length);
    return true;
}

} // namespace Sim
