// Phantom parent groups: what stands for the unknown parents.
#pragma once

#include <string>
#include <vector>

#include "kve/pedigree/pedigree.h"

namespace kve::companion {

struct Group {
    int32_t code;         // below 0, as KVE1 takes it
    std::string paths;    // "sires of males", or several of them
    int32_t first, last;  // classes of birth of the progeny
    int64_t parents;      // unknown parents
};

struct Groups {
    std::vector<Group> list;
    Vec<int32_t> sire, dam;  // by place: the code where the parent is unknown, 0 otherwise
};

// Paths are the sires of males, of females and of animals of unknown sex, and the dams of these. A
// path with fewer than `least` unknown parents joins the largest one of its sex, and what is still
// too small the largest of all. In each path classes (`class_of` by place) that follow each other
// are put together until a group has `least`; what is left at the end goes to the group before.
Groups make_groups(const Pedigree& pedigree, const Vec<int32_t>& class_of, int64_t least);

}  // namespace kve::companion
