#include "tests/report/page_reader.h"

#include <stdexcept>
#include <string_view>
#include <zlib.h>

#include "lab/report/log_store.h"

namespace test {

namespace {

std::string from_base64(const std::string& text) {
    static const std::string letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string bytes;
    std::uint32_t group = 0, bits = 0;
    for (const char each : text.substr(0, text.find('='))) {
        const std::size_t value = letters.find(each);
        if (value == std::string::npos) throw std::runtime_error("not base64");
        group = group << 6U | static_cast<std::uint32_t>(value);
        bits += 6;
        if (bits < 8) continue;
        bits -= 8;
        bytes += static_cast<char>(group >> bits & 255U);
    }
    return bytes;
}

// The text of the element with that id, which holds no markup.
std::string element(const std::string& html, const std::string& id) {
    const std::string start = "<script id=\"" + id + "\" type=\"text/plain\">";
    const std::size_t from = html.find(start);
    if (from == std::string::npos) throw std::runtime_error("no " + id);
    const std::size_t begin = from + start.size();
    return html.substr(begin, html.find('<', begin) - begin);
}

std::int64_t next_number(std::string_view& bytes) {
    std::uint64_t zigzag = 0;
    for (unsigned shift = 0;; shift += 7) {
        const auto byte = static_cast<unsigned char>(bytes.at(0));
        bytes.remove_prefix(1);
        zigzag |= std::uint64_t{byte & 127U} << shift;
        if (byte < 128) break;
    }
    return static_cast<std::int64_t>(zigzag >> 1U) ^ -static_cast<std::int64_t>(zigzag & 1U);
}

}  // namespace

std::string unpack(const std::string& packed) {
    const std::string zipped = from_base64(packed);
    std::string bytes(64 << 20, '\0');
    uLongf size = bytes.size();
    if (uncompress(reinterpret_cast<Bytef*>(bytes.data()), &size,
                   reinterpret_cast<const Bytef*>(zipped.data()), zipped.size()) != Z_OK)
        throw std::runtime_error("not a zlib stream");
    bytes.resize(size);
    return bytes;
}

read_page take_apart(const std::string& html) {
    read_page page{nlohmann::json::parse(unpack(element(html, "run"))), {}};
    const std::string samples = unpack(element(html, "samples"));
    std::string_view left = samples;
    for (const std::string name : page.run["samples"]["columns"]) {
        std::int64_t last = 0;
        for (int i = 0; i < page.run["samples"]["buckets"]; ++i) {
            last += next_number(left);
            page.columns[name].push_back(last);
        }
    }
    if (!left.empty()) throw std::runtime_error("samples left over");
    return page;
}

std::vector<std::string> read_page::lines() const {
    std::vector<std::string> lines;
    const auto& log = run["log"];
    for (std::size_t i = 0; i < log["dt"].size(); ++i) {
        std::string line;
        std::string numbers = log["numbers"][i];
        for (const char each : log["shapes"][log["shape"][i].get<std::size_t>()]["text"].get<std::string>()) {
            if (each != lab::log_store::NUMBER) {
                line += each;
                continue;
            }
            const std::size_t end = numbers.find(lab::log_store::SEPARATOR);
            line += numbers.substr(0, end);
            numbers.erase(0, end == std::string::npos ? end : end + 1);
        }
        lines.push_back(line);
    }
    return lines;
}

}  // namespace test
