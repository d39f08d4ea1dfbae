cmake_minimum_required(VERSION 3.25)

# Makes the page's source one C++ file: cmake -DPAGE_DIR=... -DOUTPUT=... -P assemble.cmake
#
# The modules become one script, in the order below (each after those that it imports), without their import and
# export words: they share one scope, so their top-level names differ. Where page.html says @RUN@, @SAMPLES@
# and @OTHER@ the report puts its data.
set(modules format dom colours clock axis data samples panels patterns chart bands gestures charts list save link
    figures sessions forecast heatmap log story summary tables verdict compare theme print main)

# Each module once, and no two with the same name at their top.
file(GLOB found RELATIVE "${PAGE_DIR}" "${PAGE_DIR}/*.js")
list(TRANSFORM found REPLACE "\\.js$" "")
list(SORT found)
set(sorted ${modules})
list(SORT sorted)
if(NOT found STREQUAL sorted)
    message(FATAL_ERROR "The page's modules are ${found}, but ${sorted} are put together")
endif()

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
    string(REGEX MATCHALL "\n(const|let|class|function|async function) [A-Za-z_$]+" declared "${source}")
    foreach(each IN LISTS declared)
        string(REGEX REPLACE ".* " "" name "${each}")
        if(name IN_LIST names)
            message(FATAL_ERROR "Two modules of the page have a ${name} at their top; the second one is ${module}.js")
        endif()
        # In the one scope that they share it would hide the browser's own.
        if(name MATCHES "^(history|location|navigator|screen|name|top|status|event|open|close|print|find|stop|parent|scroll|focus)$")
            message(FATAL_ERROR "${module}.js has a ${name} at its top, which every module has from the browser")
        endif()
        list(APPEND names ${name})
    endforeach()
    # What only a reader of the source needs stays there.
    string(REGEX REPLACE "\n *(//|/\\*\\*|\\*)[^\n]*" "" source "\n${source}")
    string(REGEX REPLACE "\n +" "\n" source "${source}")
    string(APPEND script "${source}")
endforeach()

string(REPLACE "@UPLOT_STYLE@" "${uplot_style}" page "${page}")
string(REPLACE "@STYLE@" "${style}" page "${page}")
string(REPLACE "@UPLOT_NOTICE@" "uPlot\n\n${uplot_notice}" page "${page}")
string(REPLACE "@UPLOT_SCRIPT@" "${uplot_script}" page "${page}")
string(REPLACE "@SCRIPT@" "${script}" page "${page}")

# Four pieces as raw strings, around the three places for data.
set(delimiter "vorn_page")
string(REPLACE "@RUN@" ")${delimiter}\";\nconst std::string_view before_samples = R\"${delimiter}(" page "${page}")
string(REPLACE "@SAMPLES@" ")${delimiter}\";\nconst std::string_view before_other = R\"${delimiter}(" page "${page}")
string(REPLACE "@OTHER@" ")${delimiter}\";\nconst std::string_view tail = R\"${delimiter}(" page "${page}")
file(WRITE "${OUTPUT}" "// Generated from lab/report/page/ by assemble.cmake.
#include \"lab/report/page.h\"

namespace lab::page_parts {

const std::string_view head = R\"${delimiter}(${page})${delimiter}\";

}  // namespace lab::page_parts
")
