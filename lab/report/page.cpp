#include "lab/report/page.h"

#include "lab/report/pack.h"

namespace lab {

std::string page_html(const page_content& page) {
    const auto rows = page_parts::rows_of(page.run);
    std::string html(page_parts::head);
    html += pack(page_parts::run_json(page, rows));
    html += page_parts::before_samples;
    html += pack(page_parts::sample_bytes(rows));
    html += page_parts::before_other;
    if (page.other != nullptr && page_parts::is_drawn(page.run, *page.other))
        html += pack(page_parts::sample_bytes(page_parts::means_of(page_parts::rows_of(*page.other))));
    html += page_parts::tail;
    return html;
}

}  // namespace lab
