// Files that the build puts into the program: those of this folder and the library of charts.
#pragma once

#include <string_view>

namespace kve::companion::embedded {

extern const std::string_view page_html, page_css, page_js, chart_js;

}  // namespace kve::companion::embedded
