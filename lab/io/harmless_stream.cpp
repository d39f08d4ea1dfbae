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
    put(harmless(begun()));
}

std::string harmless_stream::take(std::string& begun) {
    const std::size_t end = begun_at(begun);
    std::string shown = harmless(std::string_view(begun).substr(0, end));
    begun.erase(0, end);
    return shown;
}

}  // namespace lab
