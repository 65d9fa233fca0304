#pragma once

#include <QString>
#include <cstdint>
#include <vector>

// Counts the lines of a file that another process is still writing, reading only what was added since the
// last look.
namespace Soak {

class FileFollower {
public:
    explicit FileFollower(const QString& path) : m_path(path), m_chunk(std::size_t(1) << 20) {}
    ~FileFollower();
    FileFollower(const FileFollower&) = delete;
    FileFollower& operator=(const FileFollower&) = delete;

    // Data lines (after the header) whole so far; 0 while the file does not exist.
    uint64_t Lines();

private:
    QString m_path;
    std::vector<char> m_chunk;
    int m_fd = -1;
    uint64_t m_newlines = 0;
};

} // namespace Soak
