#include "lab/evidence/evidence_text.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <ostream>

#include "core/sys_properties.h"
#include "lab/io/text.h"
#include "lab/io/time_text.h"
#include "lab/report/provenance.h"
#include "lab/state/daemon_view.h"
#include "lab/state/stress_table.h"
#include "lab/state/values.h"
#include "lab/story/story_lines.h"

namespace lab {

namespace {

using json = nlohmann::ordered_json;

constexpr std::size_t BUCKETS_SHOWN = 5;
constexpr std::size_t SPOILT_SHOWN = 5;
constexpr std::size_t INDENT = 41;
constexpr std::string_view ORIGINS[][2] = {{"log", "what its log says"},
                                           {"events", "what a run of the lab left"},
                                           {"replay", "running the daemon over its trace"}};
constexpr std::string_view IMPORTANCES[] = {"action", "finding", "routine"};

stored_state state_of(const dossier& evidence) {
    stored_state state;
    for (const state_file& kind : state_files) {
        stored_file file;
        file.kind = &kind;
        file.path = kind.path;
        const auto found = evidence.image.files.find(std::string(kind.path));
        if (found != evidence.image.files.end()) {
            file.size = found->second.size();
            file.bytes = found->second.substr(0, kind.size);
            file.condition = file.size < kind.size   ? file_condition::shorter
                             : file.size > kind.size ? file_condition::longer
                                                     : file_condition::whole;
        }
        state.files.push_back(std::move(file));
    }
    return state;
}

std::string property_of(const dossier& evidence, const std::string& name) {
    const auto said = evidence.log.properties().find(name);
    if (said != evidence.log.properties().end()) return said->second.text;
    const auto kept = evidence.image.properties.find(name);
    return kept == evidence.image.properties.end() ? "" : kept->second;
}

struct held_state {
    std::string toc_mv;  // empty: not known
    std::string stopped_by;
    std::optional<daemon_view> view;  // of the state files
    std::vector<std::string> spoilt;  // "toc_clients 12: the daemon takes step 0 and writes it back"
};

// The values that the daemon does not take for what they say, with what it does instead.
std::vector<std::string> spoilt_values(const stored_state& state) {
    std::vector<std::string> told;
    for (const stored_file& file : state.files) {
        if (file.condition == file_condition::missing) continue;
        for (const state_place& place : state_places_of(*file.kind)) {
            const std::string value = value_text(file, place).value_or("");
            const std::string_view effect = value.empty() ? "" : value_effect(place, value);
            if (!effect.empty())
                told.push_back(place.name() + " " + value + ": the daemon " + std::string(effect));
        }
    }
    return told;
}

held_state held_by(const dossier& evidence) {
    held_state held;
    held.toc_mv = property_of(evidence, TOC_PROPERTY);
    held.stopped_by = property_of(evidence, DISABLE_PROPERTY);
    if (held.stopped_by == "0") held.stopped_by.clear();
    if (!evidence.image.files.empty()) {
        const stored_state state = state_of(evidence);
        held.view = ask_daemon(state);
        held.spoilt = spoilt_values(state);
        if (held.toc_mv.empty()) held.toc_mv = std::to_string(voltage_of_step(held.view->toc_step));
    }
    return held;
}

void print_held(std::ostream& out, const dossier& evidence) {
    const held_state held = held_by(evidence);
    if (held.toc_mv.empty() && held.stopped_by.empty() && !held.view) return;
    out << "\nWhat the device holds\n";
    if (!held.toc_mv.empty()) out << "  top of charge: " << held.toc_mv << " mV\n";
    if (!held.stopped_by.empty()) out << "  charging stopped by: " << held.stopped_by << '\n';
    if (!held.view) return;
    for (std::size_t i = 0; i < std::min(SPOILT_SHOWN, held.spoilt.size()); ++i)
        out << "  damaged: " << held.spoilt[i] << '\n';
    if (held.spoilt.size() > SPOILT_SHOWN)
        out << "  and " << held.spoilt.size() - SPOILT_SHOWN
            << " more values, which vorn-lab state show names\n";
    out << "  stress hours: " << held.view->stress_hours << '\n';
    const stress_summary stress = summarise_stress(held.view->hours);
    for (std::size_t i = 0; i < std::min(BUCKETS_SHOWN, stress.buckets.size()); ++i) {
        const stress_bucket& each = stress.buckets[i];
        char line[160];
        std::snprintf(line, sizeof line, "    %s mV, %s °C: %.1f h x %.3g = %.0f stress hours (%.0f %%)\n",
                      volt_band_text(each.row).c_str(), temp_band_text(each.column).c_str(),
                      static_cast<double>(each.hours), each.weight, each.stress_hours, 100 * each.share);
        out << line;
    }
}

json number_json(const std::vector<number>& numbers) {
    json object = json::object();
    for (const number& each : numbers) object[each.name] = each.value;
    return object;
}

}  // namespace

std::string place_text(const dossier& evidence, place at) {
    const std::string& name = evidence.sources[at.source].name;
    return at.line == 0 ? name : name + ":" + std::to_string(at.line);
}

std::string source_text(const dossier& evidence, const told_decision& of) {
    const std::string where = place_text(evidence, of.at.value_or(place{}));
    return of.line_id.empty() ? where : where + " (" + std::string(of.line_id) + ")";
}

void print_evidence(std::ostream& out, const dossier& evidence, const evidence_story& told, story_words how) {
    for (const auto& [origin, words] : ORIGINS) {
        if (told.origin == origin) out << "Told from " << words << ".\n";
    }
    if (!told.origin.empty()) out << "Times: " << told.clock << ".\n";
    for (const std::string& each : told.missing) out << "Not there: " << each << ".\n";
    for (const std::string& each : told.contradictions) out << "Contradicts itself: " << each << ".\n";
    if (!told.decisions.empty()) out << '\n';
    story_lines lines(out, how.shows_routine);
    for (const told_decision& each : told.decisions) {
        decision what = each.what;
        what.sentence = with_moments(told, what.sentence);
        for (number& figure : what.numbers) figure.value = with_moments(told, figure.value);
        lines.tell(what, moment_text(told, what.real_time_s));
        const bool is_shown = how.shows_routine || what.weight != importance::routine;
        if (how.shows_places && each.at && is_shown)
            out << std::string(INDENT, ' ') << "at " << source_text(evidence, each) << '\n';
    }
    lines.finish();
    if (told.proof) out << "\nProof by replay: " << with_moments(told, proof_text(*told.proof)) << ".\n";
    print_held(out, evidence);
}

std::string sources_text(const dossier& evidence) {
    std::string text;
    for (const source& each : evidence.sources) {
        text += "vorn-lab: " + each.name + ": ";
        if (each.holds == "log") {
            text += counted(each.lines, "line") + " of the daemon";
        } else {
            text += each.holds.empty() ? "not read" : each.holds;
        }
        if (each.state == source_state::in_part)
            text += (each.holds.empty() ? ": " : ", in part: ") + each.why;
        if (!each.note.empty()) text += " (" + each.note + ")";
        text += '\n';
    }
    if (evidence.foreign_sources + evidence.empty_sources > 0)
        text += "vorn-lab: " + std::to_string(evidence.foreign_sources) +
                " more with nothing of the daemon, " + std::to_string(evidence.empty_sources) + " empty\n";
    return text;
}

json evidence_json(const dossier& evidence, const evidence_story& told) {
    json sources = json::array();
    for (const source& each : evidence.sources) {
        json one = {{"name", each.name},
                    {"holds", each.holds},
                    {"state", each.state == source_state::in_part ? "in part" : "read"}};
        if (!each.why.empty()) one["why"] = each.why;
        if (!each.note.empty()) one["note"] = each.note;
        if (each.lines > 0) one["lines"] = each.lines;
        sources.push_back(one);
    }
    json decisions = json::array();
    for (const told_decision& each : told.decisions) {
        const bool is_known = each.what.real_time_s >= FIRST_SET_S && told.has_year;
        json one = {{"time", moment_text(told, each.what.real_time_s)},
                    {"utc_s", is_known ? json(each.what.real_time_s) : json(nullptr)},
                    {"boot", each.what.boot},
                    {"elapsed_s", each.what.elapsed_s},
                    {"weight", IMPORTANCES[static_cast<std::size_t>(each.what.weight)]},
                    {"feature", each.what.feature},
                    {"sentence", with_moments(told, each.what.sentence)},
                    {"numbers", number_json(each.what.numbers)}};
        if (each.at) one["at"] = place_text(evidence, *each.at);
        if (!each.line_id.empty()) one["line"] = each.line_id;
        decisions.push_back(one);
    }
    const held_state held = held_by(evidence);
    json proof = nullptr;
    if (told.proof) {
        proof = {{"logged", told.proof->logged},
                 {"as_logged", told.proof->as_logged},
                 {"first_difference", told.proof->first_difference},
                 {"likely_reasons", told.proof->likely_reasons}};
    }
    json all = document_head("vorn-lab/story/1");
    all.update({{"proof", proof},
                {"origin", told.origin},
                {"clock", told.clock},
                {"missing", told.missing},
                {"contradictions", told.contradictions},
                {"sources", sources},
                {"other_sources", evidence.foreign_sources + evidence.empty_sources},
                {"decisions", decisions},
                {"top_of_charge_mv", held.toc_mv.empty() ? json(nullptr) : json(held.toc_mv)},
                {"charging_stopped_by", held.stopped_by},
                {"damaged", held.spoilt},
                {"stress_hours", held.view ? json(held.view->stress_hours) : json(nullptr)}});
    return all;
}

device_state state_at_end(const dossier& evidence, const evidence_story& told) {
    constexpr std::int64_t STOPPED = 10'000, MILLIVOLT = 10;
    constexpr std::int64_t FULL_VOLTAGE_MV = 4450;
    const held_state held = held_by(evidence);
    device_state state;
    const std::int64_t actions = std::ranges::count_if(
        told.decisions, [](const told_decision& each) { return each.what.weight == importance::action; });
    const std::int64_t findings = std::ranges::count_if(
        told.decisions, [](const told_decision& each) { return each.what.weight == importance::finding; });
    state.words = held.toc_mv.empty() ? "top of charge not known" : held.toc_mv + " mV";
    if (held.view) state.words += ", " + std::to_string(held.view->stress_hours) + " stress hours";
    if (!held.stopped_by.empty()) state.words += ", charging stopped by " + held.stopped_by;
    state.words += ", " + counted(static_cast<std::uint64_t>(actions), "action") + ", " +
                   counted(static_cast<std::uint64_t>(findings), "finding");
    if (!held.spoilt.empty()) state.words += ", damaged state files";
    if (!told.contradictions.empty()) state.words += ", contradicts itself";
    state.badness = (held.stopped_by.empty() ? 0 : STOPPED) + std::min<std::int64_t>(findings, 1000);
    if (!held.toc_mv.empty())
        state.badness += MILLIVOLT * (FULL_VOLTAGE_MV - std::strtol(held.toc_mv.c_str(), nullptr, 10));
    return state;
}

}  // namespace lab
