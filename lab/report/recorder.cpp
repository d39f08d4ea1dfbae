#include "lab/report/recorder.h"

#include <utility>

namespace lab {

report_recorder::report_recorder(const std::string& path, report::facts about, const device_image& before)
    : file_(path),
      page_(std::move(about), before),
      told_([this](const decision& what) { page_.on_decision(what); }, before) {
    counted_.known_span_s = page_.about().span_s;
}

// The page first: its clock must have come to a moment before the story tells of it.
void report_recorder::listen(std::vector<listener*>& listeners) {
    listeners.insert(listeners.end(), {&page_, &counted_, &told_});
}

void report_recorder::finish(const ending& how) {
    told_.finish();
    page_.finish();
    file_.write(page_html(page_, counted_, how));
    file_.finish();
}

namespace {

report::facts with_buckets(report::facts about, std::size_t buckets) {
    about.buckets = buckets;
    return about;
}

}  // namespace

second_run::second_run(report::facts about, const device_image& before, std::size_t buckets)
    : page_(with_buckets(std::move(about), buckets), before),
      told_([this](const decision& what) { page_.on_decision(what); }, before) {}

void second_run::listen(std::vector<listener*>& listeners) {
    listeners.insert(listeners.end(), {&page_, &told_});
}

const report& second_run::finished() {
    told_.finish();
    page_.finish();
    return page_;
}

}  // namespace lab
