#include "kve/pedigree/loops.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

namespace kve::companion {

namespace {

constexpr int32_t kUnderWay = -1;  // on the path

// The search goes from each animal up through its parents. `state` is 0 for an animal that it has
// not met, kUnderWay on the path, and otherwise the generation plus 1.
struct Search {
    Herdbook& book;
    const std::function<void(const Loop&)>& found;
    Vec<int32_t> state;
    std::vector<int32_t> path{};  // each the progeny of the next
    int64_t steps_back;           // that may still be taken to break a loop in its middle
};

// The longest time from a birth to that of the parent; without births the record that stands last.
// Two numbers, compared one after the other.
std::pair<int64_t, int32_t> suspicion(const Herdbook& book, int32_t animal, int32_t parent) {
    const int32_t own = book.birth(animal), parents = book.birth(parent);
    const bool known = own != kNoBirth && parents != kNoBirth;
    const int64_t after = known ? int64_t{parents} - own + 1 : 0;
    return {std::max<int64_t>(after, 0), book.line(animal)};
}

std::string chain_text(const IdentityTable& names, std::span<const int32_t> loop) {
    std::string text(names.text(loop.front()));
    for (std::size_t k = 1; k < std::min(loop.size(), kLongestLoopTold); ++k)
        text += fmt::format(" <- {}", names.text(loop[k]));
    if (loop.size() > kLongestLoopTold) text += fmt::format(" <- ... {} animals", loop.size());
    return text + fmt::format(" <- {}", names.text(loop.front()));
}

// The last animal of the path has `parent`, who is on the path: breaks the loop, and takes from the
// path all that came after the broken link.
void break_loop(Search& at, int32_t parent) {
    const auto first = std::find(at.path.rbegin(), at.path.rend(), parent).base() - 1;
    const std::span<const int32_t> loop(first, at.path.end());
    std::size_t weakest = loop.size() - 1;
    const auto parent_of = [&](std::size_t k) { return loop[(k + 1) % loop.size()]; };
    if (at.steps_back >= static_cast<int64_t>(loop.size()))
        for (std::size_t k = 0; k < loop.size(); ++k)
            if (suspicion(at.book, loop[k], parent_of(k)) >
                suspicion(at.book, loop[weakest], parent_of(weakest)))
                weakest = k;
    at.steps_back -= static_cast<int64_t>(loop.size());
    at.found({loop, weakest});
    ParentPair& links = at.book.parents(loop[weakest]);
    (links.sire == parent_of(weakest) ? links.sire : links.dam) = 0;
    for (std::size_t k = loop.size() - 1; k > weakest; --k) {
        at.state(at.path.back()) = 0;
        at.path.pop_back();
    }
}

// One step: to a parent that is still to be met, or back to the progeny.
void go_on(Search& at) {
    const int32_t animal = at.path.back();
    int32_t state = 1;
    for (const int32_t parent : {at.book.parents(animal).sire, at.book.parents(animal).dam}) {
        if (parent == 0) continue;
        if (at.state(parent) == kUnderWay) return break_loop(at, parent);
        if (at.state(parent) == 0) {
            at.state(parent) = kUnderWay;
            return at.path.push_back(parent);
        }
        state = std::max(state, at.state(parent) + 1);
    }
    at.state(animal) = state;
    at.path.pop_back();
}

}  // namespace

Vec<int32_t> break_loops(Herdbook& book, const std::function<void(const Loop&)>& found) {
    constexpr int64_t kStepsPerAnimal = 10;
    Search at{.book = book, .found = found, .state{}, .steps_back = kStepsPerAnimal * book.size()};
    make_table(at.state, book.size());
    for (int32_t animal = 1; animal <= book.size(); ++animal) {
        if (at.state(animal) != 0) continue;
        at.state(animal) = kUnderWay;
        at.path.push_back(animal);
        while (!at.path.empty()) go_on(at);
    }
    for (int32_t& state : at.state) --state;
    return std::move(at.state);
}

Vec<int32_t> break_loops(Herdbook& book, const IdentityTable& names, PedigreeFindings& findings) {
    return break_loops(book, [&](const Loop& loop) {
        const int32_t animal = loop.animals[loop.broken],
                      parent = loop.animals[(loop.broken + 1) % loop.animals.size()];
        findings.add(Kind::loop, book.line(animal), animal, chain_text(names, loop.animals));
        findings.changes.push_back(
            {book.line(animal), animal,
             fmt::format("{} {} unknown, to break a loop",
                         book.parents(animal).sire == parent ? "sire" : "dam",
                         names.text(parent))});
    });
}

}  // namespace kve::companion
