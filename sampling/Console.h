#pragma once

#include <cstdio>

// The sampling engine's console lines ("LOG>>..."). They go to standard output, as the program has
// always written them; a tool whose standard output carries data sends them elsewhere.
void setConsoleStream(std::FILE* stream);
// printf-style; returns the printed character count, flushes at once.
int consolePrint(const char* format, ...) __attribute__((format(printf, 1, 2)));
