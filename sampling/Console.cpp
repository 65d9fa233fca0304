#include "Console.h"

#include <atomic>
#include <cstdarg>

namespace {
std::atomic<std::FILE*> g_stream{nullptr};
}

void setConsoleStream(std::FILE* stream) {
    g_stream.store(stream);
}

int consolePrint(const char* format, ...) {
    std::FILE* stream = g_stream.load();
    if (stream == nullptr)
        stream = stdout;
    va_list args;
    va_start(args, format);
    const int n = std::vfprintf(stream, format, args);
    va_end(args);
    std::fflush(stream);
    return n;
}
