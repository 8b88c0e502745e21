#include "kve/prep/class_names.h"

#include <algorithm>
#include <bit>
#include <new>
#include <numeric>
#include <utility>

#include "kve/shared/failure.h"
#include "kve/tables/values.h"

namespace kve::companion::prep {

int64_t PlacePairs::home_of(Pair wanted) const {
    constexpr uint64_t kMixer = 0x9E3779B97F4A7C15;  // the golden ratio, as a fraction of 2**64
    const uint64_t key =
        uint64_t{static_cast<uint32_t>(wanted.first)} << 32 | static_cast<uint32_t>(wanted.second);
    return static_cast<int64_t>(key * kMixer >> shift_);
}

int64_t PlacePairs::slot_of(Pair wanted) const {
    const int64_t last = slots_.size() - 1;
    int64_t at = home_of(wanted);
    while (slots_(at).place != 0 && slots_(at).pair != wanted) at = (at + 1) & last;
    return at;
}

void PlacePairs::grow() {
    constexpr int64_t kFirst = 64;
    const Vec<Known, 0> old = std::move(slots_);
    const int64_t n = std::max(kFirst, 2 * old.size());
    if (slots_.allocate(n) != 0) throw std::bad_alloc();
    shift_ = 65 - static_cast<int>(std::bit_width(static_cast<uint64_t>(n)));
    for (const Known& slot : old)
        if (slot.place != 0) slots_(slot_of(slot.pair)) = slot;
}

int32_t PlacePairs::place_of(Pair wanted) {
    if (2 * int64_t{size()} >= slots_.size()) grow();
    Known& slot = slots_(slot_of(wanted));
    if (slot.place == 0) {
        if (size() == INT32_MAX)
            throw Failure(kUnreadable, "more than 2147483647 levels of an interaction");
        pairs_.push_back(wanted);
        slot = {wanted, size()};
    }
    return slot.place;
}

void ClassNames::set_parts(std::vector<const ClassNames*> parts) {
    parts_ = std::move(parts);
    pairs_.resize(parts_.size() - 1);
}

int32_t ClassNames::size() const {
    const ClassNames* own = this;
    // An interaction of one class has its levels.
    while (!own->parts_.empty() && own->pairs_.empty()) own = own->parts_.front();
    return own->parts_.empty() ? own->table_.size() : own->pairs_.back().size();
}

void ClassNames::add_part(std::size_t part, std::span<const Slot> of_part, std::span<Slot> places) {
    constexpr std::size_t kAhead = 16;
    PlacePairs& pairs = pairs_[part - 1];
    const auto pair = [&](std::size_t k) {
        return PlacePairs::Pair{places[k].place, of_part[k].place};
    };
    for (std::size_t k = 0; k < places.size(); ++k) {
        if (k + kAhead < places.size()) pairs.fetch(pair(k + kAhead));
        const bool is_known = places[k].place != 0 && of_part[k].place != 0;
        places[k].place = is_known ? pairs.place_of(pair(k)) : 0;
    }
}

void ClassNames::find_parts(int32_t place, std::span<int32_t> parts) const {
    for (std::size_t k = pairs_.size(); k > 0; --k) {
        const PlacePairs::Pair pair = pairs_[k - 1][place];
        parts[k] = pair.second;
        place = pair.first;
    }
    parts[0] = place;
}

// NOLINTNEXTLINE(misc-no-recursion): the parts of an interaction were there before it.
std::string ClassNames::name(int32_t place) const {
    if (parts_.empty())
        return label_ ? label_(codes_[static_cast<std::size_t>(place)])
                      : std::string(table_.text(place));
    std::string whole;
    std::vector<int32_t> parts(parts_.size());
    find_parts(place, parts);
    for (std::size_t k = 0; k < parts.size(); ++k)
        whole += (k > 0 ? "*" : "") + parts_[k]->name(parts[k]);
    return whole;
}

bool ClassNames::comes_before(int32_t a, int32_t b) const {
    const std::string_view x = table_.text(a), y = table_.text(b);
    const std::optional<double> number_x = parse_real(x), number_y = parse_real(y);
    if (number_x && number_y && *number_x != *number_y) return *number_x < *number_y;
    if (number_x.has_value() != number_y.has_value()) return number_x.has_value();
    return x < y;
}

// By the codes of their parts.
void ClassNames::put_interactions_in_order(std::vector<int32_t>& places) const {
    const std::size_t n_parts = parts_.size();
    std::vector<int32_t> codes(places.size() * n_parts);
    const auto codes_of = [&](int32_t place) {
        return std::span(codes).subspan((static_cast<std::size_t>(place) - 1) * n_parts, n_parts);
    };
    for (const int32_t place : places) {
        const std::span<int32_t> own = codes_of(place);
        find_parts(place, own);
        for (std::size_t k = 0; k < n_parts; ++k)
            own[k] = parts_[k]->codes()[static_cast<std::size_t>(own[k])];
    }
    std::ranges::sort(places, [&](int32_t a, int32_t b) {
        return std::ranges::lexicographical_compare(codes_of(a), codes_of(b));
    });
}

void ClassNames::put_in_order(std::vector<int32_t>& places) const {
    if (!parts_.empty()) return put_interactions_in_order(places);
    std::ranges::sort(places, [this](int32_t a, int32_t b) { return comes_before(a, b); });
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
    put_in_order(order);
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
