#include "kve/pedigree/births.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

namespace kve::companion {

namespace {

constexpr int32_t kNever = std::numeric_limits<int32_t>::max();

// Numbers of the animals, parents before their progeny.
Vec<int32_t> order_by_generation(const Vec<int32_t>& generation) {
    Vec<int32_t, 0> last;  // place of the animals of each generation
    const int32_t deepest = *std::max_element(generation.begin(), generation.end());
    make_table(last, int64_t{deepest} + 2);
    for (const int32_t g : generation) ++last(g + 1);
    for (int32_t g = 1; g <= deepest + 1; ++g) last(g) += last(g - 1);
    Vec<int32_t> order;
    make_table(order, generation.size());
    for (int32_t j = 1; j <= generation.size(); ++j) order(++last(generation(j))) = j;
    return order;
}

// The latest time by which an animal must be born, and the animal whose birth says so: itself or a
// descendant.
struct Limit {
    int32_t time, by;
};

Vec<Limit, 0> find_limits(const Herdbook& book, const Vec<int32_t>& order) {
    Vec<Limit, 0> limits;
    make_table(limits, int64_t{book.size()} + 1);
    limits.fill({kNever, 0});
    for (int64_t k = order.size(); k >= 1; --k) {
        const int32_t j = order(k);
        if (book.birth(j) != kNoBirth) limits(j) = {book.birth(j), j};
        if (limits(j).by == 0) continue;
        for (const int32_t parent : {book.parents(j).sire, book.parents(j).dam})
            if (limits(j).time - 1 < limits(parent).time)
                limits(parent) = {limits(j).time - 1, limits(j).by};
    }
    return limits;
}

// Estimates do not go back further, as long as there is room for all generations.
int32_t first_time(BirthUnit unit) {
    constexpr int32_t kFirstDay = -719162;  // 1 January of the year 1
    return unit == BirthUnit::days ? kFirstDay : unit == BirthUnit::years ? 1 : kNoBirth / 2;
}

// A parent that is too young for a descendant.
struct Conflict {
    int32_t parent, descendant;
};

bool all_births_known(const Herdbook& book) {
    return std::find(book.birth.begin(), book.birth.end(), kNoBirth) == book.birth.end();
}

std::vector<Conflict> find_conflicts(const Herdbook& book, const Vec<int32_t>& generation) {
    Vec<Limit, 0> limits;
    if (!all_births_known(book)) limits = find_limits(book, order_by_generation(generation));
    std::vector<Conflict> conflicts;
    for (int32_t j = 1; j <= book.size(); ++j) {
        const Limit limit =
            limits.size() > 0 && book.birth(j) == kNoBirth ? limits(j) : Limit{book.birth(j), j};
        for (const int32_t parent : {book.parents(j).sire, book.parents(j).dam})
            if (parent != 0 && book.birth(parent) != kNoBirth && limit.by != 0 &&
                book.birth(parent) >= limit.time)
                conflicts.push_back({parent, limit.by});
    }
    return conflicts;
}

void give_up(Herdbook& book, int32_t animal, PedigreeFindings& findings) {
    findings.changes.push_back(
        {book.line(animal), animal,
         fmt::format("birth {} unknown, parents are to be born before their progeny",
                     birth_text(book.birth(animal), book.unit))});
    book.birth(animal) = kNoBirth;
}

void tell(const Herdbook& book, const Conflict& c, const IdentityTable& names,
          PedigreeFindings& findings) {
    findings.add(
        Kind::born_after, book.line(c.parent), c.parent,
        fmt::format("born {}, not before {}, born {}, line {}",
                    birth_text(book.birth(c.parent), book.unit), names.text(c.descendant),
                    birth_text(book.birth(c.descendant), book.unit), book.line(c.descendant)));
}

// Of the oldest descendant by animal, 0 the unknown parent; kNever without one.
Vec<int32_t, 0> oldest_below_all(const Herdbook& book, const Vec<int32_t>& order) {
    Vec<int32_t, 0> oldest;
    make_table(oldest, int64_t{book.size()} + 1);
    oldest.fill(kNever);
    for (int64_t k = order.size(); k >= 1; --k) {
        const int32_t j = order(k), birth = book.birth(j) != kNoBirth ? book.birth(j) : kNever;
        for (const int32_t parent : {book.parents(j).sire, book.parents(j).dam})
            oldest(parent) = std::min({oldest(parent), oldest(j), birth});
    }
    return oldest;
}

// Of the youngest ancestor; kNoBirth without one.
Vec<int32_t, 0> youngest_above_all(const Herdbook& book, const Vec<int32_t>& order) {
    Vec<int32_t, 0> youngest;
    make_table(youngest, int64_t{book.size()} + 1);
    youngest.fill(kNoBirth);
    for (const int32_t j : order)
        for (const int32_t parent : {book.parents(j).sire, book.parents(j).dam})
            if (parent != 0)
                youngest(j) = std::max({youngest(j), youngest(parent), book.birth(parent)});
    return youngest;
}

// Everybody who contradicts any ancestor or descendant goes: where births contradict each other
// over many generations there would be no end of choosing.
void give_up_all(Herdbook& book, const Vec<int32_t>& order, PedigreeFindings& findings) {
    const Vec<int32_t, 0> oldest_below = oldest_below_all(book, order),
                          youngest_above = youngest_above_all(book, order);
    for (int32_t j = 1; j <= book.size(); ++j)
        if (book.birth(j) != kNoBirth &&
            (book.birth(j) >= oldest_below(j) || book.birth(j) <= youngest_above(j)))
            give_up(book, j, findings);
}

Vec<int32_t> count_conflicts(const std::vector<Conflict>& conflicts, int32_t n_animals) {
    Vec<int32_t> conflicts_of;
    make_table(conflicts_of, n_animals);
    for (const auto [parent, descendant] : conflicts) {
        ++conflicts_of(parent);
        ++conflicts_of(descendant);
    }
    return conflicts_of;
}

// Of two births the one with more conflicts, and of equal ones the parent's; or both.
void give_up_worse(Herdbook& book, const std::vector<Conflict>& conflicts, bool both,
                   PedigreeFindings& findings) {
    const Vec<int32_t> conflicts_of = count_conflicts(conflicts, book.size());
    for (const auto [parent, descendant] : conflicts) {
        if (book.birth(parent) == kNoBirth || book.birth(descendant) == kNoBirth) continue;
        const bool descendants = conflicts_of(descendant) > conflicts_of(parent);
        if (!descendants || both) give_up(book, parent, findings);
        if (descendants || both) give_up(book, descendant, findings);
    }
}

}  // namespace

void settle_births(Herdbook& book, const Vec<int32_t>& generation, const IdentityTable& names,
                   PedigreeFindings& findings) {
    constexpr int kChoosing = 10;  // rounds; then all go, so that there is an end
    for (int round = 1;; ++round) {
        const std::vector<Conflict> conflicts = find_conflicts(book, generation);
        if (conflicts.empty()) return;
        if (round == 1)
            for (const Conflict& c : conflicts) tell(book, c, names, findings);
        if (round == kChoosing)
            give_up_all(book, order_by_generation(generation), findings);
        else
            give_up_worse(book, conflicts, round > kChoosing, findings);
    }
}

namespace {

// The first time of the unit when nobody's birth is known.
int32_t oldest_birth(const Herdbook& book) {
    int32_t oldest = kNever;
    for (const int32_t birth : book.birth)
        if (birth != kNoBirth) oldest = std::min(oldest, birth);
    return oldest != kNever ? oldest : first_time(book.unit);
}

// kNoBirth without a parent.
int32_t birth_of_youngest_parent(const Herdbook& book, const Vec<int32_t>& births, int32_t j) {
    int32_t youngest = kNoBirth;
    for (const int32_t parent : {book.parents(j).sire, book.parents(j).dam})
        if (parent != 0) youngest = std::max(youngest, births(parent));
    return youngest;
}

int32_t earliest_after(int32_t parent) { return parent == kNoBirth ? kNoBirth : parent + 1; }

// What usually lies between the births of parents and progeny.
int32_t usual_step(BirthUnit unit) {
    constexpr int32_t kDays = 730, kYears = 2;
    if (unit == BirthUnit::days) return kDays;
    return unit == BirthUnit::years ? kYears : 1;
}

}  // namespace

Vec<int32_t> estimate_births(const Herdbook& book, const Vec<int32_t>& generation) {
    Vec<int32_t> births;
    make_table(births, book.size());
    std::copy(book.birth.begin(), book.birth.end(), births.begin());
    if (all_births_known(book)) return births;
    const Vec<int32_t> order = order_by_generation(generation);
    const Vec<Limit, 0> limits = find_limits(book, order);
    constexpr int32_t kManyGenerations = 1000;  // the calendar ends somewhere
    const int32_t step = usual_step(book.unit), oldest = oldest_birth(book),
                  first = first_time(book.unit);
    for (const int32_t j : order) {
        if (births(j) != kNoBirth) continue;
        const int32_t after = birth_of_youngest_parent(book, births, j);
        if (limits(j).by == 0)
            births(j) =
                after == kNoBirth ? oldest : after + (generation(j) > kManyGenerations ? 1 : step);
        else
            births(j) =
                std::max({limits(j).time + 1 - step,
                          std::min(limits(j).time, first + generation(j)), earliest_after(after)});
    }
    return births;
}

}  // namespace kve::companion
