#include "handover/code_table.h"

#include <array>
#include <bit>
#include <cstdint>

#include "base/arrays.h"
#include "base/records.h"
#include "base/state.h"
#include "data/factors.h"
#include "directives/directives.h"
#include "listing/stop.h"
#include "listing/units.h"
#include "model/model_records.h"
#include "store/big_tables.h"

namespace kve {

READS(FACTORS);
READS(IDL);
READS(IFL);
READS(KVEINT);
READS(MODEL);
READS(RMAT);
WRITES(UNITS);

namespace {

constexpr RecordOutput& CODE_TABLE = UNITS.CODE_TABLE;

void write_levels(int32_t head) {
    for (int32_t row = head; row != 0; row = IFL(row).next) {
        const LevelRow& l = IFL(row);
        write_record(CODE_TABLE, l.next, l.key, l.n_obs, l.level, l.child_0, l.child_1);
    }
}

// The number of the row takes the place of the first column; the other twelve stand as they are.
void write_animals(const Vec<int32_t>& rows) {
    for (int64_t j = 1; j <= rows.size(); ++j) {
        expect_ahead(rows, j, rows.size());
        auto columns = std::bit_cast<std::array<int32_t, 13>>(IDL(rows(j)));
        columns[0] = rows(j);
        write_record(CODE_TABLE, columns);
    }
}

void write_random_factor(int32_t k) {
    const RMatrix& r = RMAT(k);
    if (r.structure == Structure::I || r.structure == Structure::COR ||
        r.structure == Structure::GREL)
        write_levels(FACTORS.ITOPRS(k));
    if (has_pedigree(r.structure)) write_animals(FACTORS.ANIMAL_LIST(k));
    if (r.structure == Structure::DOM) write_animals(FACTORS.ANIMAL_LIST(r.ass_rf));
    // ABS_QTL: its levels are those of the pedigree factor, which stand there.
}

}  // namespace

void write_code_table() {
    for (int32_t i = 1; i <= KVEINT.nt; ++i)
        for (int32_t j = 1; j <= MODEL(i).n_fixed; ++j) write_levels(FACTORS.HEAD_EF(i, j));
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k) write_random_factor(k);
    if (residual_of(RMAT).structure == Structure::GROUP) write_levels(FACTORS.HEAD_GRP);
    if (CODE_TABLE.close() != 0) stop_not_written("CODE_TABLE");
}

}  // namespace kve
