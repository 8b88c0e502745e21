#include "pedigree_builder.h"

#include <cstring>

#include "base/records.h"
#include "data/factors.h"
#include "directives/directives.h"
#include "listing/units.h"
#include "matrices/pedigree_inverses.h"
#include "model/model_records.h"
#include "pedigree/pedigree_reader.h"
#include "store/big_tables.h"
#include "store/level_code.h"
#include "store/work_tables.h"

using namespace kve;
using state::DIMENSIONS, state::DIRECTIVES, state::FACTORS, state::IDL, state::IFL, state::KVEINT,
    state::NMFL, state::RMAT, state::UNITS;

namespace {

std::string file_of(const char* name, int32_t k, const std::string& content) {
    std::string file = name + std::to_string(k);
    if (!content.empty()) std::ofstream(file) << content;
    return file;
}

}  // namespace

std::string random_pedigree(unsigned seed, int n, int first_day, const std::vector<int>& strange) {
    std::mt19937 random(seed);
    std::string file;
    const auto id = [n](int place) { return 1 + place * 37 % n; };
    for (int j = 0; j < n; ++j) {
        file += std::to_string(id(j));
        for (int sex : {0, 1}) {
            const int back = 1 + static_cast<int>(random() % 40);
            const int place = (j - back) / 2 * 2 + sex;
            const bool known = j > back + 1 && random() % 6 != 0 && place < j;
            const int parent = known ? id(place) : strange[random() % strange.size()];
            file += ' ' + std::to_string(parent);
        }
        file += ' ' + std::to_string(first_day + j) + '\n';
    }
    return file;
}

void process(const std::vector<Factor>& factors, int32_t task) {
    DIRECTIVES.ITASK = task;
    DIMENSIONS.MFL.now = DIMENSIONS.MDL.now = DIMENSIONS.MAXNRM.now = 10;
    allocate_tables();
    KVEINT.NRAMAT = static_cast<int32_t>(factors.size());
    ASSERT_EQ(RMAT.allocate(KVEINT.NRAMAT + 1), 0);
    allocate_factors();
    ASSERT_EQ(UNITS.PEDDATA.open("PEDDATA") + UNITS.INBREED.open("INBREED"), 0);
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k) {
        const Factor& factor = factors[k - 1];
        RMatrix& r = RMAT(k);
        r.structure = factor.blended ? Structure::PGMIX : Structure::PED;
        r.method = factor.method;
        r.l_ram = factor.method % 2 == 0;
        r.ran_factor = kRatio;
        r.rel_format = kAscii;
        r.pgmix_weight = factor.weight;
        r.pgmix_g_adjust = factor.adjust;
        r.rel_file = file_of("pedigree", k, factor.pedigree);
        r.rel_file2 = file_of("typed", k, factor.typed);
        r.rel_file3 = file_of("genomic", k, factor.genomic);
        for (int32_t id : factor.with_data) enter_level(id, FACTORS.ITOPR(k), 1, IFL, NMFL);
    }
    read_pedigrees();
    process_pedigrees();
    ASSERT_EQ(flush_units().status, 0);
}

std::vector<Animal> animals_of(int32_t k) {
    std::vector<Animal> all;
    for (int32_t row = IDL(FACTORS.ITOPAS(k)).next; row != 0; row = IDL(row).next) {
        const AnimalRow& r = IDL(row);
        all.push_back({row, r.level, IDL(r.sire_row).level, IDL(r.dam_row).level});
    }
    return all;
}

Elements elements_of(const char* file) {
    Elements all;
    RecordInput in;
    EXPECT_EQ(in.open(file), 0);
    std::array<int32_t, 4> words;
    for (std::pair last(0, 0);
         in.read_record(std::as_writable_bytes(std::span(words))) == RecordInput::Record::ok;) {
        const std::pair place(words[1], words[0]);
        EXPECT_TRUE(std::exchange(last, place) < place && 1 <= words[0] && words[0] <= words[1]);
        std::memcpy(&all[place], &words[2], sizeof(double));
    }
    EXPECT_EQ(std::filesystem::file_size(file), 24 * all.size());
    return all;
}

Dense relationships(const std::vector<Animal>& animals) {
    Dense A(animals.size() + 1, std::vector<double>(animals.size() + 1));
    std::vector<int> older;
    for (const auto& [row, a, s, d] : animals) {
        for (int b : older) A[a][b] = A[b][a] = 0.5 * (A[s][b] + A[d][b]);
        A[a][a] = 1.0 + 0.5 * A[s][d];
        older.push_back(a);
    }
    return A;
}
