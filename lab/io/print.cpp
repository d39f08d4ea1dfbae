#include "lab/io/print.h"

#include <cstdarg>
#include <cstdio>

namespace lab {

void print(std::string& out, const char* format, ...) {
    va_list values;
    va_start(values, format);
    va_list again;
    va_copy(again, values);
    const auto length = static_cast<std::size_t>(vsnprintf(nullptr, 0, format, values));
    va_end(values);
    const std::size_t before = out.size();
    out.resize(before + length + 1);
    vsnprintf(out.data() + before, length + 1, format, again);
    va_end(again);
    out.resize(before + length);
}

}  // namespace lab
