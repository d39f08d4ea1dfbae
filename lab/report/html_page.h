// html_page: a page of HTML that needs nothing beside it, from its source and the data that it draws.
//
// A page's source are two files, NAME.html (its title and what stands in its main part) and NAME.js (its script, which may
// import the modules of lab/report/page). add_page() in lab/CMakeLists.txt makes them one page_source at build time, with
// the style, the themes and a policy that lets nothing else run: see page/assemble.mjs.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace lab {

struct page_source {
    std::string_view before_data, after_data;
};

// Bytes that the page's script gets by their name: datum(id) and jsonDatum(id) in page/start.js.
struct page_datum {
    std::string_view id;  // letters and "-"
    std::string bytes;    // anything
};

// The whole file. Whatever stands in the data, none of it is markup.
std::string html_page(const page_source& source, const std::vector<page_datum>& data);

}  // namespace lab
