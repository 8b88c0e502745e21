#include "kve/files/data_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <span>

#include "kve/shared/failure.h"

namespace kve::companion {

namespace {

constexpr std::size_t kBlockBytes = std::size_t{1} << 18;  // of both files

// Room for a record, no more than the file has.
template <class Word>
std::vector<Word> record_of(const RecordFile& file, int32_t words, int32_t n_records) {
    const auto n = static_cast<std::size_t>(words);
    if (n_records > 0 && n > file.bytes() / sizeof(Word))
        file.refuse(fmt::format("the file is shorter than a record of {} words", words));
    return std::vector<Word>(n_records > 0 ? n : 0);
}

std::string words_at_end(int64_t n_records) {
    return fmt::format("the last one, and MODINF tells {}", n_records);
}

std::string words_beyond(int64_t n_records) {
    return fmt::format("one too many, MODINF tells {}", n_records);
}

}  // namespace

DataFile::DataFile(const RunFolder& run)
    : n_records_(run.run().n_records),
      integer_file_(run.path(), "RCDATA_I"),
      real_file_(run.path(), "RCDATA_R"),
      integers_(record_of<int32_t>(integer_file_, run.run().NIOUT, run.run().n_records)),
      reals_(record_of<float>(real_file_, run.run().NFOUT, run.run().n_records)) {
    for (const Model& m : run.traits())
        traits_.push_back({{m.f_ef_rci.begin(), m.f_ef_rci.end()},
                           m.n_fixed > 0       ? Usable::no
                           : run.run().nt == 1 ? Usable::yes
                                               : Usable::not_told});
}

bool DataFile::next() {
    const auto read = [this](RecordFile& file, auto& record) {
        const bool found = file.next(std::as_writable_bytes(std::span(record)));
        if (!found && file.n_read() < n_records_) file.refuse(words_at_end(n_records_));
        if (found && file.n_read() > n_records_) file.refuse(words_beyond(n_records_));
        return found;
    };
    const bool found = read(integer_file_, integers_);
    return read(real_file_, reals_) && found;
}

DataBlock::DataBlock(const RunFolder& run)
    : n_records_(run.run().n_records),
      integer_bytes_(n_records_ > 0 ? sizeof(int32_t) * static_cast<std::size_t>(run.run().NIOUT)
                                    : 0),
      real_bytes_(n_records_ > 0 ? sizeof(float) * static_cast<std::size_t>(run.run().NFOUT) : 0),
      n_at_once_(static_cast<int64_t>(1 + kBlockBytes / (integer_bytes_ + real_bytes_ + 1))),
      integers_(run.path(), "RCDATA_I"),
      reals_(run.path(), "RCDATA_R") {}

int64_t DataBlock::read(int64_t block) {
    const int64_t first = block * n_at_once_;
    n_ = std::min(n_at_once_, n_records_ - first);
    n_integers_ = integers_.read(part_of(first, integer_bytes_), integer_bytes_);
    n_reals_ = reals_.read(part_of(first, real_bytes_), real_bytes_);
    return std::min(n_integers_, n_reals_);
}

void DataBlock::refuse_unread(int64_t k) const {
    (n_integers_ == k ? integers_ : reals_).refuse_unread(k, words_at_end(n_records_));
}

void DataBlock::expect_end() {
    n_ = 0;
    integers_.expect_end(part_of(n_records_, integer_bytes_), integer_bytes_,
                         words_beyond(n_records_));
    reals_.expect_end(part_of(n_records_, real_bytes_), real_bytes_, words_beyond(n_records_));
}

}  // namespace kve::companion
