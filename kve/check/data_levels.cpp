#include "kve/check/data_levels.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <new>
#include <span>

#include "base/state.h"
#include "data/raw_record.h"
#include "directives/directives.h"
#include "model/model_records.h"

namespace kve::companion {

READS(DIRECTIVES);
READS(KVEINT);
READS(RMAT);
WRITES(RECORD);

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

void allocate_fields() {
    const int64_t ni = DIRECTIVES.NI, nr = DIRECTIVES.NR;
    if (RECORD.IINP.allocate(ni + 2) != 0 || RECORD.FINP.allocate(nr + 1) != 0 ||
        RECORD.L_FINP_MIS.allocate(nr + 1) != 0)
        throw std::bad_alloc();
    RECORD.IINP(0) = 1;
    RECORD.FINP(nr + 1) = DIRECTIVES.RMISS;
}

}  // namespace

DataLevels::DataLevels() : plan_(plan_usability(kFirstPassRules, "KVEFP1")) {
    allocate_fields();
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
            sources_.push_back({traits_of_matrix(k), integer_place(column), k, is_first});
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
    }
    source.id = 0;
    if (!source.has_sex || source.sex == 0) return;
    int8_t& known = levels.sex[static_cast<std::size_t>(place)];
    known = known == 0 || known == source.sex ? source.sex : FactorLevels::kTwoSexes;
}

// Entered when the next record has come: what the index needs is fetched from the memory meanwhile.
void DataLevels::take_record(int64_t line) {
    ++n_records_;
    for (Source& source : sources_)
        if (source.id != 0) enter(source);
    if (sources_.empty()) return;
    const TraitPattern usable = usable_traits(plan_, present_traits(plan_));
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

// ---- Reading

namespace {

constexpr int64_t kFirstTooLarge = int64_t{1} << 31;
constexpr double kLargestReal = std::numeric_limits<float>::max();

// As KVE1 brings them into range.
int32_t integer_of(int64_t value) {
    return value >= kFirstTooLarge ? 0 : static_cast<int32_t>(static_cast<uint32_t>(value));
}

float real_of(double value) {
    return std::fabs(value) > kLargestReal ? DIRECTIVES.RMISS : static_cast<float>(value);
}

int32_t take_numbers(TextInput& file, int32_t n_integers, int32_t n_reals) {
    for (int32_t i = 1; i <= n_integers; ++i) {
        int64_t value = 0;
        const int32_t status = read_list(file, &value, 1, i == 1);
        if (status != kRecordRead) return status;
        RECORD.IINP(i) = integer_of(value);
    }
    for (int32_t j = 1; j <= n_reals; ++j) {
        double value = 0;
        const int32_t status = read_list(file, &value, 1, j == 1 && n_integers == 0);
        if (status != kRecordRead) return status;
        RECORD.FINP(j) = real_of(value);
    }
    return kRecordRead;
}

struct DataReading {
    TextInput text[2];
    RecordInput framed[2];
    int32_t n_integers[2], n_reals[2];
    int n_files;
    bool is_text;
    int64_t line = 0;  // of the record under the reader; of a framed one its number
    std::vector<std::byte> bytes{};
};

bool open_data(DataReading& data) {
    data.n_files = DIRECTIVES.n_data_files;
    data.is_text = DIRECTIVES.data_format == kAscii;
    const bool two = data.n_files == 2;
    data.n_integers[0] = DIRECTIVES.NI;
    data.n_reals[0] = two ? 0 : DIRECTIVES.NR;
    data.n_integers[1] = 0;
    data.n_reals[1] = DIRECTIVES.NR;
    for (int k = 0; k < data.n_files; ++k) {
        if (data.n_integers[k] + data.n_reals[k] == 0) return false;
        const std::string name = DIRECTIVES.data_file[k].string();
        if ((data.is_text ? data.text[k].open_input(name) : data.framed[k].open_input(name)) != 0)
            return false;
    }
    return data.n_files > 0;
}

int32_t read_framed(DataReading& data, int k) {
    const std::size_t of_integers = static_cast<std::size_t>(data.n_integers[k]) * sizeof(int32_t),
                      of_reals = static_cast<std::size_t>(data.n_reals[k]) * sizeof(float);
    data.bytes.resize(of_integers + of_reals);
    const int32_t status = framed_status(data.framed[k], data.framed[k].read_record(data.bytes));
    if (status != kRecordRead) return status;
    std::memcpy(&RECORD.IINP(0) + 1, data.bytes.data(), of_integers);
    if (of_reals > 0) std::memcpy(RECORD.FINP.data(), &data.bytes[of_integers], of_reals);
    return status;
}

int32_t read_text(DataReading& data, int k) {
    TextInput& text = data.text[k];
    text.begin_record();
    if (k == 0) data.line = text.find_next_item();
    const int32_t status = take_numbers(text, data.n_integers[k], data.n_reals[k]);
    if (status != kEndOfData) text.skip_line();
    return status;
}

// The next record that can be read into RECORD. False after the last one.
bool read_next(DataReading& data) {
    for (;;) {
        ++data.line;
        int32_t status = kRecordRead;
        for (int k = 0; k < data.n_files; ++k) {
            const int32_t found = data.is_text ? read_text(data, k) : read_framed(data, k);
            if (status == kRecordRead || found == kEndOfData) status = found;
        }
        if (status == kRecordRead) return true;
        const bool goes_on =
            data.is_text && status == kUnreadableRecord && data.text[0].error() == 0;
        if (!goes_on) return false;
    }
}

}  // namespace

void read_data_levels(const Look& look, DataLevels& levels) {
    DataReading data{};
    if (!open_data(data)) return;
    while (read_next(data) && !(look.fast && data.line > kFastLines)) levels.take_record(data.line);
    levels.finish();
}

}  // namespace kve::companion
