#include "lab/report/page.h"

#include "lab/report/html_page.h"

namespace lab {

namespace page_sources {
extern const page_source report;
}

std::string page_html(const report& run, const cost& counted, const run_ending& ending) {
    const auto rows = page_parts::rows_of(run);
    std::vector<page_datum> data = {{"run", page_parts::run_json(run, counted, ending, rows)},
                                    {"samples", page_parts::sample_bytes(rows)}};
    if (ending.other != nullptr && page_parts::is_drawn(run, *ending.other))
        data.push_back({"other-samples",
                        page_parts::sample_bytes(page_parts::means_of(page_parts::rows_of(*ending.other)))});
    return html_page(page_sources::report, data);
}

}  // namespace lab
