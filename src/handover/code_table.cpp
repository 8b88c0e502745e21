#include "handover/code_table.h"

#include <cstdint>

#include "base/arrays.h"
#include "base/records.h"
#include "base/state.h"
#include "data/factors.h"
#include "handover/code_table_lists.h"
#include "listing/stop.h"
#include "listing/units.h"
#include "model/model_records.h"
#include "store/big_tables.h"

namespace kve {

READS(FACTORS);
READS(IDL);
READS(IFL);
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
        const AnimalRow& a = IDL(rows(j));
        write_record(CODE_TABLE, rows(j), a.key, a.n_obs, a.level, a.sort, a.sire, a.dam, a.next,
                     a.sire_row, a.dam_row, a.child_0, a.child_1, a.n_desc);
    }
}

struct Writer {
    void fixed_levels(int32_t i, int32_t j) { write_levels(FACTORS.HEAD_EF(i, j)); }
    void random_levels(int32_t k) { write_levels(FACTORS.ITOPRS(k)); }
    void animals(int32_t, int32_t owner) { write_animals(FACTORS.ANIMAL_LIST(owner)); }
    void residual_groups() { write_levels(FACTORS.HEAD_GRP); }
};

}  // namespace

void write_code_table() {
    Writer file;
    describe_code_table(file, MODEL, RMAT);
    check_written(CODE_TABLE.start_closing(), "CODE_TABLE");
}

}  // namespace kve
