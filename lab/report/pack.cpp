#include "lab/report/pack.h"

#include <stdexcept>
#include <zlib.h>

namespace lab {

void delta_column::add(std::int64_t value) {
    const std::int64_t difference = value - last_;
    last_ = value;
    auto left = (static_cast<std::uint64_t>(difference) << 1U) ^ static_cast<std::uint64_t>(difference >> 63);
    for (; left >= 0x80; left >>= 7U) bytes_ += static_cast<char>((left & 0x7fU) | 0x80U);
    bytes_ += static_cast<char>(left);
}

namespace {

std::string deflated(std::string_view bytes) {
    uLongf size = compressBound(bytes.size());
    std::string packed(size, '\0');
    const int result =
        compress2(reinterpret_cast<Bytef*>(packed.data()), &size,
                  reinterpret_cast<const Bytef*>(bytes.data()), bytes.size(), Z_BEST_COMPRESSION);
    if (result != Z_OK) throw std::runtime_error("zlib cannot compress the report's data");
    packed.resize(size);
    return packed;
}

std::string base64(std::string_view bytes) {
    constexpr char letters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        std::uint32_t group = 0;
        const std::size_t count = std::min<std::size_t>(3, bytes.size() - at);
        for (std::size_t i = 0; i < 3; ++i) {
            group = group << 8U | (i < count ? static_cast<unsigned char>(bytes[at + i]) : 0U);
        }
        for (std::size_t i = 0; i < 4; ++i) {
            text += i <= count ? letters[(group >> (18U - 6U * i)) & 63U] : '=';
        }
    }
    return text;
}

}  // namespace

std::string pack(std::string_view bytes) {
    return base64(deflated(bytes));
}

}  // namespace lab
