// RCDATA_I and RCDATA_R, record by record.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "kve/files/record_file.h"
#include "kve/files/run_folder.h"

namespace kve::companion {

// Traits of which a record tells that they are usable.
enum class Usable { no, yes, not_told };

// What the levels of its fixed class effects tell of a trait: they are 0 in a record where it is
// not usable. Without such effects a single trait is usable in all records, since the others are
// left out; of several traits nothing tells.
struct TraitLevels {
    std::vector<int32_t> effects;  // where the levels stand
    Usable without_level;          // of a record without any

    template <class Record>
    Usable usable(const Record& record) const {
        for (const int32_t position : effects)
            if (record.integer(position) != 0) return Usable::yes;
        return without_level;
    }
};

class DataFile {
 public:
    explicit DataFile(const RunFolder& run);

    // False after the last record that MODINF tells; Failure where the files are not alike.
    bool next();
    int32_t integer(int32_t position) const {
        return integers_[static_cast<std::size_t>(position) - 1];
    }
    float real(int32_t position) const { return reals_[static_cast<std::size_t>(position) - 1]; }

    const TraitLevels& levels_of(int32_t trait) const {
        return traits_[static_cast<std::size_t>(trait) - 1];
    }
    Usable usable(int32_t trait) const { return levels_of(trait).usable(*this); }

    [[noreturn]] void refuse(const std::string& words) const { integer_file_.refuse(words); }

 private:
    int64_t n_records_;
    RecordFile integer_file_, real_file_;
    std::vector<int32_t> integers_;
    std::vector<float> reals_;
    std::vector<TraitLevels> traits_;
};

// A record where it was read.
struct DataRecord {
    const std::byte *integers, *reals;

    int32_t integer(int32_t position) const { return word_at<int32_t>(integers, position); }
    float real(int32_t position) const { return word_at<float>(reals, position); }

 private:
    template <class Word>
    static Word word_at(const std::byte* record, int32_t position) {
        Word word;
        std::memcpy(&word, record + sizeof word * (static_cast<std::size_t>(position) - 1),
                    sizeof word);
        return word;
    }
};

// Many records at a time, of a run that DataFile has opened.
class DataBlock {
 public:
    explicit DataBlock(const RunFolder& run);

    int64_t n_blocks() const { return (n_records_ + n_at_once_ - 1) / n_at_once_; }
    // Tells how many of the records of a block can be read: all that are wanted, or the next one is
    // to be refused.
    int64_t read(int64_t block);
    int64_t n_wanted() const { return n_; }
    DataRecord record(int64_t k) const { return {integers_.record(k), reals_.record(k)}; }
    [[noreturn]] void refuse_unread(int64_t k) const;
    void expect_end();
    [[noreturn]] void refuse(int64_t k, const std::string& words) const {
        integers_.refuse(k, words);
    }

 private:
    RecordBlock::Part part_of(int64_t first, std::size_t record_bytes) const {
        return {first, static_cast<uintmax_t>(first) * (record_bytes + 2 * sizeof(int32_t)), n_};
    }

    int64_t n_records_;
    std::size_t integer_bytes_, real_bytes_;  // of a record
    int64_t n_at_once_, n_ = 0, n_integers_ = 0, n_reals_ = 0;
    RecordBlock integers_, reals_;
};

}  // namespace kve::companion
