#include "listing/triangle_listing.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstddef>
#include <string>

#include "base/text.h"
#include "listing/listing.h"

namespace kve {
namespace {

constexpr int32_t kColumnsOfBlock = 6;

}  // namespace

void Sheet::line(const char* format, ...) {
    std::string text;
    std::va_list items;
    va_start(items, format);
    append_list(text, format, items);
    va_end(items);
    if (file != nullptr) return file->print_line(text);
    say_line("%s", text.c_str());
}

void Sheet::empty(int lines) {
    for (int k = 0; k < lines; ++k) line("%s", "");
}

void Sheet::page_for(int64_t lines) {
    if (file == nullptr) page_if(static_cast<int>(std::min<int64_t>(lines, kLinesOnPage)));
}

int64_t triangle_lines(int32_t order) {
    int64_t lines = 0;
    for (int64_t first = 1; first <= order; first += kColumnsOfBlock) lines += order - first + 2;
    return lines;
}

std::string number_column(double value, int width, int decimals) {
    if (std::isnan(value)) return std::string(static_cast<std::size_t>(width - 3), ' ') + "NaN";
    std::string text;
    append(text, " %*.*f", width - 1, decimals, value);
    return text;
}

void KVEPRM(int32_t row_offset, int32_t order, const Triangle<double>& matrix, TriangleOf mode,
            Sheet& unit) {
    const int decimals = mode == TriangleOf::covariances ? 7 : 4;
    for (int32_t first = 1; first <= order; first += kColumnsOfBlock) {
        const int32_t last = std::min(first + kColumnsOfBlock - 1, order);
        std::string text = "  ";
        for (int32_t j = first; j <= last; ++j) append(text, "%15d", row_offset + j);
        unit.page_for(2);
        unit.line("%s", text.c_str());
        for (int32_t i = first; i <= order; ++i) {
            text.clear();
            for (int32_t j = first; j <= std::min(i, last); ++j)
                text += number_column(matrix(i, j), 15, decimals);
            unit.page_for(1);
            unit.line("%5d%s", row_offset + i, text.c_str());
        }
    }
}

void to_correlations(Triangle<double>& matrix) {
    // Row by row from the end: a variance is still there when its last covariance is divided.
    for (int64_t i = matrix.order(); i >= 1; --i)
        for (int64_t j = 1; j <= i; ++j) matrix(i, j) /= std::sqrt(matrix(i, i) * matrix(j, j));
}

}  // namespace kve
