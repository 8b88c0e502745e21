#include "pedigree/inbreeding.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <vector>

#include "run/big_tables.h"
#include "run/stop.h"

namespace kve {

WRITES(AD);
WRITES(LD);

namespace {

constexpr const char* kRoutine = "INBREEDING";

struct Parents {
    int32_t sire, dam;  // places, 0 unknown
};

// A set of places from which the largest is taken first: bits, and above each 64 of them one that
// tells whether any is set.
class PlaceSet {
 public:
    [[nodiscard]] int allocate(int64_t places) {
        do {
            places = places / 64 + 1;
            if (int status = words_[n_levels_++].allocate(places); status != 0) return status;
        } while (places > 1);
        return 0;
    }

    void insert(int32_t place) {
        for (int level = 0; level < n_levels_; ++level) {
            uint64_t& word = words_[level](place / 64);
            const uint64_t before = word;
            word |= uint64_t{1} << place % 64;
            if (before != 0) return;
            place /= 64;
        }
    }

    // 0 when the set is empty.
    int32_t take_largest() {
        int32_t place = 0;
        for (int level = n_levels_ - 1; level >= 0; --level) {
            const uint64_t word = words_[level](place);
            if (word == 0) return 0;
            place = place * 64 + 63 - std::countl_zero(word);
        }
        remove(place);
        return place;
    }

 private:
    void remove(int32_t place) {
        for (int level = 0; level < n_levels_; ++level) {
            uint64_t& word = words_[level](place / 64);
            word &= ~(uint64_t{1} << place % 64);
            if (word != 0) return;
            place /= 64;
        }
    }

    Vec<uint64_t, 0> words_[6];  // 64**6 places are more than 2**31
    int n_levels_ = 0;
};

struct Families {
    Vec<Parents> parents;        // by place
    Vec<int32_t> first_progeny;  // by sire: its progeny stand in `progeny` from here
    Vec<int32_t> progeny;        // with both parents known, sire by sire
    Vec<double, 0> q;            // contribution of an ancestor to the sire; 0 between sires
    Vec<double, 0> y;            // relationship with the sire; 0 between sires
    PlaceSet waiting;
    std::vector<int32_t> sire_line, mate_line;  // places visited, youngest first
};

bool both_known(Parents p) { return p.sire > 0 && p.dam > 0; }

// Places follow the list, whatever numbers the levels have.
void note_places(const Vec<Parentage>& parentage, Vec<Parents>& parents) {
    const int32_t n = static_cast<int32_t>(parentage.size());
    const bool from_the_top = parentage(1).animal != 1;
    const auto place = [&](int32_t level) {
        return level != 0 && from_the_top ? n + 1 - level : level;
    };
    for (int32_t j = 1; j <= n; ++j)
        parents(j) = {place(parentage(j).sire), place(parentage(j).dam)};
}

// Progeny by sire: a counting sort.
void gather_families(Families& f) {
    const int64_t n = f.parents.size();
    for (const Parents& p : f.parents)
        if (both_known(p)) ++f.first_progeny(p.sire);
    int32_t behind = 1;
    for (int64_t s = 1; s <= n + 1; ++s) {
        behind += f.first_progeny(s);
        f.first_progeny(s) = behind;
    }
    for (int32_t j = static_cast<int32_t>(n); j >= 1; --j)
        if (both_known(f.parents(j))) f.progeny(--f.first_progeny(f.parents(j).sire)) = j;
}

void allocate_families(Families& f, int64_t n) {
    check_allocated(f.parents.allocate(n), kRoutine, "PARENTS", n);
    check_allocated(f.first_progeny.allocate(n + 1), kRoutine, "PROGENY", n + 1);
    check_allocated(f.progeny.allocate(n), kRoutine, "PROGENY", n);
    check_allocated(f.q.allocate(n + 1), kRoutine, "Q", n + 1);
    check_allocated(f.y.allocate(n + 1), kRoutine, "Y", n + 1);
    check_allocated(f.waiting.allocate(n), kRoutine, "PLACES", n);
}

// Mendelian sampling variance of an animal, the square of its LD. Rounding can bring it below 0 in
// lines inbred for hundreds of generations.
double sampling_variance(Parents p) {
    const double of_sire = p.sire > 0 ? AD(p.sire) : 0.0;
    const double of_dam = p.dam > 0 ? AD(p.dam) : 0.0;
    return std::max(1.0 - (of_sire + of_dam) * 0.25, 0.0);
}

// From the sire up: q of the sire is 1 and passes on by halves; y becomes q times the sampling
// variance.
void weight_sire_line(Families& f, int32_t sire) {
    f.sire_line.clear();
    f.q(sire) = 1.0;
    f.waiting.insert(sire);
    while (int32_t place = f.waiting.take_largest()) {
        f.sire_line.push_back(place);
        const Parents p = f.parents(place);
        f.y(place) = f.q(place) * sampling_variance(p);
        for (int32_t parent : {p.sire, p.dam}) {
            if (parent == 0) continue;
            f.q(parent) += 0.5 * f.q(place);
            f.waiting.insert(parent);
        }
        f.q(place) = 0.0;
    }
}

// From the oldest ancestors of the mates down: y is the mean of the parents' and the own weight.
void relate_mates(Families& f, int32_t first, int32_t behind) {
    f.mate_line.clear();
    for (int32_t j = first; j < behind; ++j) f.waiting.insert(f.parents(f.progeny(j)).dam);
    while (int32_t place = f.waiting.take_largest()) {
        f.mate_line.push_back(place);
        const Parents p = f.parents(place);
        if (p.sire != 0) f.waiting.insert(p.sire);
        if (p.dam != 0) f.waiting.insert(p.dam);
    }
    for (auto place = f.mate_line.rbegin(); place != f.mate_line.rend(); ++place) {
        const Parents p = f.parents(*place);
        f.y(*place) += 0.5 * (f.y(p.sire) + f.y(p.dam));  // y(0) stays 0
    }
}

void find_family(Families& f, int32_t sire) {
    const int32_t first = f.first_progeny(sire), behind = f.first_progeny(sire + 1);
    if (first == behind) return;
    weight_sire_line(f, sire);
    relate_mates(f, first, behind);
    for (int32_t j = first; j < behind; ++j)
        AD(f.progeny(j)) = 1.0 + 0.5 * f.y(f.parents(f.progeny(j)).dam);
    for (int32_t place : f.sire_line) f.y(place) = 0.0;
    for (int32_t place : f.mate_line) f.y(place) = 0.0;
}

}  // namespace

double find_inbreeding(const Vec<Parentage>& parentage) {
    const int32_t n = static_cast<int32_t>(parentage.size());
    Families f;
    allocate_families(f, n);
    note_places(parentage, f.parents);
    gather_families(f);
    for (int32_t j = 1; j <= n; ++j) AD(j) = 1.0;
    // The families of older sires hold the parents of all ancestors of a sire.
    for (int32_t sire = 1; sire <= n; ++sire) find_family(f, sire);
    double sum = 0.0;
    for (int32_t j = 1; j <= n; ++j) {
        LD(j) = std::sqrt(sampling_variance(f.parents(j)));
        sum += std::log(LD(j));
    }
    return 2.0 * sum;
}

}  // namespace kve
