#include "lab/report/recorder.h"

#include <utility>

#include "lab/report/page.h"

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

void report_recorder::finish(const std::optional<comparison>& compared) {
    told_.finish();
    file_.write(page_html(page_, counted_, compared));
    file_.finish();
}

}  // namespace lab
