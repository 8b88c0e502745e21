#include "matrices/pedigree_inverses.h"

#include <cstdint>
#include <utility>

#include "base/arrays.h"
#include "base/state.h"
#include "data/factors.h"
#include "data/level_lists.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "matrices/blended_matrix.h"
#include "matrices/blended_pedigree.h"
#include "matrices/matrix_writer.h"
#include "model/model_records.h"
#include "pedigree/a_inverse.h"
#include "pedigree/inbreeding.h"
#include "pedigree/inbreeding_listing.h"
#include "pedigree/pedigree_order.h"
#include "store/big_tables.h"
#include "store/sparse_store.h"

namespace kve {

READS(DIRECTIVES);
READS(KVEINT);
READS(IFL);
READS(IDL);
READS(AD);
WRITES(FACTORS);
WRITES(RMAT);

namespace {

constexpr int32_t kMostGroupsListed = 100;

bool has_groups(int32_t k) { return RMAT(k).method >= 5; }

void list_groups(int32_t k, int32_t head) {
    page_if(5);
    blank_lines();
    say_line("Levels for phantom parent groups");
    say_line("for random factor%12d", k);
    say_line("         Code    N-obs");
    int32_t n = 0;
    for (int32_t row = head; row != 0 && n < kMostGroupsListed; row = IFL(row).next, ++n)
        say_row("%13d%9d", IFL(row).key, IFL(row).n_obs);
}

void number_groups(int32_t k) {
    sort_parent_groups(k);
    RMAT(k).n_phg = FACTORS.NPHG(k);
    if (DIRECTIVES.ITEST > 0 && FACTORS.ITPHGS(k) != 0) list_groups(k, FACTORS.ITPHGS(k));
}

// Kept: the code of the extra group is that of the row which took its place as the unknown parent,
// always 0.
void note_extra_group(int32_t k) {
    const bool extra = has_groups(k) && FACTORS.NPHNUL(k) > 0;
    FACTORS.IEQNEP(k) = extra ? IDL(FACTORS.ITOPAS(k)).level : 0;
}

// Kept: n_phg counts the codes of the file, the 0 among them, and not the extra group that inserted
// relatives alone bring about.
void report_pedigree(int32_t k, const Factors& counts) {
    page_if(5);
    blank_lines();
    say_line("%60s%8d", "Number of animals in pedigree              ",
             counts.NRALEV(k) - RMAT(k).n_phg);
    if (has_groups(k)) {
        say_line("%60s%8d", "Number of phantom parent groups            ", RMAT(k).n_phg);
        if (counts.NPHNUL(k) > 0)
            say_line("%60s%8d", "Code used for extra phantom parent group   ", counts.IEQNEP(k));
    }
    say_line("%60s%8d", "Number of animals with data                ", counts.N_AWD(k));
}

// What an inverse that is formed here makes of the pedigree, where the user may expect another one.
void warn_of_method(int32_t k) {
    Block block;
    if (RMAT(k).method == 4) {
        block.line("WARNING - Random factor %d: method 4 counts the maternal grandsire as a dam,",
                   k);
        block.line("          the solutions are not those of a sire and maternal grandsire model:");
        block.line("          use method 1 or 2 with sires and dams");
    }
    const bool extra_group = FACTORS.NPHNUL(k) > 0;
    if (RMAT(k).method == 6 && FACTORS.N_AIN(k) > 0 && !extra_group) {
        block.line("WARNING - Random factor %d: the %d animals with data and no pedigree record", k,
                   FACTORS.N_AIN(k));
        block.line("          count as founders with half the variance, since they have no group:");
        block.line("          give them records");
    }
    block.print();
}

void write_reduced_inverse(int32_t k, const Vec<Parentage>& parentage) {
    clear_sparse();
    add_reduced_a_inverse(FACTORS.ANIMAL_LIST(k), parentage);
    RMAT(k).n_ram_rows = count_sparse_rows(FACTORS.NRALEV(k));
    kvewai(k, FACTORS.NRALEV(k), MatrixFile::AINV_RAM);
}

[[noreturn]] void stop_method(const char* message) {
    say("%s", message);
    stop_run();
}

// The diagonal of A by the factor's own rows of IDL, for a blended matrix; 1 where inbreeding is
// left out of account, and for a row without a value.
void keep_diagonal(int32_t k) {
    RMatrix& r = RMAT(k);
    const int64_t n = int64_t{FACTORS.NRALEV(k)} + 1;
    check_allocated(r.ad.allocate(n), "AINVERSE", "RMAT(K)%AD", n);
    r.ad.fill(1.0);
    if (r.method != 1) return;
    const Vec<int32_t>& rows = FACTORS.ANIMAL_LIST(k);
    for (int64_t j = 1; j <= rows.size(); ++j) {
        const int64_t at = rows(j) - FACTORS.FIRST_ANIMAL(k) + 1;
        if (at >= 1 && at <= n) r.ad(at) = AD(j);
    }
}

double form_by_method(int32_t k, Vec<Parentage> parentage) {
    const RMatrix& r = RMAT(k);
    switch (r.method) {
        case 1: {
            const double log_det = find_inbreeding(parentage);
            FACTORS.INBREED_LINES += write_inbreeding(k, FACTORS.ANIMAL_LIST(k));
            form_a_inverse_with_inbreeding(std::move(parentage));
            return log_det;
        }
        case 2:
        case 4:  // the same coefficients, on purpose
            return KVEA24(std::move(parentage), ParentRule::parents, 0.0);
        case 6:
            return KVEA24(std::move(parentage), ParentRule::phantom_groups, r.ran_factor);
        case 3:
            stop_method("ERROR: AINMET=(3) NOT YET IMPLEMENTED");
        case 5:
            stop_method("ERROR: AINMET=(5) NOT YET IMPLEMENTED");
        default:
            stop_method("ERROR: ILLEGAL A-INVERSE METHOD");
    }
}

void form_inverse(int32_t k, Vec<Parentage> parentage) {
    RMatrix& r = RMAT(k);
    const int32_t levels = FACTORS.NRALEV(k);
    if (r.l_ram) write_reduced_inverse(k, parentage);
    // KVE5 makes its own inverse from the pedigree file where no inbreeding is asked for.
    const bool needed = DIRECTIVES.ITASK < kSolveByKve5 || r.method == 1 || r.method == 3;
    if (!needed) return;
    warn_of_method(k);
    const bool blended = r.structure == Structure::PGMIX;
    BlendedCounts counts;
    if (blended) counts = mark_typed_animals(k);
    r.log_det = form_by_method(k, std::move(parentage));
    if (blended || DIRECTIVES.ITEST > 0) keep_diagonal(k);
    r.l_log_det = true;
    if (blended) {
        write_blended_inverse(k, counts);
    } else {
        r.n_ainv_rows = levels;  // every animal has its own
        write_matrix_file(k, levels, MatrixFile::AINV, a_inverse_row);
    }
    release_a_inverse();
}

void process_pedigree(int32_t k) {
    Block block;
    block.blank();
    block.line("%60s%8d", "Pedigree information for random matrix     ", k);
    block.print();
    if (has_groups(k)) number_groups(k);
    Vec<Parentage> parentage = order_pedigree(k);
    note_extra_group(k);
    report_pedigree(k, FACTORS);
    form_inverse(k, std::move(parentage));
}

}  // namespace

void process_pedigrees() {
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k)
        if (has_pedigree(RMAT(k).structure)) process_pedigree(k);
}

}  // namespace kve
