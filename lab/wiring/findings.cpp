// Findings as text and as JSON.

#include "lab/wiring/findings.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "lab/io/print.h"

namespace lab {

namespace {

std::string effect_of(const finding& of) {
    return of.effect.empty() ? std::string(of.check->effect) : of.effect;
}

}  // namespace

std::string_view verdict_words(wiring_verdict of) {
    constexpr std::string_view all[] = {"ok", "wrong", "doubtful", "cannot say", "not there"};
    return all[static_cast<std::size_t>(of)];
}

bool is_trouble(const finding& of) {
    return of.result == wiring_verdict::wrong || of.result == wiring_verdict::doubtful;
}

std::pair<std::int64_t, std::int64_t> troubles_in(const std::vector<finding>& all) {
    return {std::ranges::count(all, wiring_verdict::wrong, &finding::result),
            std::ranges::count(all, wiring_verdict::doubtful, &finding::result)};
}

std::string findings_text(const std::vector<finding>& all) {
    std::string out;
    for (const finding& each : all) {
        print(out, "%-11s%-16s %s\n", std::string(verdict_words(each.result)).c_str(),
              std::string(each.check->id).c_str(), each.what.c_str());
        if (is_trouble(each)) print(out, "%-27s the daemon %s\n", "", effect_of(each).c_str());
    }
    return out;
}

std::string findings_summary(const std::vector<finding>& all) {
    std::string out;
    for (const wiring_verdict verdict : {wiring_verdict::wrong, wiring_verdict::doubtful}) {
        std::string ids;
        for (const finding& each : all) {
            if (each.result == verdict) ids += (ids.empty() ? "" : ", ") + std::string(each.check->id);
        }
        if (!ids.empty()) out += (out.empty() ? "" : "; ") + std::string(verdict_words(verdict)) + ": " + ids;
    }
    return out.empty() ? "nothing wrong" : out;
}

nlohmann::ordered_json findings_json(const std::vector<finding>& all) {
    auto list = nlohmann::ordered_json::array();
    for (const finding& each : all) {
        list.push_back({{"id", each.check->id},
                        {"verdict", verdict_words(each.result)},
                        {"what", each.what},
                        {"raw", each.raw},
                        {"count", each.count}});
        if (is_trouble(each)) list.back()["effect"] = effect_of(each);
    }
    return list;
}

}  // namespace lab
