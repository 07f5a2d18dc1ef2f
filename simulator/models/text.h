// printf into a std::string, for trace lines and error texts.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <string>

namespace k905 {

[[gnu::format(printf, 1, 2)]] inline std::string Text(const char* format, ...) {
    char buffer[256];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(buffer, sizeof buffer, format, arguments);
    va_end(arguments);
    if (length < 0)
        return {};
    return std::string(buffer, static_cast<std::size_t>(length) < sizeof buffer
                                   ? static_cast<std::size_t>(length)
                                   : sizeof buffer - 1);
}

}  // namespace k905
