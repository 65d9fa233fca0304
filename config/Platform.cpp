#include "Platform.h"

#ifdef _WIN32
#include <winsock2.h>
#else
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

#endif

} // namespace Platform
