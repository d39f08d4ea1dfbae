#include "util/interpolate.h"

#include <cstddef>

#include "util/arith.h"

namespace {

std::int32_t entry(const std::int32_t* table, std::int32_t stride, std::int32_t k) {
    return table[std::ptrdiff_t{k} * stride];
}

// The segment, from entry k to entry k + 1, on which x is found: the first whose end is not above x, or the last
// where all are.
std::int32_t find_segment(const std::int32_t* table, std::int32_t stride, std::int32_t count, std::int32_t x,
                          std::int32_t near) {
    std::int32_t k = near;
    while (k < count - 2 && entry(table, stride, k + 1) > x) ++k;
    while (k > 0 && entry(table, stride, k) <= x) --k;
    return k;
}

}  // namespace

std::int32_t interpolate_for_index(const std::int32_t* table, std::int32_t stride, std::int32_t count,
                                   std::int32_t x, std::int32_t scale) {
    std::int32_t near = 0;
    return interpolate_for_index(table, stride, count, x, scale, near);
}

std::int32_t interpolate_for_index(const std::int32_t* table, std::int32_t stride, std::int32_t count,
                                   std::int32_t x, std::int32_t scale, std::int32_t& near) {
    near = find_segment(table, stride, count, x, near);
    const std::int32_t a = entry(table, stride, near);
    const std::int32_t b = entry(table, stride, near + 1);
    const std::int32_t into_segment = arith::div(arith::mul(arith::sub(x, a), scale), arith::sub(b, a));
    return arith::add(arith::mul(near, scale), into_segment);
}
