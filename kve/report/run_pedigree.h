// The animals of a pedigree factor, out of CODE_TABLE.
#pragma once

#include <cstdint>

#include "kve/files/run_folder.h"
#include "kve/pedigree/pedigree.h"

namespace kve::companion {

// Parents stand before their progeny. Phantom parent groups are left out, and count as unknown
// parents.
struct RunPedigree {
    Pedigree pedigree;                          // births in days when the sort variables are dates
    bool are_dates = false, are_years = false;  // all sort variables that are not 0
    Vec<int32_t> sort;  // kNoBirth: of an animal without a pedigree record; a date or year of 0
    Vec<int32_t> identity, n_records;
    int64_t n_groups = 0;
    int64_t n_left_out = 0;  // links to a parent that descends from the animal
};

RunPedigree read_pedigree(const RunFolder& run, int32_t factor);

}  // namespace kve::companion
