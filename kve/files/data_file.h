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
    Usable usable(int32_t trait) const;

    [[noreturn]] void refuse(const std::string& words) const { integer_file_.refuse(words); }

 private:
    const RunFolder& run_;
    RecordFile integer_file_, real_file_;
    std::vector<int32_t> integers_;
    std::vector<float> reals_;
};

}  // namespace kve::companion
