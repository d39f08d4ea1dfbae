#include "lab/report/html_page.h"

#include "lab/report/pack.h"

namespace lab {

std::string html_page(const page_source& source, const std::vector<page_datum>& data) {
    std::string html(source.before_data);
    for (const page_datum& each : data) {
        html.append("<script id=\"").append(each.id).append("\" type=\"text/plain\">");
        html.append(pack(each.bytes)).append("</script>\n");
    }
    return html.append(source.after_data);
}

}  // namespace lab
