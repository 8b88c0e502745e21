// A pedigree with its parents linked, and what the sort variable says of them.
#pragma once

#include <cstdint>
#include <unordered_set>
#include <vector>

#include "kve/check/pedigree_book.h"
#include "kve/check/sort_variable.h"

namespace kve::companion {

struct OddAge {
    int32_t animal;
    bool is_sire;
    float years;
};

struct Parents {
    Look& look;
    const PedigreeJob& job;
    PedigreeBook& pedigree;
    FactorLevels* levels;
    SortKind kind = SortKind::numbers;
    int32_t today = date_of_today();
    int64_t n_links = 0;          // to parents with a record
    int64_t n_not_older = 0;      // of them
    int64_t n_equal = 0;          // that have the same sort variable
    int64_t n_without_order = 0;  // progeny that are 0 or below, of parents without a record
    ParentAges sires{}, dams{};
    std::vector<OddAge> odd_ages{};  // that may be odd: what is usual is known at the end
    // Animals with a date that is none, which puts a parent behind its progeny.
    std::unordered_set<int32_t> misplaced{};

    int32_t id(int32_t animal) const { return pedigree.id(animal); }
    int32_t sort(int32_t animal) const { return pedigree.book.birth(animal); }
    bool has_record(int32_t animal) const { return animal <= pedigree.n_records; }
    int32_t line(int32_t animal) const { return pedigree.book.line(animal); }
    Place place(int32_t animal) const { return {job.file, line(animal), 0}; }
    const char* part(bool is_sire) const { return is_sire ? "sire" : job.dam_called(); }
    // A day of the calendar up to today; of years all are.
    bool is_known(int32_t birth) const {
        return kind == SortKind::years || (is_date(birth) && birth <= today);
    }
    // Told as such, and with it what it does to the order.
    bool has_odd_date(int32_t animal) const {
        return kind == SortKind::dates && sort(animal) > 0 && !is_known(sort(animal));
    }
    // One that KVE1 inserts, not as an animal of the data but as a parent.
    bool is_inserted_parent(int32_t animal) const {
        return !has_record(animal) &&
               (levels == nullptr || levels->places.find(id(animal)) == nullptr);
    }
    bool is_not_older(int64_t own, int64_t parents) const {
        return own < parents || (own == parents && job.needs_order());
    }
};

// The sort variable as a whole. True when it is told to be another thing than it should be.
bool tell_whole_variable(Parents& at);
// Parents that are not older than their progeny, one by one.
void tell_birth_order(Parents& at);
// Ages of parents far from what is usual.
void look_at_ages(Parents& at);
// Dates that are no days of the calendar.
void look_at_dates(Parents& at);

}  // namespace kve::companion
