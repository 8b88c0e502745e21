// The levels of random factors that stand in the data, for the files that must have them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "data/usability.h"
#include "kve/check/look.h"
#include "store/level_index.h"

namespace kve::companion {

// Those of one factor, as KVE1 counts them: from records with a trait of the factor that is usable.
// What `places` has for an identity is its place in the tables.
struct FactorLevels {
    LevelIndex places;
    std::vector<int32_t> id;
    std::vector<int32_t> line;     // on which it stands first; of binary data the record
    std::vector<int8_t> sex;       // as the data have it, 0 not known, kTwoSexes; or empty
    std::vector<int32_t> columns;  // of the identities, ascending
    std::vector<uint8_t> met_in;   // bits of the columns where it stands; empty when there is one

    static constexpr int8_t kTwoSexes = -1;
    // All that follow share the last bit.
    static constexpr std::size_t kColumnBits = 8;

    bool is_met_in(std::size_t place, std::size_t column) const {
        return met_in.empty() || ((met_in[place] >> std::min(column, kColumnBits - 1)) & 1) != 0;
    }
};

class DataLevels {
 public:
    // Plans from MODEL and RMAT, which must be complete.
    DataLevels();

    // The record that stands in RECORD.
    void take_record(int64_t line, TraitPattern usable);
    // After the last record.
    void finish();

    // Nothing for a factor without levels in a file.
    FactorLevels* of_factor(int32_t k);
    const std::string& sex_name() const { return sex_name_; }  // of the column, empty without one

 private:
    struct Source {
        TraitPattern traits;
        int32_t place;  // in IINP
        int32_t factor;
        bool has_sex;    // the one whose sex the record tells
        uint8_t bit;     // of its column
        int32_t id = 0;  // waits for its place in the tables
        int32_t line = 0;
        int8_t sex = 0;
    };
    void enter(Source& source);

    std::vector<Source> sources_;
    std::map<int32_t, FactorLevels> factors_;
    std::string sex_name_;
    int32_t sex_place_ = 0;
};

}  // namespace kve::companion
