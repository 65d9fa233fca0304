#include "FileFollower.h"

#include <QFile>
#include <algorithm>
#include <fcntl.h>
#include <unistd.h>

namespace Soak {

FileFollower::~FileFollower() {
    if (m_fd >= 0)
        ::close(m_fd);
}

uint64_t FileFollower::Lines() {
    if (m_fd < 0)
        m_fd = ::open(QFile::encodeName(m_path).constData(), O_RDONLY | O_CLOEXEC);
    if (m_fd < 0)
        return 0;
    for (;;) {
        const ssize_t got = ::read(m_fd, m_chunk.data(), m_chunk.size());
        if (got <= 0)
            break;
        m_newlines += static_cast<uint64_t>(std::count(m_chunk.data(), m_chunk.data() + got, '\n'));
    }
    return m_newlines > 0 ? m_newlines - 1 : 0;
}

} // namespace Soak
