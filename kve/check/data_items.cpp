#include "kve/check/data_items.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>

#include "base/freeform.h"
#include "kve/check/directive_text.h"

namespace kve::companion {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

bool is_digit(char c) { return c >= '0' && c <= '9'; }

bool is_missing_sign(std::string_view item) {
    constexpr std::array<std::string_view, 14> kSigns{"na",   "n/a",  "#n/a", "n.a.",    "nan",
                                                      "null", "none", "nil",  "missing", ".",
                                                      "-",    "--",   "*",    "?"};
    std::string small(item);
    std::ranges::transform(small, small.begin(), [](unsigned char c) { return std::tolower(c); });
    return std::ranges::find(kSigns, small) != kSigns.end();
}

// Digits in three groups with "-", "/" or "." between them.
bool is_date(std::string_view item) {
    int groups = 0;
    for (std::size_t at = 0; at < item.size(); ++at) {
        if (!is_digit(item[at])) return false;
        while (at < item.size() && is_digit(item[at])) ++at;
        ++groups;
        if (at < item.size() && std::string_view("-/.").find(item[at]) == std::string_view::npos)
            return false;
    }
    return groups == 3;
}

bool is_number(std::string_view item) {
    double value = 0;
    return parse_number(item, value);
}

// Digits and a comma and digits, as a whole.
bool has_decimal_comma(std::string_view piece) {
    if (!piece.empty() && (piece.front() == '-' || piece.front() == '+')) piece.remove_prefix(1);
    const std::size_t comma = piece.find(',');
    return comma != piece.npos && comma > 0 && comma + 1 < piece.size() &&
           std::ranges::all_of(piece.substr(0, comma), is_digit) &&
           std::ranges::all_of(piece.substr(comma + 1), is_digit);
}

}  // namespace

std::string_view first_item(std::string_view rest) {
    std::size_t end = 0;
    while (end < rest.size() && !is_separator(rest[end])) ++end;
    return rest.substr(0, end);
}

std::string shown(std::string_view text) {
    constexpr std::size_t kMost = 40;
    std::string out;
    for (const char c : text.substr(0, kMost))
        out += static_cast<unsigned char>(c) < 32 || c == 127 ? '?' : c;
    return out + (text.size() > kMost ? "..." : "");
}

LineItems count_items(std::string_view line) {
    LineItems items;
    for (std::size_t at = 0; at < line.size(); ++at) {
        if (is_separator(line[at])) continue;
        const std::string_view item = first_item(line.substr(at));
        ++items.n;
        items.n_words += is_number(item) || is_missing_sign(item) ? 0 : 1;
        at += item.size();
    }
    return items;
}

int64_t find_decimal_comma(std::string_view line, int64_t n) {
    const std::vector<Word> pieces = words_of(line);
    if (std::ssize(pieces) != n) return -1;
    for (const Word& piece : pieces)
        if (has_decimal_comma(piece.text)) return piece.column;
    return -1;
}

const char* code_of_item(std::string_view item, bool is_integer) {
    if (item.starts_with(kByteOrderMark)) return "byte-order-mark";
    if (item.empty() || is_missing_sign(item)) return "missing-sign";
    if (item.find_first_of("\"'`") != item.npos) return "quotes";
    return is_integer && is_number(item) ? "not-an-integer" : "not-a-number";
}

ItemFault fault_of_item(std::string_view item, bool is_integer, const std::string& column) {
    const std::string stands = fmt::format("{} stands for {}", shown(item), column);
    const char* missing_is =
        is_integer ? "A missing class is 0" : "A missing value is the code of $DATA";
    if (item.starts_with(kByteOrderMark))
        return {"the file begins with a byte order mark, which is no number",
                "sed -i '1s/^\\xEF\\xBB\\xBF//' removes it"};
    if (item.empty())
        return {fmt::format("nothing stands between two commas, for {}", column), missing_is};
    if (is_missing_sign(item)) return {stands, missing_is};
    if (item.find(';') != item.npos)
        return {stands, "Blanks, tabs or commas separate values, semicolons do not"};
    if (is_date(item)) return {stands, "A date is a number such as 20200611"};
    if (is_integer && is_number(item))
        return {stands + ", an integer column",
                "In integer columns numbers have no decimals and at most 18 digits"};
    return {stands, ""};
}

}  // namespace kve::companion
