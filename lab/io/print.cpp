#include "lab/io/print.h"

#include <cstdarg>
#include <cstdio>

namespace lab {

namespace {

[[gnu::format(printf, 2, 0)]] void append(std::string& out, const char* format, std::va_list values) {
    std::va_list again;
    va_copy(again, values);
    const auto length = static_cast<std::size_t>(std::vsnprintf(nullptr, 0, format, again));
    va_end(again);
    const std::size_t before = out.size();
    out.resize(before + length + 1);  // with the zero that ends it
    std::vsnprintf(out.data() + before, length + 1, format, values);
    out.resize(before + length);
}

}  // namespace

void print(std::string& out, const char* format, ...) {
    std::va_list values;
    va_start(values, format);
    append(out, format, values);
    va_end(values);
}

std::string text_of(const char* format, ...) {
    std::string text;
    std::va_list values;
    va_start(values, format);
    append(text, format, values);
    va_end(values);
    return text;
}

}  // namespace lab
