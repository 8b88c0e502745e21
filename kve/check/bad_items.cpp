#include "kve/check/bad_items.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/freeform.h"

namespace kve::companion {

namespace {

constexpr std::size_t kLongestRest = 40, kLongestLine = 100'000;

bool separates(char c) { return c == ' ' || c == '\t' || c == '\r' || c == ','; }

std::string first_item(const std::string& rest) {
    std::size_t end = 0;
    while (end < rest.size() && !separates(rest[end])) ++end;
    return rest.substr(0, end);
}

std::string printable(std::string text) {
    std::ranges::replace_if(
        text, [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; }, '?');
    return text;
}

struct ItemWords {
    std::string words, hint;
};

ItemWords words_of(const std::string& item, const std::string& column) {
    if (item.starts_with("\xEF\xBB\xBF"))
        return {"the file begins with a byte order mark, which is no number",
                "sed -i '1s/^\\xEF\\xBB\\xBF//' removes it"};
    if (item.empty())
        return {fmt::format("{} is missing", column), "Commas separate values, one at a time"};
    double real = 0;
    if (parse_number(item, real))
        return {fmt::format("{} stands for {}, which is an integer", item, column), ""};
    return {fmt::format("{} stands for {}", printable(item), column),
            "Names, dashes in dates and signs of missing values are no numbers; 0 is unknown"};
}

}  // namespace

void BadItems::take(TextInput& file) {
    BadItem bad{.line = file.line_number(), .rest{}};
    std::string_view rest;
    if (file.read_line(rest, kLongestRest) == TextInput::Line::ok) bad.rest = rest;
    if (++n_ <= Findings::kShownOfCode) first_.push_back(std::move(bad));
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
            bad.number += separates(line[k]) && !separates(line[k - 1]) ? 1 : 0;
    }
}

void BadItems::tell(Look& look, const std::string& file, const char* code,
                    const std::vector<std::string>& columns, const std::string& effect) {
    if (n_ == 0) return;
    find_columns(file);
    for (const BadItem& bad : first_) {
        const bool is_known = bad.number >= 1 && bad.number <= std::ssize(columns);
        const ItemWords item =
            words_of(first_item(bad.rest),
                     is_known ? "the " + columns[static_cast<std::size_t>(bad.number - 1)]
                              : std::string("a number"));
        look.findings.error(code, {file, bad.line, bad.column},
                            fmt::format("{}; {}", item.words, effect), item.hint);
    }
    look.findings.count_more(code, Severity::error, n_ - std::ssize(first_));
}

}  // namespace kve::companion
