// The levels of a class column: names as in the table, and the integers that stand for them.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "kve/tables/identities.h"

namespace kve::companion::prep {

// Pairs of places, numbered from 1 in the order in which they were met first.
class PlacePairs {
 public:
    struct Pair {
        int32_t first, second;
        bool operator==(const Pair&) const = default;
    };

    int32_t place_of(Pair wanted);
    const Pair& operator[](int32_t place) const {
        return pairs_[static_cast<std::size_t>(place) - 1];
    }
    int32_t size() const { return static_cast<int32_t>(pairs_.size()); }

 private:
    struct Slot {
        Pair pair;
        int32_t place;  // 0: free
    };

    std::size_t slot_of(Pair wanted) const;
    void grow();

    std::vector<Pair> pairs_;
    std::vector<Slot> slots_;
    int shift_ = 64;
};

// A class of the table keeps its integers when all its levels are integers that fit; otherwise the
// levels are numbered in the order of their names, numbers first.
class ClassNames {
 public:
    int32_t place_of(std::string_view text) { return table_.place_of(text); }
    const IdentityTable& table() const { return table_; }
    int32_t size() const;

    // Of an interaction: the places of its parts make one level.
    int32_t place_of_parts(const std::vector<int32_t>& parts);
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
