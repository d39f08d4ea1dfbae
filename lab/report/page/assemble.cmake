# Makes the page's source one C++ file: cmake -DPAGE_DIR=... -DOUTPUT=... -P assemble.cmake
#
# The modules become one script, in the order below (each after those that it imports), without their import and
# export words: they share one scope, so their top-level names differ. Where page.html says @RUN@ and @SAMPLES@
# the report puts its data.
set(modules format dom clock axis data samples panels chart bands list heatmap log story summary tables theme gestures main)

file(READ "${PAGE_DIR}/page.html" page)
file(READ "${PAGE_DIR}/style.css" style)
file(READ "${PAGE_DIR}/node_modules/uplot/dist/uPlot.min.css" uplot_style)
file(READ "${PAGE_DIR}/node_modules/uplot/dist/uPlot.iife.min.js" uplot_script)
file(READ "${PAGE_DIR}/node_modules/uplot/LICENSE" uplot_notice)

set(script "")
foreach(module IN LISTS modules)
    file(READ "${PAGE_DIR}/${module}.js" source)
    string(REGEX REPLACE "import [^\n]* from \"[^\n]*\";\n" "" source "${source}")
    string(REGEX REPLACE "\nexport " "\n" source "${source}")
    string(APPEND script "${source}")
endforeach()

string(REPLACE "@UPLOT_STYLE@" "${uplot_style}" page "${page}")
string(REPLACE "@STYLE@" "${style}" page "${page}")
string(REPLACE "@UPLOT_NOTICE@" "uPlot\n\n${uplot_notice}" page "${page}")
string(REPLACE "@UPLOT_SCRIPT@" "${uplot_script}" page "${page}")
string(REPLACE "@SCRIPT@" "${script}" page "${page}")

# Three pieces as raw strings, around the two places for data.
set(delimiter "vorn_page")
string(REPLACE "@RUN@" ")${delimiter}\";\nconst std::string_view between = R\"${delimiter}(" page "${page}")
string(REPLACE "@SAMPLES@" ")${delimiter}\";\nconst std::string_view tail = R\"${delimiter}(" page "${page}")
file(WRITE "${OUTPUT}" "// Generated from lab/report/page/ by assemble.cmake.
#include \"lab/report/page.h\"

namespace lab::page_parts {

const std::string_view head = R\"${delimiter}(${page})${delimiter}\";

}  // namespace lab::page_parts
")
