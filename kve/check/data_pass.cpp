#include "kve/check/data_pass.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <set>

#include "base/state.h"
#include "data/intake.h"
#include "data/raw_record.h"
#include "directives/directives.h"
#include "kve/check/data_plan.h"
#include "kve/check/data_records.h"
#include "kve/check/trait_values.h"
#include "model/model_records.h"

namespace kve::companion {

READS(DIRECTIVES);
READS(KVEINT);
READS(RMAT);
READS(RECORD);

namespace {

struct UsedReal {
    int32_t column;
    RealColumn* figures;
};

class Pass {
 public:
    Pass(Look& look, DataFigures& figures) : look_(look), figures_(figures) {}
    void run(bool has_model);

 private:
    void plan();
    void choose_groups();
    void take_record(int64_t line);
    void note_reals(int64_t line);
    void note_copies();
    void note_animals(TraitPattern usable);
    TraitPattern classify(int64_t line);
    void note_lack(const ColumnRef& place, int32_t trait, int64_t line);
    std::set<ColumnRef> find_lacking(const TraitNeeds& needs) const;
    void note_dropped(TraitPattern dropped, int64_t line);
    void finish();

    Look& look_;
    DataFigures& figures_;
    std::optional<DataRecords> records_;
    std::optional<TraitValues> values_;
    UsabilityPlan usability_;
    std::vector<UsedReal> reals_;
    int32_t group_ = 0;  // place of the residual group, 0 none
    TraitPattern last_pattern_ = 0;
    int64_t* n_of_last_pattern_ = nullptr;
};

void Pass::plan() {
    usability_ = plan_usability(kFirstPassRules, "kve check");
    figures_.classes = plan_class_columns();
    figures_.reals = plan_real_columns();
    for (auto& [column, figures] : figures_.reals) reals_.push_back({column, &figures});
    figures_.copies = plan_column_pairs(figures_);
    figures_.fixed_parts = plan_fixed_parts();
    figures_.animal_groups = plan_animal_groups();
    figures_.levels.emplace();
    figures_.traits.resize(static_cast<std::size_t>(KVEINT.nt));
    values_.emplace(look_);
    if (residual_of(RMAT).structure == Structure::GROUP)
        group_ = integer_place(residual_of(RMAT).grp_inp);
}

// ---- A record

void Pass::note_reals(int64_t line) {
    for (const UsedReal& real : reals_) {
        const double value = static_cast<double>(RECORD.FINP(real.column));
        if (value <= static_cast<double>(DIRECTIVES.RMISS))
            real.figures->add_missing(value);
        else if (value < std::numeric_limits<double>::infinity())
            real.figures->add(value, line);
    }
}

double value_of(const ColumnRef& column) {
    return column.is_real ? static_cast<double>(RECORD.FINP(column.column))
                          : static_cast<double>(RECORD.IINP(column.column));
}

void Pass::note_copies() {
    std::erase_if(figures_.copies, [](const ColumnPair& pair) {
        return value_of(pair.first) != value_of(pair.second);
    });
}

void Pass::choose_groups() {
    for (AnimalGroups& groups : figures_.animal_groups) {
        if (groups.cells.size() < 2) continue;
        const auto largest = std::ranges::max_element(groups.cells, {}, [this](const auto& cells) {
            return figures_.count_levels(cells.effects()[0]);
        });
        std::iter_swap(groups.cells.begin(), largest);
        groups.cells.erase(groups.cells.begin() + 1, groups.cells.end());
    }
}

void Pass::note_animals(TraitPattern usable) {
    if (figures_.n_records == AnimalGroups::kRecordsOfChoice) choose_groups();
    for (AnimalGroups& groups : figures_.animal_groups)
        for (FixedCells& cells : groups.cells)
            if ((cells.traits() & usable) != 0) cells.take_record();
}

void Pass::note_lack(const ColumnRef& place, int32_t trait, int64_t line) {
    Lack& lack = figures_.lacks[place];
    if (lack.n_of_trait.empty()) lack.n_of_trait.resize(static_cast<std::size_t>(KVEINT.nt));
    ++lack.n_of_trait[static_cast<std::size_t>(trait - 1)];
    if (lack.n > 0 && lack.last == line) return;  // for another trait
    if (lack.n++ == 0) lack.first = line;
    lack.last = line;
    if (place.is_real) return;
    lack.lowest_code = std::min(lack.lowest_code, RECORD.IINP(place.column));
    lack.highest_code = std::max(lack.highest_code, RECORD.IINP(place.column));
}

// What the record lacks for the trait.
std::set<ColumnRef> Pass::find_lacking(const TraitNeeds& needs) const {
    std::set<ColumnRef> lacking;
    const auto take_identity = [&lacking](int32_t place) {
        if (RECORD.IINP(place) < 1) lacking.insert({false, place});
    };
    if (group_ > 0) take_identity(group_);
    for (int32_t k = needs.identities_begin; k < needs.identities_end; ++k)
        take_identity(usability_.identities(k));
    for (int32_t k = needs.values_begin; k < needs.values_end; ++k)
        if (const int32_t place = usability_.values(k); RECORD.L_FINP_MIS(place) == 0)
            lacking.insert({true, place});
    return lacking;
}

// Why records with a value are dropped.
void Pass::note_dropped(TraitPattern dropped, int64_t line) {
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        if ((dropped & trait_bit(KVEINT.nt, i)) == 0) continue;
        for (const ColumnRef& place : find_lacking(usability_.traits(i))) note_lack(place, i, line);
    }
}

TraitPattern Pass::classify(int64_t line) {
    const TraitPattern present = present_traits(usability_);
    TraitPattern usable = usable_traits(usability_, present);
    if (group_ > 0 && RECORD.IINP(group_) < 1) usable = 0;
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        const TraitPattern bit = trait_bit(KVEINT.nt, i);
        if ((present & bit) == 0) continue;
        TraitFigures& figures = figures_.traits[static_cast<std::size_t>(i - 1)];
        ++figures.n_present;
        figures.n_usable += (usable & bit) != 0 ? 1 : 0;
        values_->look_at(i, line);
    }
    if (usable != present) note_dropped(present & ~usable, line);
    return usable;
}

