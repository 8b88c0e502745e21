// The levels of a class column: names as in the table, and the integers that stand for them.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "kve/tables/identities.h"

namespace kve::companion::prep {

// A class of the table keeps its integers when all its levels are integers that fit; otherwise the
// levels are numbered in the order of their names, numbers first.
class ClassNames {
 public:
    int32_t place_of(std::string_view text) { return table_.place_of(text); }
    const IdentityTable& table() const { return table_; }
    int32_t size() const { return table_.size(); }

    // Of an interaction: the places of its parts make one level.
    int32_t place_of_parts(const std::vector<int32_t>& parts);
    void set_parts(std::vector<const ClassNames*> parts) { parts_ = std::move(parts); }
    // How a level is shown that has a number of its own, such as a class of a real that was cut.
    void set_label(std::function<std::string(int32_t)> label) { label_ = std::move(label); }

    // When all levels are known.
    void number();
    const std::vector<int32_t>& codes() const { return codes_; }  // by place, from 1
    bool keeps_integers() const { return keeps_integers_; }
    std::string name(int32_t place) const;
    std::vector<int32_t> places_by_code() const;

 private:
    std::vector<int32_t> parts_of(int32_t place) const;
    bool comes_before(int32_t a, int32_t b) const;

    IdentityTable table_;
    std::vector<const ClassNames*> parts_;
    std::function<std::string(int32_t)> label_;
    std::vector<int32_t> codes_;
    bool keeps_integers_ = false;
};

}  // namespace kve::companion::prep
