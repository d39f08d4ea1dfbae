#include "core/number_text.h"

#include <cerrno>
#include <cstdlib>

#include "util/arith.h"
#include "util/log.h"

namespace {

constexpr int DECIMAL = 10;

}  // namespace

std::int32_t parse_number(const char* text, std::int32_t out_of_range) {
    errno = 0;
    const std::int32_t value = arith::low32(std::int64_t{strtol(text, nullptr, DECIMAL)});
    if (value == 0 && errno != 0) {
        LOG_ERROR("--- %s strtol error errno %d---\n", errno);
        return out_of_range;
    }
    return value;
}
