#include "kve/report/record_figures.h"

#include <algorithm>

#include "kve/files/data_file.h"

namespace kve::companion {

namespace {

constexpr int kBins = 60, kCrossBins = 24;
constexpr std::size_t kCrossed = 6;  // pairs of traits

std::vector<int32_t> traits_with(const RunFolder& run, const DataColumn& column) {
    if (column.trait > 0) return {column.trait};
    std::vector<int32_t> traits;
    for (int32_t i = 1; i <= run.run().nt; ++i)
        if (std::ranges::count(run.trait(i).reg_rci, column.position) > 0) traits.push_back(i);
    return traits;
}

// Which traits are usable in the record at hand.
class UsableTraits {
 public:
    UsableTraits(const RunFolder& run, std::optional<float> missing)
        : run_(run), missing_(missing), usable_(run.traits().size() + 1) {}

    void look(const DataFile& data) {
        for (int32_t i = 1; i <= run_.run().nt; ++i) {
            const Usable told = data.usable(i);
            const bool usable =
                told == Usable::yes ||
                (told == Usable::not_told && !is_missing(data.real(run_.trait(i).trait_rci)));
            usable_[static_cast<std::size_t>(i)] = usable ? 1 : 0;
        }
    }
    bool operator()(int32_t trait) const { return usable_[static_cast<std::size_t>(trait)] != 0; }
    bool any_of(const std::vector<int32_t>& traits) const {
        return std::ranges::any_of(traits, [this](int32_t i) { return (*this)(i); });
    }
    bool is_missing(float value) const { return missing_ && value <= *missing_; }

 private:
    const RunFolder& run_;
    std::optional<float> missing_;
    std::vector<char> usable_;  // by trait
};

RecordFigures find_columns(const RunFolder& run, bool is_missing_told) {
    RecordFigures figures;
    for (DataColumn& column : data_columns(run, lists_of(run), 0)) {
        if (!column.is_real()) continue;
        ValueColumn values{.column = column, .traits = traits_with(run, column)};
        const bool is_single = run.run().nt == 1;
        values.is_told =
            is_missing_told || is_single ||
            std::ranges::all_of(values.traits, [&](int32_t i) { return run.trait(i).n_fixed > 0; });
        const bool is_trait = column.kind == DataColumn::dependent;
        (is_trait ? figures.traits : figures.others).push_back(std::move(values));
    }
    for (std::size_t x = 0; x < figures.traits.size(); ++x)
        for (std::size_t y = x + 1; y < figures.traits.size(); ++y) figures.pairs.push_back({x, y});
    return figures;
}

// Calls for each value that counts and for each pair of them.
template <class Value, class Pair>
void pass_records(const RunFolder& run, std::optional<float> missing, RecordFigures& figures,
                  Value take_value, Pair take_pair) {
    UsableTraits usable(run, missing);
    DataFile data(run);
    const auto take_columns = [&](std::vector<ValueColumn>& columns) {
        for (ValueColumn& c : columns) {
            const float value = data.real(c.column.position);
            take_value(c, value, usable.any_of(c.traits) && !usable.is_missing(value));
        }
    };
    while (data.next()) {
        usable.look(data);
        take_columns(figures.traits);
        take_columns(figures.others);
        for (TraitPair& pair : figures.pairs) {
            const ValueColumn &x = figures.traits[pair.x], &y = figures.traits[pair.y];
            if (usable(x.column.trait) && usable(y.column.trait))
                take_pair(pair, data.real(x.column.position), data.real(y.column.position));
        }
    }
}

void choose_crossed(RecordFigures& figures) {
    std::vector<TraitPair*> pairs;
    for (TraitPair& pair : figures.pairs)
        if (pair.moments.n() > 1) pairs.push_back(&pair);
    std::ranges::stable_sort(pairs, std::ranges::greater{},
                             [](const TraitPair* pair) { return pair->moments.n(); });
    if (pairs.size() > kCrossed) pairs.resize(kCrossed);
    for (TraitPair* pair : pairs) {
        CrossBins cells{
            choose_bins(pair->moments.x, kCrossBins), choose_bins(pair->moments.y, kCrossBins), {}};
        cells.counts.assign(cells.x.counts.size() * cells.y.counts.size(), 0);
        pair->cells = std::move(cells);
    }
}

ValueColumn* find_column(std::vector<ValueColumn>& columns, const std::string& name) {
    for (ValueColumn& c : columns)
        if (c.column.name == name) return &c;
    return nullptr;
}

}  // namespace

RecordFigures survey_records(const RunFolder& run, std::optional<float> missing) {
    RecordFigures figures = find_columns(run, missing.has_value());
    figures.n_records = run.run().n_records;
    pass_records(
        run, missing, figures,
        [](ValueColumn& c, float value, bool counts) {
            if (counts)
                c.moments.add(value);
            else
                ++c.n_without;
        },
        [](TraitPair& pair, float x, float y) { pair.moments.add(x, y); });
    return figures;
}

void choose_bins(RecordFigures& figures, RecordFigures* other) {
    for (auto member : {&RecordFigures::traits, &RecordFigures::others})
        for (ValueColumn& c : figures.*member) {
            ValueColumn* twin =
                other == nullptr ? nullptr : find_column(other->*member, c.column.name);
            Moments both = c.moments;
            if (twin != nullptr) both.join(twin->moments);
            c.bins = choose_bins(both, kBins);
            if (twin != nullptr) twin->bins = c.bins;
        }
    choose_crossed(figures);
}

void fill_bins(const RunFolder& run, std::optional<float> missing, RecordFigures& figures) {
    pass_records(
        run, missing, figures,
        [](ValueColumn& c, float value, bool counts) {
            if (counts && std::isfinite(value) && !c.bins.counts.empty()) c.bins.add(value);
        },
        [](TraitPair& pair, float x, float y) {
            if (!pair.cells || !std::isfinite(x) || !std::isfinite(y)) return;
            CrossBins& cells = *pair.cells;
            ++cells.counts[cells.y.place(y) * cells.x.counts.size() + cells.x.place(x)];
        });
}

}  // namespace kve::companion
