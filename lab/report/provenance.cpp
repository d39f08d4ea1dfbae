#include "lab/report/provenance.h"

#include <array>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nettle/sha2.h>
#include <nlohmann/json.hpp>

namespace lab {

namespace {

constexpr std::string_view PLAIN = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-./=:,+@%";

std::string shell_word(const std::string& word) {
    if (!word.empty() && word.find_first_not_of(PLAIN) == std::string::npos) return word;
    std::string text = "'";
    for (const char each : word) text += each == '\'' ? std::string("'\\''") : std::string(1, each);
    return text + "'";
}

std::string hexadecimal(const std::array<std::uint8_t, SHA256_DIGEST_SIZE>& bytes) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t each : bytes) {
        text += digits[each >> 4U];
        text += digits[each & 15U];
    }
    return text;
}

}  // namespace

nlohmann::ordered_json document_head(std::string_view schema) {
    return {{"schema", schema}, {"program", {{"version", program_version}, {"commit", program_commit}}}};
}

std::string program_text() {
    std::string text(program_version);
    return program_commit.empty() ? text : text.append(" (commit ").append(program_commit).append(")");
}

std::string command_text() {
    std::ifstream words("/proc/self/cmdline", std::ios::binary);
    std::string text;
    for (std::string word; std::getline(words, word, '\0');) {
        // The program's own name without where it lies.
        if (text.empty()) word = std::filesystem::path(word).filename().string();
        text += (text.empty() ? "" : " ") + shell_word(word);
    }
    return text;
}

std::string digest_text(const std::string& path) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) return {};
    std::ifstream file(path, std::ios::binary);
    sha256_ctx context;
    sha256_init(&context);
    std::array<char, 65536> bytes;
    while (file.read(bytes.data(), bytes.size()) || file.gcount() > 0) {
        sha256_update(&context, static_cast<std::size_t>(file.gcount()),
                      reinterpret_cast<const std::uint8_t*>(bytes.data()));
    }
    if (!file.eof()) return {};
    std::array<std::uint8_t, SHA256_DIGEST_SIZE> digest;
    sha256_digest(&context, digest.size(), digest.data());
    return hexadecimal(digest);
}

std::string date_text() {
    const char* const fixed = std::getenv("SOURCE_DATE_EPOCH");
    const std::time_t now =
        fixed != nullptr ? static_cast<std::time_t>(std::atoll(fixed)) : std::time(nullptr);
    std::tm utc{};
    char text[32];
    if (gmtime_r(&now, &utc) == nullptr || std::strftime(text, sizeof text, "%F", &utc) == 0) return {};
    return text;
}

}  // namespace lab
