#include "kve/check/data_levels.h"

#include <algorithm>
#include <limits>
#include <new>

#include "base/state.h"
#include "data/raw_record.h"
#include "directives/directives.h"
#include "model/model_records.h"

namespace kve::companion {

READS(DIRECTIVES);
READS(KVEINT);
READS(RMAT);
READS(RECORD);

namespace {

bool has_level_file(Structure structure) {
    return structure != Structure::I && structure != Structure::GROUP;
}

// A column that is called so has sexes.
int32_t find_sex_column() {
    for (int32_t column = 1; column <= DIRECTIVES.NI; ++column) {
        std::string name = integer_name(column).string();
        std::ranges::transform(name, name.begin(),
                               [](char c) { return c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c; });
        for (const char* sign : {"SEX", "GENDER", "KOEN", "KJONN", "GESCHL"})
            if (name.find(sign) != name.npos) return column;
    }
    return 0;
}

}  // namespace

DataLevels::DataLevels() {
    const int32_t sex_column = find_sex_column();
    sex_place_ = integer_place(sex_column);
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k) {
        const RMatrix& r = RMAT(k);
        if (!has_level_file(r.structure)) continue;
        // The levels of a matrix that belongs to a pedigree are those of the pedigree.
        FactorLevels& levels = factors_[k];
        if (levels.places.allocate() != 0) throw std::bad_alloc();
        bool is_first = sex_column > 0;
        for (const int32_t column : r.random_id_inp) {
            const auto bit = std::min(levels.columns.size(), FactorLevels::kColumnBits - 1);
            levels.columns.push_back(column);
            sources_.push_back({traits_of_matrix(k), integer_place(column), k, is_first,
                                static_cast<uint8_t>(1U << bit)});
            if (is_first) sex_name_ = integer_name(sex_column).string();
            is_first = false;
        }
    }
}

void DataLevels::enter(Source& source) {
    FactorLevels& levels = factors_[source.factor];
    int32_t place = static_cast<int32_t>(levels.id.size());
    if (const LevelIndex::Slot* met = levels.places.find(source.id); met != nullptr) {
        place = met->value();
    } else {
        if (levels.places.enter(source.id, place) != 0) throw std::bad_alloc();
        levels.id.push_back(source.id);
        levels.line.push_back(source.line);
        if (!sex_name_.empty()) levels.sex.push_back(0);
        if (levels.columns.size() > 1) levels.met_in.push_back(0);
    }
    if (!levels.met_in.empty()) levels.met_in[static_cast<std::size_t>(place)] |= source.bit;
    source.id = 0;
    if (!source.has_sex || source.sex == 0) return;
    int8_t& known = levels.sex[static_cast<std::size_t>(place)];
    known = known == 0 || known == source.sex ? source.sex : FactorLevels::kTwoSexes;
}

// Entered when the next record has come: what the index needs is fetched from the memory meanwhile.
void DataLevels::take_record(int64_t line, TraitPattern usable) {
    for (Source& source : sources_)
        if (source.id != 0) enter(source);
    if (sources_.empty()) return;
    const int32_t sex = RECORD.IINP(sex_place_);
    for (Source& source : sources_) {
        const int32_t id = RECORD.IINP(source.place);
        if (id < 1 || (source.traits & usable) == 0) continue;
        source.id = id;
        source.line =
            static_cast<int32_t>(std::min<int64_t>(line, std::numeric_limits<int32_t>::max()));
        source.sex = sex >= 1 && sex <= std::numeric_limits<int8_t>::max()
                         ? static_cast<int8_t>(sex)
                         : int8_t{0};
        factors_[source.factor].places.expect(id);
    }
}

void DataLevels::finish() {
    for (Source& source : sources_)
        if (source.id != 0) enter(source);
}

FactorLevels* DataLevels::of_factor(int32_t k) {
    const auto at = factors_.find(k);
    return at == factors_.end() ? nullptr : &at->second;
}

}  // namespace kve::companion
