#include "lab/evidence/evidence_page.h"

#include <filesystem>

#include "lab/evidence/evidence_text.h"
#include "lab/io/output_file.h"
#include "lab/io/text.h"
#include "lab/recordings/trace_course.h"
#include "lab/report/page.h"
#include "lab/report/provenance.h"

namespace lab {

namespace {

constexpr std::size_t MOST_SOURCES = 12;  // told one by one

// The last part of the input's name, which may be a serial number's or a person's.
std::string title_of(const dossier& of, const std::string& wanted) {
    return wanted.empty() ? without_personal(std::filesystem::path(of.input).filename().string()) : wanted;
}

// Which clock the page shows. One without a year, or that was never set, is told from its start on.
std::int64_t made_up_clock_of(const dossier& of, const log_timeline& timeline) {
    if (timeline.lines.empty()) return of.trace ? DEFAULT_WALL_CLOCK_S : 0;
    const std::int64_t first_s = timeline.lines.front().utc_s;
    return timeline.has_year && first_s >= FIRST_SET_S ? 0 : first_s;
}

std::string lines_text(const dossier& of) {
    const std::uint64_t others =
        of.log.lines_seen() - std::min<std::uint64_t>(of.log.lines_seen(), of.log.entries().size());
    return of.log.entries().empty()
               ? ""
               : " It holds " + counted(of.log.entries().size(), "line") + " of the daemon and none of the " +
                     std::to_string(others) + " of others.";
}

// All that a reader must know before believing it.
std::string caution_of(const dossier& of, const evidence_story& told) {
    std::string text = "Told from what the device left:";
    std::size_t count = 0;
    for (const source& each : of.sources) {
        if (count++ == MOST_SOURCES) break;
        text += (count == 1 ? " " : ", ") + each.name + " (" +
                (each.holds.empty() ? "not read" : each.holds) +
                (each.state == source_state::in_part ? ", in part: " + each.why : "") + ")";
    }
    if (of.sources.size() > MOST_SOURCES)
        text += " and " + std::to_string(of.sources.size() - MOST_SOURCES) + " more";
    text += "." + lines_text(of) + " Times: " + told.clock + ".";
    for (const std::string& each : told.missing) text += " Not there: " + each + ".";
    for (const std::string& each : told.contradictions) text += " Contradicts itself: " + each + ".";
    if (told.proof) text += " Proof by replay: " + with_moments(told, proof_text(*told.proof)) + ".";
    return text;
}

report::facts facts_of(const dossier& of, const log_timeline& timeline, const std::string& title) {
    report::facts facts{title_of(of, title), "device", of.trace.has_value(), {}};
    facts.made_up_clock_s = made_up_clock_of(of, timeline);
    facts.source = without_personal(of.input);
    facts.command = without_personal(command_text());
    facts.digest = digest_text(of.input);
    return facts;
}

}  // namespace

evidence_story write_evidence_page(const dossier& of, const device_zone& zone, const std::string& path,
                                   const std::string& title) {
    output_file file(path);
    const log_timeline timeline = make_timeline(of);
    report page(facts_of(of, timeline, title), of.image);
    cost counted_cost;
    story_audience audience{{&page, &counted_cost}, {}, true};
    audience.on_decision = [&](const told_decision& each) {
        decision what = each.what;
        if (each.at) what.numbers.push_back({"source", source_text(of, each)});
        page.on_decision(what, each.line_id);
    };
    evidence_story told = tell_evidence(of, timeline, zone, audience);
    page.finish();
    run_ending how;
    how.caution = caution_of(of, told);
    how.is_from_log = told.origin == "log";
    file.write(page_html(page, counted_cost, how));
    file.commit();
    return told;
}

}  // namespace lab
