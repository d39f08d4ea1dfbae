// Any bytes as evidence: archives within archives, logs, state files. However they come in pieces, the same is told of
// them; what is said of a source is one line.
//
// Input: the evidence. Its first byte says how long the pieces of the second reading are.

#include <algorithm>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "lab/evidence/evidence_text.h"
#include "lab/io/error.h"
#include "once.h"

namespace {

constexpr lab::walk_limits LIMITS{64, 1 << 22, 1'100, 4};

class pieces : public lab::byte_stream {
  public:
    pieces(std::string_view bytes, std::size_t longest) : rest_(bytes), longest_(longest) {}
    std::size_t read(char* buffer, std::size_t size) override {
        const std::size_t count = std::min({size, longest_, rest_.size()});
        std::copy_n(rest_.data(), count, buffer);
        rest_.remove_prefix(count);
        return count;
    }

  private:
    std::string_view rest_;
    std::size_t longest_;
};

std::string told(std::string_view bytes, std::size_t longest) {
    lab::dossier evidence;
    pieces stream(bytes, longest);
    lab::read_evidence("report", stream, evidence, LIMITS);
    for (const lab::source& each : evidence.sources) {
        for (const std::string& text : {each.name, each.why, each.note})
            fuzz::expect(text.find_first_of("\n\r\t\x1b") == std::string::npos,
                         "one line, which no terminal obeys");
    }
    evidence.trace.reset();  // a replay of any trace is another fuzzer's
    std::string out = lab::sources_text(evidence);
    try {
        const lab::device_zone zone(evidence, "");
        const lab::log_timeline timeline = lab::make_timeline(evidence);
        const auto object = lab::evidence_json(evidence, lab::tell_evidence(evidence, timeline, zone));
        out += object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    } catch (const lab::input_error& refused) {
        out += refused.what();
    }
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    fuzz::new_device();
    const std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
    fuzz::expect(told(bytes, 1 << 16) == told(bytes, data[0] % 64U + 1U), "the same in other pieces");
    return 0;
}
