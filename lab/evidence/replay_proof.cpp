#include "lab/evidence/replay_proof.h"

#include <algorithm>
#include <cstdint>
#include <set>
#include <string_view>

#include "lab/io/text.h"
#include "lab/io/time_text.h"
#include "lab/recordings/trace_course.h"
#include "lab/session/session.h"
#include "util/metrics.h"

namespace lab {

namespace {

constexpr std::int64_t MARGIN_S = 15;  // a sample, and the cycle that goes with it
constexpr std::string_view START_WORDS = "attempting to migrate persistent files";
constexpr std::string_view UNREAD_WORDS = "file read error /";
constexpr std::string_view DECISION_WORDS[] = {"CHG_MGR New ToC", "charge disable sysprop set",
                                               "Scheduled reboot", "Performing reboot",
                                               "setting charge fail counter"};

bool is_decision(std::string_view text) {
    return text.starts_with(METRICS_GROUP) ||
           std::ranges::any_of(DECISION_WORDS,
                               [&](std::string_view words) { return text.find(words) != text.npos; });
}

std::string_view trimmed(std::string_view text) {
    while (text.ends_with('\n') || text.ends_with(' ')) text.remove_suffix(1);
    return text;
}

struct moment {
    std::int64_t utc_s;
    std::string text;
};

// What the replayed daemon decides, and over which time.
class decision_collector : public listener {
  public:
    void on_event(const event& what) override {
        if (what.kind != event_kind::log && what.kind != event_kind::metric) return;
        const std::string_view text = trimmed(what.text);
        if (const std::size_t at = text.find(UNREAD_WORDS); at != text.npos) {
            const std::string_view path = text.substr(at + UNREAD_WORDS.size() - 1);
            unread.emplace(path.substr(0, path.find(' ')));
        }
        if (is_decision(text)) decisions.push_back({what.real_time_s, std::string(text)});
        const bool ends_start = text.find("running on platform") != text.npos;
        if (ends_start && of_first_start == NONE) of_first_start = decisions.size();
    }
    void on_cycle(const cycle& after) override {
        if (!has_cycle_) first_s = after.real_time_s;
        has_cycle_ = true;
        last_s = after.real_time_s;
    }

    static constexpr std::size_t NONE = SIZE_MAX;
    std::vector<moment> decisions;
    std::size_t of_first_start = NONE;  // how many of them
    std::set<std::string> unread;       // nodes
    std::int64_t first_s = 0, last_s = 0;

  private:
    bool has_cycle_ = false;
};

std::string said(const std::vector<moment>& of, std::size_t i, const char* who) {
    if (i >= of.size()) return std::string(who) + " nothing more";
    return std::string(who) + " " + local_time_text(of[i].utc_s) + " \"" +
           on_one_line(of[i].text.substr(0, 200)) + "\"";
}

}  // namespace

std::optional<replay_proof> prove_by_replay(const dossier& of, const log_timeline& timeline) {
    if (!of.trace || timeline.lines.empty()) return std::nullopt;
    decision_collector replayed;
    trace_course course(trace_reader(of.trace->file.again(), {}, [](const std::string&) {}));
    device_image image = of.image;
    if (course.is_empty()) return std::nullopt;
    run_session(course, image, {&replayed});

    std::vector<moment> logged;
    bool has_unread = false, has_start = false, has_line = false;
    for (const timed_line& each : timeline.lines) {
        if (each.utc_s < replayed.first_s - MARGIN_S || each.utc_s > replayed.last_s + MARGIN_S) continue;
        const std::string& text = of.log.text(each.entry->text);
        if (!has_line) has_start = text.find(START_WORDS) != text.npos;
        has_line = true;
        has_unread |= text.find(UNREAD_WORDS) != text.npos;
        if (is_decision(text)) logged.push_back({each.utc_s, text});
    }
    // What the device did at an earlier start is not in the log of this time.
    auto& decided = replayed.decisions;
    const bool began_later = !has_start && replayed.of_first_start != decision_collector::NONE;
    if (began_later)
        decided.erase(decided.begin(),
                      decided.begin() + static_cast<std::ptrdiff_t>(replayed.of_first_start));

    replay_proof proof;
    proof.logged = logged.size();
    std::size_t same = 0;
    while (same < logged.size() && same < decided.size() && logged[same].text == decided[same].text) ++same;
    proof.as_logged = same;
    if (same == logged.size() && same == decided.size()) return proof;
    proof.first_difference = said(logged, same, "logged") + "; " + said(decided, same, "replayed");
    if (!has_start)
        proof.likely_reasons.emplace_back(
            "the recording does not start at a boot: the daemon remembered more than its files say");
    for (const std::string& path : replayed.unread) {
        if (!has_unread)
            proof.likely_reasons.push_back("the trace lacks " + path + ", which the device could read");
    }
    if (of.image.files.empty())
        proof.likely_reasons.emplace_back("no state files as they were when the recording began");
    if (proof.likely_reasons.empty())
        proof.likely_reasons.emplace_back(
            "another build of the daemon, or samples of other moments than its own");
    return proof;
}

std::string proof_text(const replay_proof& proof) {
    std::string text =
        std::to_string(proof.as_logged) + " of " + std::to_string(proof.logged) + " decisions as logged";
    if (proof.first_difference.empty()) return text;
    text += "; the first that is not: " + proof.first_difference + ". Likely:";
    for (std::size_t i = 0; i < proof.likely_reasons.size(); ++i)
        text += (i == 0 ? " " : "; or ") + proof.likely_reasons[i];
    return text;
}

}  // namespace lab
