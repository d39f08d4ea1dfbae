#include "lab/report/page.h"

#include "lab/report/pack.h"

namespace lab {

std::string page_html(const report& about, const cost& of, const std::optional<comparison>& compared) {
    std::string html(page_parts::head);
    html += pack(page_parts::run_json(about, of, compared));
    html += page_parts::between;
    html += pack(page_parts::sample_bytes(about.series()));
    html += page_parts::tail;
    return html;
}

}  // namespace lab