void Pass::take_record(int64_t line) {
    note_reals(line);
    figures_.repeats.take_record(line);
    if (!figures_.copies.empty()) note_copies();
    const TraitPattern usable = classify(line);
    if (n_of_last_pattern_ == nullptr || usable != last_pattern_) {
        last_pattern_ = usable;
        n_of_last_pattern_ = &figures_.patterns[usable];
    }
    ++*n_of_last_pattern_;
    for (ClassColumn& column : figures_.classes) column.take_record(usable);
    figures_.levels->take_record(line, usable);
    for (FixedCells& cells : figures_.fixed_parts)
        if ((cells.traits() & usable) != 0) cells.take_record();
    note_animals(usable);
    if (usable != 0) values_->look_at_absorption(line);
}

void Pass::finish() {
    for (ClassColumn& column : figures_.classes) column.enter_waiting();
    figures_.levels->finish();
    figures_.repeats.finish();
    choose_groups();
}

void Pass::run(bool has_model) {
    release_record();
    allocate_record();
    if (has_model) plan();
    const UsedColumns used = find_used_columns(has_model);
    records_.emplace(look_, used);
    while (records_->next()) {
        if (!records_->is_whole()) continue;
        ++figures_.n_records;
        if (has_model) take_record(records_->number());
    }
    if (has_model) finish();
    records_->tell_files();
    figures_.is_complete = has_model;
    release_record();
}

// A record must have room in memory, many times over.
bool can_be_read() {
    constexpr int64_t kMostColumns = 1'000'000;
    return DIRECTIVES.n_data_files > 0 && DIRECTIVES.NI >= 0 && DIRECTIVES.NR >= 0 &&
           int64_t{DIRECTIVES.NI} + DIRECTIVES.NR <= kMostColumns &&
           !DIRECTIVES.data_file[0].blank();
}

}  // namespace

DataFigures read_data(Look& look) {
    DataFigures figures;
    if (look.reading.has_directives() && can_be_read())
        Pass(look, figures).run(look.reading.has_submodels());
    return figures;
}

}  // namespace kve::companion
