#include "kve/prep/class_names.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <utility>

#include "kve/tables/values.h"

namespace kve::companion::prep {

int32_t ClassNames::place_of_parts(const std::vector<int32_t>& parts) {
    return table_.place_of(std::string_view(reinterpret_cast<const char*>(parts.data()),
                                            parts.size() * sizeof(int32_t)));
}

std::vector<int32_t> ClassNames::parts_of(int32_t place) const {
    std::vector<int32_t> parts(parts_.size());
    std::memcpy(parts.data(), table_.text(place).data(), parts.size() * sizeof(int32_t));
    return parts;
}

std::string ClassNames::name(int32_t place) const {
    if (parts_.empty())
        return label_ ? label_(codes_[static_cast<std::size_t>(place)])
                      : std::string(table_.text(place));
    std::string whole;
    const std::vector<int32_t> parts = parts_of(place);
    for (std::size_t k = 0; k < parts.size(); ++k)
        whole += (k > 0 ? "*" : "") + parts_[k]->name(parts[k]);
    return whole;
}

bool ClassNames::comes_before(int32_t a, int32_t b) const {
    if (!parts_.empty()) {
        const std::vector<int32_t> of_a = parts_of(a), of_b = parts_of(b);
        for (std::size_t k = 0; k < parts_.size(); ++k) {
            const std::vector<int32_t>& codes = parts_[k]->codes();
            const int32_t x = codes[static_cast<std::size_t>(of_a[k])],
                          y = codes[static_cast<std::size_t>(of_b[k])];
            if (x != y) return x < y;
        }
        return false;
    }
    const std::string_view x = table_.text(a), y = table_.text(b);
    const std::optional<double> number_x = parse_real(x), number_y = parse_real(y);
    if (number_x && number_y && *number_x != *number_y) return *number_x < *number_y;
    if (number_x.has_value() != number_y.has_value()) return number_x.has_value();
    return x < y;
}

void ClassNames::number() {
    const int32_t n = size();
    codes_.assign(static_cast<std::size_t>(n) + 1, 0);
    keeps_integers_ = parts_.empty();
    for (int32_t place = 1; place <= n && keeps_integers_; ++place) {
        const std::optional<int32_t> value = integer_identity(table_.text(place));
        keeps_integers_ = value.has_value();
        codes_[static_cast<std::size_t>(place)] = value.value_or(0);
    }
    if (keeps_integers_) return;
    std::vector<int32_t> order(static_cast<std::size_t>(n));
    std::iota(order.begin(), order.end(), 1);
    std::ranges::sort(order, [this](int32_t a, int32_t b) { return comes_before(a, b); });
    for (int32_t code = 1; code <= n; ++code)
        codes_[static_cast<std::size_t>(order[static_cast<std::size_t>(code) - 1])] = code;
}

std::vector<int32_t> ClassNames::places_by_code() const {
    std::vector<int32_t> order(static_cast<std::size_t>(size()));
    std::iota(order.begin(), order.end(), 1);
    std::ranges::sort(order, {},
                      [this](int32_t place) { return codes_[static_cast<std::size_t>(place)]; });
    return order;
}

}  // namespace kve::companion::prep
