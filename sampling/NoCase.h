#pragma once

#include <cctype>

// Case-insensitive comparison of two NUL-terminated texts: 0 when equal, otherwise the difference of
// the first differing characters in lower case (what the server's error replies are reported as).
inline int compareNoCase(const char* a, const char* b) {
    for (;; ++a, ++b) {
        const int ca = std::tolower(static_cast<unsigned char>(*a));
        const int cb = std::tolower(static_cast<unsigned char>(*b));
        if (ca != cb || ca == 0)
            return ca - cb;
    }
}
