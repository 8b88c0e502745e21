#include "kve/check/bad_items.h"

#include <fmt/format.h>

#include "kve/check/data_items.h"

namespace kve::companion {

namespace {

constexpr std::size_t kLongestRest = 40, kLongestLine = 100'000;

}  // namespace

void BadItems::take(TextInput& file) {
    BadItem bad{.line = file.line_number(), .rest{}};
    std::string_view rest;
    if (file.read_line(rest, kLongestRest) == TextInput::Line::ok) bad.rest = rest;
    if (++n_ <= Findings::kKeptOfCode) first_.push_back(std::move(bad));
}

void BadItems::find_columns(const std::string& name) {
    TextInput file;
    if (file.open_input(name) != 0) return;
    std::string_view line;
    int64_t number = 0;
    for (BadItem& bad : first_) {
        while (number < bad.line) {
            if (file.read_line(line, kLongestLine) != TextInput::Line::ok) return;
            ++number;
        }
        const std::size_t at = line.rfind(bad.rest);
        if (at == line.npos) continue;
        bad.column = static_cast<int64_t>(at) + 1;
        bad.number = 1;
        for (std::size_t k = 1; k < at; ++k)
            bad.number += is_separator(line[k]) && !is_separator(line[k - 1]) ? 1 : 0;
    }
}

void BadItems::tell(Look& look, const std::string& file, const char* code,
                    const std::vector<std::string>& columns, const std::string& effect) {
    if (n_ == 0) return;
    find_columns(file);
    for (const BadItem& bad : first_) {
        const bool is_known = bad.number >= 1 && bad.number <= std::ssize(columns);
        const std::string column =
            is_known ? columns[static_cast<std::size_t>(bad.number - 1)] : "number";
        const bool is_integer = column != "value";
        const std::string_view item = first_item(bad.rest);
        ItemFault fault = fault_of_item(item, is_integer, "the " + column);
        if (std::string_view(code_of_item(item, is_integer)) == "missing-sign")
            fault.hint = "What is unknown is 0";
        if (bad.rest.empty()) fault = {"the file ends within a record", ""};
        look.findings.error(code, {file, bad.line, bad.column},
                            fmt::format("{}; {}", fault.message, effect), fault.hint);
    }
    look.findings.count_more(code, Severity::error, n_ - std::ssize(first_));
}

}  // namespace kve::companion
