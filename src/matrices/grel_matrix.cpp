#include "matrices/grel_matrix.h"

#include <string>

#include "base/arrays.h"
#include "base/state.h"
#include "base/text.h"
#include "data/factors.h"
#include "data/level_lists.h"
#include "directives/catalogue.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "listing/units.h"
#include "matrices/element_file.h"
#include "matrices/matrix_record.h"
#include "matrices/user_matrix_ids.h"
#include "model/model_records.h"

namespace kve {

READS(RMAT);
WRITES(FACTORS);

namespace {

// Kept: as in `cor_check`.
[[noreturn]] void stop_wrong_type(const RMatrix& r) {
    blank();
    say("ERROR - Subroutine grel_check called with VAR_STR type %.*s",
        KVE_SV(structure_name(r.structure)));
    blank();
    say("The subroutine only works for VAR_STR type = GREL");
    blank();
    stop_run();
}

// The last one of repeated elements stands.
void store_elements(UserMatrixFile& from, int32_t k, Triangle<double>& G_INV) {
    ElementLevels levels(k);
    for (; from.has_element(); from.next()) {
        const MatrixElement& e = from.element;
        const int32_t i = levels.level_of(e.id_1);
        const int32_t j = e.id_1 == e.id_2 ? i : levels.level_of(e.id_2);
        if (i > 0 && j > 0) G_INV(i, j) = e.value;
    }
    check_second_matrix_reading(k, from);
}

// 0, or what the system says of it.
int write_triangle(const std::string& name, const Triangle<double>& G_INV) {
    RecordOutput file;
    if (const int status = file.open(name); status != 0) return status;
    const auto n = static_cast<int32_t>(G_INV.order());
    const double* value = G_INV.data();
    for (int32_t row = 1; row <= n && file.error() == 0; ++row)
        for (int32_t column = 1; column <= row; ++column)
            write_matrix_record(file, {column, row, *value++});
    return file.close();
}

}  // namespace

void grel_check(int32_t k, int32_t& status) {
    if (RMAT(k).structure != Structure::GREL) stop_wrong_type(RMAT(k));
    Block block;
    block.blank();
    block.line("%-59s%9d", "Processing G**(-1) for random factor", k);
    block.blank();
    block.print();
    enter_ids(k, FACTORS.ITOPR(k));
    sort_random_levels(k);
    // Kept: the test begins at the level that was met first, so those below it are not tested.
    report_missing_ids(k, FACTORS.ITOPR(k), status);
}

void GREL_RECODE(int32_t k) {
    check_factor_number(k);
    UserMatrixFile from;
    open_user_matrix(k, from);
    take_determinant(k, from);
    const int64_t n = FACTORS.NRALEV(k);
    Triangle<double> G_INV;
    check_allocated(G_INV.allocate(n), "GREL_RECODE", "G_INV", n * (n + 1) / 2);
    store_elements(from, k, G_INV);
    const std::string name = factor_file_name("GINV", k);
    if (const int status = write_triangle(name, G_INV); status != 0) note_cut_file(name, status);
}

}  // namespace kve
