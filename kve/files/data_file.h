// RCDATA_I and RCDATA_R, record by record.
#pragma once

#include <cstdint>
#include <vector>

#include "kve/files/record_file.h"
#include "kve/files/run_folder.h"

namespace kve::companion {

// Traits of which a record tells that they are usable.
enum class Usable { no, yes, not_told };

class DataFile {
 public:
    explicit DataFile(const RunFolder& run);

    // False after the last record that MODINF tells; Failure where the files are not alike.
    bool next();
    int32_t integer(int32_t position) const {
        return integers_[static_cast<std::size_t>(position) - 1];
    }
    float real(int32_t position) const { return reals_[static_cast<std::size_t>(position) - 1]; }

    // By the levels of the fixed class effects, which are 0 in a record where the trait is not
    // usable. Without such effects a single trait is usable in all records, since the others are
    // left out; of several traits nothing tells.
    Usable usable(int32_t trait) const {
        for (const int32_t position : effects_[static_cast<std::size_t>(trait) - 1])
            if (integer(position) != 0) return Usable::yes;
        return without_level_[static_cast<std::size_t>(trait) - 1];
    }

    [[noreturn]] void refuse(const std::string& words) const { integer_file_.refuse(words); }

 private:
    int64_t n_records_;
    RecordFile integer_file_, real_file_;
    std::vector<int32_t> integers_;
    std::vector<float> reals_;
    // By trait: where its fixed class effects stand, and what a record without a level of any
    // tells.
    std::vector<std::vector<int32_t>> effects_;
    std::vector<Usable> without_level_;
};

}  // namespace kve::companion
