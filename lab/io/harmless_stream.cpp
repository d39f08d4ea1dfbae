#include "lab/io/harmless_stream.h"

#include "lab/io/text.h"

namespace lab {

namespace {

constexpr std::size_t LONGEST_CHARACTER = 4;  // bytes of UTF-8

// Where the last character begins that may not be whole yet; the end when all are.
std::size_t begun_at(std::string_view bytes) {
    const std::size_t earliest = bytes.size() < LONGEST_CHARACTER ? 0 : bytes.size() - LONGEST_CHARACTER + 1;
    for (std::size_t at = bytes.size(); at > earliest; --at) {
        const auto byte = static_cast<unsigned char>(bytes[at - 1]);
        if (byte < 0x80) break;
        if (byte < 0xC0) continue;
        const std::size_t size = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : 2;
        return at - 1 + size > bytes.size() ? at - 1 : bytes.size();
    }
    return bytes.size();
}

}  // namespace

harmless_stream::~harmless_stream() {
    const std::string rest = harmless(begun_);
    target_->sputn(rest.data(), static_cast<std::streamsize>(rest.size()));
    of_.rdbuf(target_);
}

std::streamsize harmless_stream::xsputn(const char* bytes, std::streamsize count) {
    begun_.append(bytes, static_cast<std::size_t>(count));
    const std::size_t end = begun_at(begun_);
    const std::string shown = harmless(std::string_view(begun_).substr(0, end));
    begun_.erase(0, end);
    const auto size = static_cast<std::streamsize>(shown.size());
    return target_->sputn(shown.data(), size) == size ? count : 0;
}

harmless_stream::int_type harmless_stream::overflow(int_type byte) {
    if (traits_type::eq_int_type(byte, traits_type::eof())) return traits_type::not_eof(byte);
    const char one = traits_type::to_char_type(byte);
    return xsputn(&one, 1) == 1 ? byte : traits_type::eof();
}

}  // namespace lab
