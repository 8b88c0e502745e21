#include "kve/report/run_pedigree.h"

#include <algorithm>
#include <chrono>
#include <utility>
#include <vector>

#include "kve/files/code_lists.h"

namespace kve::companion {

namespace {

// A sort variable at or below this is none: of an animal without a pedigree record, of a group.
constexpr int32_t kNoSort = -999999998;

struct Animal {
    int32_t identity, sort, n_records;
    int32_t sire, dam;  // identities, then rows
};

// Rows count from 1; row 0 is the unknown parent.
std::vector<Animal> read_animals(const RunFolder& run, int32_t factor, RunPedigree& into) {
    std::vector<Animal> animals(1);
    CodeFile file(run);
    for (const CodeList& list : lists_of(run)) {
        if (list.kind != CodeList::animals || list.factor != factor) {
            file.skip(list);
            continue;
        }
        for (int64_t n = 0; n < list.n_levels; ++n)
            if (const Code c = file.read(list); c.identity > 0)
                animals.push_back({c.identity, c.sort, c.n_obs, c.sire, c.dam});
            else
                ++into.n_groups;
        break;
    }
    return animals;
}

void find_rows_of_parents(std::vector<Animal>& animals) {
    std::vector<std::pair<int32_t, int32_t>> rows;  // by identity
    rows.reserve(animals.size());
    for (std::size_t a = 1; a < animals.size(); ++a)
        rows.emplace_back(animals[a].identity, static_cast<int32_t>(a));
    std::ranges::sort(rows);
    for (Animal& a : animals)
        for (int32_t* parent : {&a.sire, &a.dam}) {
            const auto found = std::ranges::lower_bound(rows, std::pair(*parent, 0));
            const bool is_known = *parent > 0 && found != rows.end() && found->first == *parent;
            *parent = is_known ? found->second : 0;
        }
}

// The places of all rows, so that parents come first whatever the order of the rows. A parent
// whose own ancestors are under way descends from the animal.
class Ordering {
 public:
    explicit Ordering(std::vector<Animal>& animals)
        : animals_(animals), state_(animals.size()), place_(animals.size()) {}

    std::vector<int32_t> order() {
        for (std::size_t a = 1; a < animals_.size(); ++a)
            if (state_[a] == kNew) visit(static_cast<int32_t>(a));
        return std::move(place_);
    }
    int64_t n_left_out() const { return n_left_out_; }

 private:
    enum State : char { kNew, kUnderWay, kDone };

    void visit(int32_t first) {
        stack_.assign(1, first);
        while (!stack_.empty()) {
            const auto a = static_cast<std::size_t>(stack_.back());
            if (state_[a] != kNew) {
                stack_.pop_back();
                if (std::exchange(state_[a], kDone) == kUnderWay) finish(a);
                continue;
            }
            state_[a] = kUnderWay;
            for (const int32_t parent : {animals_[a].sire, animals_[a].dam})
                if (parent > 0 && state_[static_cast<std::size_t>(parent)] == kNew)
                    stack_.push_back(parent);
        }
    }

    void finish(std::size_t a) {
        for (int32_t* parent : {&animals_[a].sire, &animals_[a].dam}) {
            const auto row = static_cast<std::size_t>(*parent);
            if (row == 0 || place_[row] > 0) continue;
            *parent = 0;
            ++n_left_out_;
        }
        place_[a] = ++last_;
    }

    std::vector<Animal>& animals_;
    std::vector<char> state_;
    std::vector<int32_t> place_, stack_;
    int32_t last_ = 0;
    int64_t n_left_out_ = 0;
};

bool is_date(int32_t sort) {
    const int32_t year = sort / 10000, month = sort / 100 % 100, day = sort % 100;
    return year >= 1800 && year <= 2200 && month >= 1 && month <= 12 && day >= 1 && day <= 31;
}

int32_t day_of(int32_t date) {
    using namespace std::chrono;
    const year_month_day day{year{date / 10000}, month{static_cast<unsigned>(date / 100 % 100)},
                             std::chrono::day{static_cast<unsigned>(date % 100)}};
    return static_cast<int32_t>(sys_days{day}.time_since_epoch().count());
}

bool is_year(int32_t sort) { return sort >= 1900 && sort <= 2200; }

template <class Predicate>
bool all_known(const Vec<int32_t>& sorts, Predicate predicate) {
    bool any = false;
    for (const int32_t sort : sorts) {
        if (sort == kNoBirth || sort == 0) continue;
        if (!predicate(sort)) return false;
        any = true;
    }
    return any;
}

void find_births(RunPedigree& into) {
    into.are_dates = all_known(into.sort, is_date);
    into.are_years = all_known(into.sort, is_year);
    for (int32_t j = 1; j <= into.pedigree.size(); ++j) {
        int32_t& sort = into.sort(j);
        if (sort == 0 && (into.are_dates || into.are_years)) sort = kNoBirth;
        into.pedigree.birth(j) = into.are_dates && sort != kNoBirth ? day_of(sort) : sort;
    }
}

}  // namespace

RunPedigree read_pedigree(const RunFolder& run, int32_t factor) {
    RunPedigree into;
    std::vector<Animal> animals = read_animals(run, factor, into);
    find_rows_of_parents(animals);
    Ordering ordering(animals);
    const std::vector<int32_t> place = ordering.order();
    into.n_left_out = ordering.n_left_out();
    const auto n = static_cast<int64_t>(animals.size()) - 1;
    make_table(into.pedigree.parents, n);
    make_table(into.pedigree.sex, n);
    for (auto* table : {&into.pedigree.birth, &into.sort, &into.identity, &into.n_records})
        make_table(*table, n);
    for (std::size_t a = 1; a < animals.size(); ++a) {
        const Animal& animal = animals[a];
        const int32_t j = place[a];
        const int32_t sire = place[static_cast<std::size_t>(animal.sire)],
                      dam = place[static_cast<std::size_t>(animal.dam)];
        into.pedigree.parents(j) = {sire, dam};
        if (sire > 0) into.pedigree.sex(sire) = Sex::male;
        if (dam > 0) into.pedigree.sex(dam) = Sex::female;
        into.sort(j) = animal.sort > kNoSort ? animal.sort : kNoBirth;
        into.identity(j) = animal.identity;
        into.n_records(j) = animal.n_records;
    }
    find_births(into);
    return into;
}

}  // namespace kve::companion
