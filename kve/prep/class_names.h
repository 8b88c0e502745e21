// The levels of a class column: names as in the table, and the integers that stand for them.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/arrays.h"
#include "kve/tables/identities.h"

namespace kve::companion::prep {

// One value of an intermediate record: the place of an identity or class, an integer, or a real.
union Slot {
    int32_t place;
    float real;
};
static_assert(sizeof(Slot) == 4);

// Pairs of places, numbered from 1 in the order in which they were met first.
class PlacePairs {
 public:
    struct Pair {
        int32_t first, second;
        bool operator==(const Pair&) const = default;
    };

    int32_t place_of(Pair wanted);
    // Has place_of find what it looks at in the cache, when it is called some pairs ahead.
    void fetch(Pair wanted) const {
        if (slots_.size() > 0) __builtin_prefetch(&slots_(home_of(wanted)));
    }
    const Pair& operator[](int32_t place) const {
        return pairs_[static_cast<std::size_t>(place) - 1];
    }
    int32_t size() const { return static_cast<int32_t>(pairs_.size()); }

 private:
    struct Known {
        Pair pair;
        int32_t place;  // 0: free
    };

    int64_t home_of(Pair wanted) const;
    int64_t slot_of(Pair wanted) const;
    void grow();

    std::vector<Pair> pairs_;
    Vec<Known, 0> slots_;  // a power of two
    int shift_ = 64;
};

// A class of the table keeps its integers when all its levels are integers that fit; otherwise the
// levels are numbered in the order of their names, numbers first.
class ClassNames {
 public:
    int32_t place_of(std::string_view text) { return table_.place_of(text); }
    const IdentityTable& table() const { return table_; }
    int32_t size() const;

    // Of an interaction, for as many records as there are places: those of the first parts, 0 when
    // one is missing, become those of the first parts and part `part`, from 1.
    void add_part(std::size_t part, std::span<const Slot> of_part, std::span<Slot> places);
    void set_parts(std::vector<const ClassNames*> parts);
    // How a level is shown that has a number of its own, such as a class of a real that was cut.
    void set_label(std::function<std::string(int32_t)> label) { label_ = std::move(label); }

    // When all levels are known.
    void number();
    const std::vector<int32_t>& codes() const { return codes_; }  // by place, from 1
    bool keeps_integers() const { return keeps_integers_; }
    std::string name(int32_t place) const;
    std::vector<int32_t> places_by_code() const;

 private:
    void find_parts(int32_t place, std::span<int32_t> parts) const;
    bool comes_before(int32_t a, int32_t b) const;
    void put_in_order(std::vector<int32_t>& places) const;
    void put_interactions_in_order(std::vector<int32_t>& places) const;

    IdentityTable table_;
    std::vector<const ClassNames*> parts_;
    std::vector<PlacePairs> pairs_;  // the first two parts, these and the third, and so on
    std::function<std::string(int32_t)> label_;
    std::vector<int32_t> codes_;
    bool keeps_integers_ = false;
};

}  // namespace kve::companion::prep
