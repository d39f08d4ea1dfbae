#include "util/interpolate.h"

#include <cstddef>

#include "util/arith.h"

namespace {

std::int32_t entry(const std::int32_t* table, std::int32_t stride, std::int32_t k) {
    return table[std::ptrdiff_t{k} * stride];
}

// The segment k, between entries k - 1 and k, on which x is found: the first entry k >= 1 that is not above x
// ends it, and the last entry does where all are.
std::int32_t find_segment(const std::int32_t* table, std::int32_t stride, std::int32_t count,
                          std::int32_t x) {
    std::int32_t low = 1;
    std::int32_t high = count - 1;
    while (low < high) {
        const std::int32_t middle = (low + high) / 2;
        if (entry(table, stride, middle) <= x) {
            high = middle;
        } else {
            low = middle + 1;
        }
    }
    return low;
}

}  // namespace

std::int32_t interpolate_for_index(const std::int32_t* table, std::int32_t stride, std::int32_t count,
                                   std::int32_t x, std::int32_t scale) {
    const std::int32_t k = find_segment(table, stride, count, x);
    const std::int32_t a = entry(table, stride, k - 1);
    const std::int32_t b = entry(table, stride, k);
    const std::int32_t into_segment = arith::div(arith::mul(arith::sub(x, a), scale), arith::sub(b, a));
    return arith::add(arith::mul(k - 1, scale), into_segment);
}
