// Any bytes as a population: read whole, or refused in one line that names the place. Its phones then are what the seed
// and their number say, whoever was drawn before, and each of them is a scenario.
//
// Input: the text; then, each after a 0x1E, "SECTION.KEY=VALUE" texts as --set has them.

#include "lab/fleet/population.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "lab/io/error.h"
#include "once.h"

namespace {

constexpr std::uint64_t PHONES = 3;
constexpr std::uint64_t FAR = 1'000'000'000;  // the last phone that may be

void expect_one_line(std::string_view what) {
    const bool has_place = what.starts_with("x.toml:") || what.starts_with("--set");
    fuzz::expect(has_place && what.find('\n') == std::string_view::npos, "one line, with place");
}

bool is_phone(const lab::population& of, const lab::phone_plan& plan) {
    try {
        return lab::scenario_of(of, plan).duration_s() > 0;
    } catch (const lab::input_error&) {
        return false;  // drawn beyond the ends that were tried
    }
}

void draw(const lab::population& of) {
    std::vector<std::string> texts;
    for (std::uint64_t number = 0; number < PHONES; ++number) {
        const lab::phone_plan plan = lab::plan_phone(of, number);
        fuzz::expect(plan.weight >= 0 && plan.span_s > 0 && plan.span_s <= of.span_s,
                     "a phone counts and lasts");
        if (is_phone(of, plan))
            fuzz::expect(plan.values.size() <= of.drawn_paths().size(), "what is drawn is known");
        texts.push_back(plan.scenario_text);
    }
    lab::plan_phone(of, FAR);
    for (std::uint64_t number = PHONES; number-- > 0;)
        fuzz::expect(lab::plan_phone(of, number).scenario_text == texts[number],
                     "the same phone in another order");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::new_device();
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    const std::string_view text = fuzz::next_piece(rest, '\x1e');
    std::vector<std::string> settings;
    while (!rest.empty()) settings.emplace_back(fuzz::next_piece(rest, '\x1e'));
    try {
        draw(lab::parse_population(text, "x.toml", settings));
    } catch (const lab::input_error& refused) {
        expect_one_line(refused.what());
    }
    return 0;
}
