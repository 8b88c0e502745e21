#include "base/freeform.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>
#include <system_error>

#include "base/text.h"

namespace kve {
namespace {

// from_chars takes no leading "+"; "+-1" must not slip through.
bool without_plus(std::string_view& text) {
    if (text.empty() || text.front() != '+') return !text.empty();
    text.remove_prefix(1);
    return !text.empty() && text.front() != '-' && text.front() != '+';
}

template <class Integer>
bool parse_integer(std::string_view text, Integer& value) {
    text = trimmed(text);
    if (!without_plus(text)) return false;
    Integer parsed;
    auto [stop, code] = std::from_chars(text.data(), text.data() + text.size(), parsed);
    if (code != std::errc() || stop != text.data() + text.size()) return false;
    value = parsed;
    return true;
}

std::string with_e_exponent(std::string_view text) {
    std::string plain(text);
    for (char& c : plain)
        if (c == 'd' || c == 'D') c = 'e';
    return plain;
}

}  // namespace

bool parse_number(std::string_view text, int32_t& value) { return parse_integer(text, value); }
bool parse_number(std::string_view text, int64_t& value) { return parse_integer(text, value); }

bool parse_number(std::string_view text, double& value) {
    text = trimmed(text);
    if (!without_plus(text)) return false;
    std::string plain = with_e_exponent(text);
    double parsed;
    const char* last = plain.data() + plain.size();
    auto [stop, code] = std::from_chars(plain.data(), last, parsed);
    if (stop != last || code == std::errc::invalid_argument) return false;
    // from_chars leaves the value untouched beyond the range; strtod gives 0 or infinity.
    if (code == std::errc::result_out_of_range) parsed = std::strtod(plain.c_str(), nullptr);
    value = parsed;
    return true;
}

bool parse_number(std::string_view text, float& value) {
    double wide;
    if (!parse_number(text, wide)) return false;
    // Beyond the float range the conversion itself would be undefined.
    constexpr double largest = std::numeric_limits<float>::max();
    if (std::abs(wide) > largest && !std::isinf(wide)) wide = std::copysign(HUGE_VAL, wide);
    value = static_cast<float>(wide);
    return true;
}

// Ok with an empty item stands for an omitted one.
Read FreeList::next_item(std::string_view& item) {
    item = {};
    if (ended_by_slash_) return Read::ok;
    rest_ = left_adjusted(rest_);
    if (comma_pending_ && !rest_.empty() && rest_.front() == ',') {
        rest_.remove_prefix(1);
        rest_ = left_adjusted(rest_);
    }
    comma_pending_ = false;
    if (rest_.empty()) return Read::end;
    if (rest_.front() == '/') {
        ended_by_slash_ = true;
        return Read::ok;
    }
    if (rest_.front() == ',') {
        rest_.remove_prefix(1);
        return Read::ok;
    }
    std::size_t end = 0;
    while (end < rest_.size() && !is_blank(rest_[end]) && rest_[end] != ',' && rest_[end] != '/')
        ++end;
    item = rest_.substr(0, end);
    rest_.remove_prefix(end);
    comma_pending_ = true;
    return Read::ok;
}

}  // namespace kve
