#include "matrices/user_matrices.h"

#include <cstdint>

#include "base/state.h"
#include "base/text.h"
#include "data/factors.h"
#include "data/level_lists.h"
#include "directives/catalogue.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "matrices/element_file.h"
#include "matrices/grel_matrix.h"
#include "matrices/matrix_writer.h"
#include "matrices/user_matrix_ids.h"
#include "model/model_records.h"
#include "store/sparse_store.h"

namespace kve {

READS(KVEINT);
READS(RMAT);
WRITES(FACTORS);

namespace {

constexpr int32_t kMostErrors = 50;

struct Kind {
    Structure structure;
    const char* report;
    MatrixFile file;
};

constexpr Kind kKinds[] = {
    {Structure::COR, "Processing C**(-1) for random factor", MatrixFile::COR},
    {Structure::DOM, "Processing D**(-1) for random factor", MatrixFile::DOM},
    {Structure::ABS_QTL, "Processing IBD for random factor", MatrixFile::IBD},
};

const Kind* kind_of(const RMatrix& r) {
    for (const Kind& kind : kKinds)
        if (r.structure == kind.structure) return &kind;
    return nullptr;
}

// Kept: the stages call `cor_check` and `grel_check` for their own types alone;
// that they refuse another one is part of the interface.
[[noreturn]] void stop_wrong_type(const RMatrix& r) {
    blank();
    say("ERROR - Subroutine cor_check called with VAR_STR type %.*s",
        KVE_SV(structure_name(r.structure)));
    blank();
    say("The subroutine only works for VAR_STR type = COR, DOM and ABS_QTL");
    blank();
    stop_run();
}

[[noreturn]] void stop_many_errors() {
    blank();
    say("More than 50 errors in this DOM/COR/IBD matrix");
    blank();
    stop_run("Program terminated");
}

void report_unknown_pair(int32_t k, const MatrixElement& e, bool is_unknown_1, bool is_unknown_2,
                         int32_t n_errors) {
    if (n_errors > kMostErrors) stop_many_errors();
    if (n_errors == 1) {
        page_if(5);
        say_line("ERROR in VAR_STR matrix for random effect%12d", k);
        blank_lines();
        say_line("The random ID marked with x is not in the data file for the associated with");
        blank_lines();
    }
    say_row("%12d %c%12d %c", e.id_1, is_unknown_1 ? 'x' : ' ', e.id_2, is_unknown_2 ? 'x' : ' ');
}

void add_elements(int32_t k, UserMatrixFile& from) {
    constexpr int32_t kUnknown = ElementLevels::kUnknown;
    ElementLevels levels(k);
    int32_t n_errors = 0;
    for (; from.has_element(); from.next()) {
        const MatrixElement& e = from.element;
        const int32_t i = levels.level_of(e.id_1);
        const int32_t j = e.id_2 == e.id_1 ? i : levels.level_of(e.id_2);
        if (i == kUnknown || j == kUnknown)
            report_unknown_pair(k, e, i == kUnknown, j == kUnknown, ++n_errors);
        else
            insert_sparse(i, j, e.value);
    }
    check_second_matrix_reading(k, from);
}

void COR_RECODE(int32_t k, MatrixFile kind) {
    const RMatrix& r = RMAT(k);
    clear_sparse();
    UserMatrixFile from;
    open_user_matrix(k, from);
    // Kept: of an ABS_QTL matrix the first pass has taken the determinant, and here its record is
    // an element of two unknown IDs.
    if (kind != MatrixFile::IBD) take_determinant(k, from);
    check_factor_number(k);
    add_elements(k, from);
    if (r.ass_rf != 0) FACTORS.NRALEV(k) = FACTORS.NRALEV(r.ass_rf);
    kvewai(k, FACTORS.NRALEV(k), kind);
    clear_sparse();
}

// The first pass for one factor of type COR, DOM or ABS_QTL; `status` becomes 1 when levels have no
// diagonal element.
void cor_check(int32_t k, int32_t& status) {
    const RMatrix& r = RMAT(k);
    const Kind* kind = kind_of(r);
    if (kind == nullptr) stop_wrong_type(r);
    Block block;
    block.blank();
    block.line("%-59s%9d", kind->report, k);
    block.blank();
    block.print();
    if (kind->file == MatrixFile::COR) {
        enter_ids(k, FACTORS.ITOPR(k));
        sort_random_levels(k);
        return report_missing_ids(k, FACTORS.ITOPRS(k), status);
    }
    enter_ids(k, FACTORS.ITOPR(r.ass_rf));
    FACTORS.NRALEV(k) = FACTORS.NRALEV(r.ass_rf);
    // Kept: the test begins at the animal that the data named first, so those with a lower ID are
    // not tested.
    report_missing_ids(k, FACTORS.ITOPR(r.ass_rf), status);
}

}  // namespace

void check_user_matrices() {
    int32_t status = 0;
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k) {
        if (kind_of(RMAT(k)) != nullptr) cor_check(k, status);
        if (RMAT(k).structure == Structure::GREL) grel_check(k, status);
    }
    if (status == 0) return;
    blank();
    say("ERROR(s) found in variance structure file(s)");
    blank();
    stop_run("Program terminated");
}

void recode_user_matrices() {
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k) {
        if (const Kind* kind = kind_of(RMAT(k)); kind != nullptr) COR_RECODE(k, kind->file);
        if (RMAT(k).structure == Structure::GREL) GREL_RECODE(k);
    }
}

}  // namespace kve
