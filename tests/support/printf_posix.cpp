#include "support/Printf.h"

#include <cstdarg>
#include <cstdio>

std::string RuntimePrintf(char const *format, ...) {
    std::string text(1000, '\0');
    std::va_list arguments;
    va_start(arguments, format);
    int const count = std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    text.resize(static_cast<std::size_t>(count));
    return text;
}
