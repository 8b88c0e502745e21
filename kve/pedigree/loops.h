// Animals that are their own ancestors.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>

#include "kve/pedigree/findings.h"
#include "kve/pedigree/herdbook.h"
#include "kve/tables/identities.h"

namespace kve::companion {

struct Loop {
    std::span<const int32_t> animals;  // each the progeny of the next, the last of the first
    std::size_t broken;                // the one that loses the link to the next
};

// Finds loops and breaks them until there is none left; `found` is told of each ahead of that.
// Broken is the link to the parent that is born longest after its progeny, or with it; where no
// dates tell, the one in the record that stands last in the file. Returns the generation of each
// animal, the length of its longest line of ancestors.
Vec<int32_t> break_loops(Herdbook& book, const std::function<void(const Loop&)>& found);
Vec<int32_t> break_loops(Herdbook& book, const IdentityTable& names, PedigreeFindings& findings);

inline constexpr std::size_t kLongestLoopTold = 50;  // animals of a chain

}  // namespace kve::companion
