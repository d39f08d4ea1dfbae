#include "lab/io/filter_stream.h"

namespace lab {

bool filter_stream::put(const std::string& text) {
    const auto size = static_cast<std::streamsize>(text.size());
    return target_->sputn(text.data(), size) == size;
}

std::streamsize filter_stream::xsputn(const char* bytes, std::streamsize count) {
    begun_.append(bytes, static_cast<std::size_t>(count));
    return put(take(begun_)) ? count : 0;
}

filter_stream::int_type filter_stream::overflow(int_type byte) {
    if (traits_type::eq_int_type(byte, traits_type::eof())) return traits_type::not_eof(byte);
    const char one = traits_type::to_char_type(byte);
    return xsputn(&one, 1) == 1 ? byte : traits_type::eof();
}

}  // namespace lab
