#include "kve/pedigree/findings.h"

#include <algorithm>

namespace kve::companion {

namespace {

constexpr std::array<KindWords, kKinds> kWords{{
    {"fields", "records with another number of fields", true},
    {"no identity", "records without an identity", true},
    {"own parent", "animals that are their own parent", true},
    {"one as both", "records with one animal as both parents", true},
    {"differs", "second records that differ from the first", true},
    {"loop", "loops, animals that are their own ancestors", true},
    {"born after", "parents born after progeny", true},
    {"repeated", "records that repeat one before", false},
    {"both parts", "animals that are sire and dam", false},
    {"wrong sex", "parents whose sex is another by their record", false},
    {"no record", "parents without a record", false},
    {"unread birth", "births that cannot be read", false},
    {"unread sex", "sexes that cannot be read", false},
    {"group code", "codes of groups as parents, read as unknown", false},
    {"not in pedigree", "animals of the data without a record", false},
    {"no birth", "animals without a birth", false},
    {"no sex", "animals of unknown sex", false},
}};

}  // namespace

const KindWords& words_of(Kind kind) { return kWords[static_cast<std::size_t>(kind)]; }

namespace {

int64_t sum_of(const PedigreeFindings& findings, bool faults) {
    int64_t sum = 0;
    for (std::size_t k = 0; k < kKinds; ++k)
        if (kWords[k].fault == faults) sum += findings.counts[k];
    return sum;
}

}  // namespace

void PedigreeFindings::sort_by_line() {
    std::ranges::stable_sort(list, {}, &PedigreeFinding::line);
    std::ranges::stable_sort(changes, {}, &Change::line);
}

int64_t PedigreeFindings::faults() const { return sum_of(*this, true); }
int64_t PedigreeFindings::warnings() const { return sum_of(*this, false); }

}  // namespace kve::companion
