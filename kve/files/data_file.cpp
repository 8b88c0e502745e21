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
    : run_(run),
      integer_file_(run.path(), "RCDATA_I"),
      real_file_(run.path(), "RCDATA_R"),
      integers_(record_of<int32_t>(integer_file_, run.run().NIOUT, run.run().n_records)),
      reals_(record_of<float>(real_file_, run.run().NFOUT, run.run().n_records)) {}

bool DataFile::next() {
    const auto read = [this](RecordFile& file, auto& record) {
        const bool found = file.next(std::as_writable_bytes(std::span(record)));
        if (!found && file.n_read() < run_.run().n_records)
            file.refuse(fmt::format("the last one, and MODINF tells {}", run_.run().n_records));
        if (found && file.n_read() > run_.run().n_records)
            file.refuse(fmt::format("one too many, MODINF tells {}", run_.run().n_records));
        return found;
    };
    const bool found = read(integer_file_, integers_);
    return read(real_file_, reals_) && found;
}

Usable DataFile::usable(int32_t trait) const {
    const Model& m = run_.trait(trait);
    if (m.n_fixed > 0)
        return std::ranges::any_of(m.f_ef_rci, [this](int32_t p) { return integer(p) != 0; })
                   ? Usable::yes
                   : Usable::no;
    return run_.run().nt == 1 ? Usable::yes : Usable::not_told;
}

}  // namespace kve::companion
