#include "kve/files/data_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <span>

#include "kve/shared/failure.h"

namespace kve::companion {

namespace {

// Room for a record, no more than the file has.
template <class Word>
std::vector<Word> record_of(const RecordFile& file, int32_t words, int32_t n_records) {
    const auto n = static_cast<std::size_t>(words);
    if (n_records > 0 && n > file.bytes() / sizeof(Word))
        file.refuse(fmt::format("the file is shorter than a record of {} words", words));
    return std::vector<Word>(n_records > 0 ? n : 0);
}

}  // namespace

DataFile::DataFile(const RunFolder& run)
    : n_records_(run.run().n_records),
      integer_file_(run.path(), "RCDATA_I"),
      real_file_(run.path(), "RCDATA_R"),
      integers_(record_of<int32_t>(integer_file_, run.run().NIOUT, run.run().n_records)),
      reals_(record_of<float>(real_file_, run.run().NFOUT, run.run().n_records)) {
    for (const Model& m : run.traits()) {
        effects_.emplace_back(m.f_ef_rci.begin(), m.f_ef_rci.end());
        without_level_.push_back(m.n_fixed > 0       ? Usable::no
                                 : run.run().nt == 1 ? Usable::yes
                                                     : Usable::not_told);
    }
}

bool DataFile::next() {
    const auto read = [this](RecordFile& file, auto& record) {
        const bool found = file.next(std::as_writable_bytes(std::span(record)));
        if (!found && file.n_read() < n_records_)
            file.refuse(fmt::format("the last one, and MODINF tells {}", n_records_));
        if (found && file.n_read() > n_records_)
            file.refuse(fmt::format("one too many, MODINF tells {}", n_records_));
        return found;
    };
    const bool found = read(integer_file_, integers_);
    return read(real_file_, reals_) && found;
}

}  // namespace kve::companion
