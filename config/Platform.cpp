#include "Platform.h"

#include <cstring>

#ifdef _WIN32
#include <winsock2.h>
#else
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace Platform {

#ifdef _WIN32

bool StartSockets() {
    WSADATA data;
    return WSAStartup(MAKEWORD(2, 2), &data) == 0;
}

int CloseSocket(int handle) {
    return closesocket(static_cast<SOCKET>(handle));
}

QString ExecutableName(const QString& baseName) {
    return baseName + ".exe";
}

// The program directory comes with forward slashes; the name is joined with a backslash.
QString ExtractorPath(const QString& programDir) {
    return programDir + "\\readelf_variables.exe";
}

QString ExtractorFallbackPath() {
    return QStringLiteral("D:\\readelf_variables.exe");
}

QStringList KillByImageCommand(const QString& baseName) {
    return {"taskkill", "/im", ExecutableName(baseName), "/f"};
}

QStringList ListProcessesCommand(const QString& baseName) {
    return {"tasklist", "/fi", "imagename eq " + ExecutableName(baseName)};
}

void* AllocateZeroedBlock(std::size_t bytes) {
    return VirtualAlloc(nullptr, bytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
}

void ZeroBlock(void* block, std::size_t bytes) {
    std::memset(block, 0, bytes);
}

#else

bool StartSockets() {
    return true;
}

int CloseSocket(int handle) {
    return ::close(handle);
}

QString ExecutableName(const QString& baseName) {
    return baseName;
}

QString ExtractorPath(const QString& programDir) {
    return programDir + "/readelf_variables";
}

QString ExtractorFallbackPath() {
    return QStringLiteral("/usr/local/bin/readelf_variables");
}

QStringList KillByImageCommand(const QString& baseName) {
    return {"pkill", "-KILL", "-x", baseName};
}

QStringList ListProcessesCommand(const QString& baseName) {
    return {"pgrep", "-l", "-x", baseName};
}

void* AllocateZeroedBlock(std::size_t bytes) {
    void* block = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return block == MAP_FAILED ? nullptr : block;
}

void ZeroBlock(void* block, std::size_t bytes) {
    // Private anonymous pages read as zeros again after MADV_DONTNEED.
    if (::madvise(block, bytes, MADV_DONTNEED) != 0)
        std::memset(block, 0, bytes);
}

#endif

} // namespace Platform
