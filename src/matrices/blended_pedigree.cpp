#include "matrices/blended_pedigree.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <span>
#include <string>

#include "base/state.h"
#include "data/factors.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "matrices/element_file.h"
#include "matrices/user_matrix_ids.h"
#include "model/model_records.h"
#include "store/big_tables.h"
#include "store/level_code.h"

namespace kve {

READS(AD);
READS(DIRECTIVES);
READS(RMAT);
READS(FACTORS);
WRITES(IDL);

namespace {

constexpr const char* kRoutine = "PGMIX";
constexpr int32_t kGenerations = 50;
constexpr int64_t kMostReports = 20;
constexpr int32_t kListed = 250;
constexpr int32_t kAncestor = -1;  // marks until the animals are numbered
constexpr int32_t kTyped = 1;

// Kept: depth first, and a marked row is never entered again. So an animal that is met first on a
// road of 50 generations does not lead on to its parents, even where a shorter road leads to it.
// NOLINTNEXTLINE(misc-no-recursion): the depth of calls is at most kGenerations.
void mark_line(int32_t row, int32_t generation) {
    if (generation > kGenerations || row <= 0 || IDL(row).mark != 0) return;
    IDL(row).mark = kAncestor;
    mark_line(IDL(row).sire_row, generation + 1);
    mark_line(IDL(row).dam_row, generation + 1);
}

struct TypedAnimals {
    int32_t factor;
    int64_t n = 0;
    int64_t duplicates = 0;
    UnknownAnimals unknown{"The following ID's are in the file with 'typed' animals"};
};

void report_duplicate(TypedAnimals& typed, int32_t id) {
    if (++typed.duplicates > kMostReports) return;
    say_row("WARNING - typed animal occurs more than one time, first record used: %12d", id);
}

void take_typed_animal(TypedAnimals& typed, int32_t id) {
    const int32_t row = find_level(id, FACTORS.ITOPA(typed.factor), IDL);
    if (row != 0 && IDL(row).mark == kTyped) return report_duplicate(typed, id);
    ++typed.n;
    if (row == 0) {
        if (!typed.unknown.report(id)) {
            Block block;
            block.blank();
            block.line("More than 20 errors of this type");
            block.blank();
            block.print();
        }
        return;
    }
    mark_line(row, 0);
    IDL(row).mark = kTyped;
}

void read_typed_animals(TypedAnimals& typed) {
    const RMatrix& r = RMAT(typed.factor);
    const std::string name = r.rel_file2.string();
    ElementFile file;
    if (const int code = file.open(name, static_cast<DataFormat>(r.rel_format), 1); code != 0) {
        tell_input_not_opened(name, code);
        stop_blended_file("ERROR opening file with ID's of typed animals for random effect",
                          typed.factor);
    }
    int32_t id;
    FileAnswer answer = file.read(std::span(&id, 1));
    if (answer != FileAnswer::record) {
        tell_first_record(r.rel_file2, answer, file);
        stop_blended_file(
            "ERROR reading the first record of the file with ID's of typed animals for random "
            "effect",
            typed.factor);
    }
    for (; answer == FileAnswer::record; answer = file.read(std::span(&id, 1))) {
        refuse_key_without_bits(id, name, file.n_read());
        take_typed_animal(typed, id);
    }
    if (answer == FileAnswer::failure) stop_unreadable_item("an ID", name.c_str(), file);
}

int32_t count_marked(int32_t k) {
    int32_t n = 0;
    const Vec<int32_t>& rows = FACTORS.ANIMAL_LIST(k);
    for (int64_t j = 1; j <= rows.size(); ++j) {
        expect_ahead(rows, j, rows.size());
        n += IDL(rows(j)).mark != 0;
    }
    return n;
}

void report_typed_animals(const TypedAnimals& typed, int32_t n_reduced) {
    Block block;
    block.line("%-59s%9lld", "Number of typed animals", static_cast<long long>(typed.n));
    if (typed.unknown.n > 0) {
        block.line("%-59s%9lld", "thereof not in pedigree",
                   static_cast<long long>(typed.unknown.n));
        block.blank();
        block.line("All typed animals must be in the total pedigree file");
        block.blank();
        block.print();
        stop_run("Program terminated");
    }
    block.line("%-59s%9d", "Number of animals in pedigree for typed anim.", n_reduced);
    block.blank();
    block.print();
}

struct Inbreeding {
    Vec<double, 0> F;  // by position
    // Of animals whose diagonal element is not the one taken.
    int32_t n_other = 0;
    double largest_difference = 0.0;
};

void warn_of_other_inbreeding(const Inbreeding& inbreeding) {
    say_row(
        "WARNING - inbreeding of the typed animals and their ancestors is taken in level order,"
        " the pedigree file is in another order: sort it by Sort_Var, parents first, with a "
        "record for every parent");
    say_row("WARNING - animals concerned: %d, largest difference in their inbreeding: %.5f",
            inbreeding.n_other, inbreeding.largest_difference);
    if (DIRECTIVES.ITASK == kSolveByKve5 && DIRECTIVES.IMETHOD == 1)
        say_row("WARNING - in task 12 with method 1 no order of the file helps: use method 2");
}

// Gives the marked animals their positions, and the typed ones their numbers.
Inbreeding number_animals(int32_t k, ReducedPedigree& ped) {
    const Vec<int32_t>& rows = FACTORS.ANIMAL_LIST(k);
    Inbreeding inbreeding;
    Vec<double, 0>& F = inbreeding.F;
    check_allocated(F.allocate(ped.share.size()), kRoutine, "PEDMAT1", ped.share.size());
    int32_t p = 0, t = 0;
    for (int64_t j = 1; j <= rows.size(); ++j) {
        expect_ahead(rows, j, rows.size());
        AnimalRow& animal = IDL(rows(j));
        if (animal.mark == 0) continue;
        ++p;
        // Kept: by the level number, although `ad` goes by the row.
        const double diagonal = RMAT(k).ad(animal.level);
        if (diagonal != AD(j)) ++inbreeding.n_other;
        inbreeding.largest_difference =
            std::max(inbreeding.largest_difference, std::abs(diagonal - AD(j)));
        F(p) = diagonal - 1.0;
        if (animal.mark == kTyped) {
            ped.position(++t) = p;
            ped.ID(t) = animal.key;
            ped.G_MAT_CN(t) = animal.level;
        }
        animal.mark = animal.mark == kTyped ? p : -p;
    }
    return inbreeding;
}

// 0 for the unknown parent and for one whom the search has not reached.
int32_t position_of(int32_t row) { return IDL(row).key > 0 ? std::abs(IDL(row).mark) : 0; }

// Told from left to right: with the factors in another order the last bits differ.
double sampling_share(KnownParents p, const Vec<double, 0>& F) {
    const double c = 4.0 - (p.sire != 0 ? 1.0 : 0.0) - (p.dam != 0 ? 1.0 : 0.0);
    return ((c - F(p.sire)) - F(p.dam)) * 0.25;
}

void list_heading() {
    page_if(6);
    say_line("             Pos. in   Pos. in   Pos. in  Sire pos. Dam pos.      Sire         dam");
    say_line("        ID  full ped  red. ped         G  red. ped  red. ped        ID          ID");
    say_line("---------- --------- --------- --------- --------- --------- ---------- ----------");
}

void list_animal(const AnimalRow& animal, KnownParents parents, int32_t t) {
    say_row("%10d%10d%10d%10d%10d%10d%11d%11d", animal.key, animal.level, std::abs(animal.mark),
            animal.mark > 0 ? t : 0, parents.sire, parents.dam, IDL(animal.sire_row).key,
            IDL(animal.dam_row).key);
}

}  // namespace

void require_pgmix(int32_t k) {
    if (RMAT(k).structure != Structure::PGMIX)
        stop_blended_file("ERROR - Var_str /= PGMIX for random effect", k);
}

void stop_blended_file(const char* words, int32_t k) {
    blank();
    say("%s%12d", words, k);
    blank();
    stop_run();
}

void stop_unreadable_item(const char* what, const char* name, ElementFile& file) {
    if (file.system_error() != 0) stop_not_read(name, file.system_error());
    const std::string record =
        file.is_binary() ? "record " + std::to_string(file.n_read()) + ": " : "";
    say("ERROR - %s: cannot read %s from: %s%s", name, what, record.c_str(),
        file.offending().c_str());
    stop_run();
}

bool UnknownAnimals::report(int32_t id) {
    if (++n == 1) {
        Block block;
        block.blank(2);
        block.line("ERROR ERROR ERROR ERROR ERROR ERROR ERROR ERROR ERROR");
        block.blank();
        block.line("%s", which);
        block.line("but not in the 'full' pedigree file");
        block.blank(2);
        block.line("%12d", id);
        block.print();
        return true;
    }
    if (n <= kMostReports) say_row("%12d", id);
    return n != kMostReports + 1;
}

BlendedCounts mark_typed_animals(int32_t k) {
    require_pgmix(k);
    TypedAnimals typed{.factor = k};
    read_typed_animals(typed);
    const int32_t n_reduced = count_marked(k);
    report_typed_animals(typed, n_reduced);
    return {static_cast<int32_t>(typed.n), n_reduced};
}

void allocate_reduced_pedigree(ReducedPedigree& ped, BlendedCounts counts) {
    const int64_t n = counts.N_TYPED, n_rows = int64_t{counts.N_RPED} + 1;
    check_allocated(ped.parents.allocate(n_rows), kRoutine, "PEDMAT1", n_rows);
    check_allocated(ped.share.allocate(n_rows), kRoutine, "PEDMAT1", n_rows);
    check_allocated(ped.position.allocate(n), kRoutine, "RPED_ID", 2 * n);
    check_allocated(ped.ID.allocate(n), kRoutine, "RPED_ID", 2 * n);
    check_allocated(ped.G_MAT_CN.allocate(n), kRoutine, "G_MAT_CN", n);
}

void number_reduced_pedigree(int32_t k, ReducedPedigree& ped) {
    const Inbreeding inbreeding = number_animals(k, ped);
    if (inbreeding.n_other > 0) warn_of_other_inbreeding(inbreeding);
    const Vec<int32_t>& rows = FACTORS.ANIMAL_LIST(k);
    const bool lists = DIRECTIVES.ITEST > 1;
    if (lists) list_heading();
    int32_t p = 0, t = 0;
    for (int64_t j = 1; j <= rows.size(); ++j) {
        expect_ahead(rows, j, rows.size());
        const AnimalRow& animal = IDL(rows(j));
        if (animal.mark == 0) continue;
        ++p;
        if (animal.mark > 0) ++t;
        const KnownParents parents{position_of(animal.sire_row), position_of(animal.dam_row)};
        ped.parents(p) = parents;
        ped.share(p) = sampling_share(parents, inbreeding.F);
        if (lists && p <= kListed) list_animal(animal, parents, t);
    }
}

}  // namespace kve
