// Pieces of the page.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <string>

namespace report {

// As snprintf, at most 511 characters.
inline std::string text(const char *format, ...) __attribute__((format(printf, 1, 2)));
inline std::string text(const char *format, ...) {
    char line[512];
    va_list args;
    va_start(args, format);
    vsnprintf(line, sizeof line, format, args);
    va_end(args);
    return line;
}

} // namespace report
