#include "kve/check/data_pass.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <set>

#include "base/state.h"
#include "data/intake.h"
#include "data/raw_record.h"
#include "directives/directives.h"
#include "kve/check/data_records.h"
#include "model/model_records.h"

namespace kve::companion {

READS(DIRECTIVES);
READS(KVEINT);
READS(MODEL);
READS(RMAT);
READS(RECORD);

namespace {

constexpr double kNoLimit = std::numeric_limits<double>::infinity();

// The values that a trait may have.
struct Bounds {
    double lowest = -kNoLimit, highest = kNoLimit;
    bool above_lowest = false;  // the lowest itself is none
    bool whole = false;
    const char* words = nullptr;
};

Bounds bounds_of(const Model& m) {
    const bool is_zero_one = m.trait_type == kBinary || m.trait_type == kMixtureLinear ||
                             m.family == VarianceFamily::BINOMIAL;
    if (is_zero_one) return {.lowest = 0, .highest = 1, .words = "0 to 1"};
    if (m.trait_type == kCategorical)
        return {.lowest = 1, .whole = true, .words = "the categories 1, 2, ..."};
    if (m.family == VarianceFamily::POISSON) return {.lowest = 0, .words = "0 and above"};
    if (m.family == VarianceFamily::GAMMA || m.family == VarianceFamily::INVGAUSSIAN)
        return {.lowest = 0, .above_lowest = true, .words = "values above 0"};
    return {};
}

bool is_within(const Bounds& bounds, double value) {
    return value >= bounds.lowest && value <= bounds.highest &&
           !(bounds.above_lowest && value == bounds.lowest) &&
           !(bounds.whole && value != std::floor(value));
}

struct UsedReal {
    int32_t column;
    RealColumn* figures;
};

// Two columns that have been alike so far.
struct Alike {
    ColumnRef first, second;
};

// A trait as the loop over the records needs it: places in RECORD, 0 none.
struct TraitPlan {
    int32_t dependent = 0, weight = 0;
    Bounds bounds;
    int32_t censoring_code = -1, upper_limit = 0;
};

class Pass {
 public:
    Pass(Look& look, DataFigures& figures) : look_(look), figures_(figures) {}
    void run(bool has_model);

 private:
    void plan();
    void plan_classes();
    void plan_reals();
    void plan_alike();
    void plan_fixed_parts();
    void plan_animal_groups();
    void note_animals(TraitPattern usable);
    void choose_groups();
    void take_record(int64_t line);
    void note_reals(int64_t line);
    void note_alike();
    TraitPattern classify(int64_t line);
    void note_lack(const ColumnRef& place, int32_t trait, int64_t line);
    void note_dropped(TraitPattern dropped, int64_t line);
    void note_classes(TraitPattern usable);
    void enter_waiting(ClassColumn& column);
    void look_at_values(int32_t trait, int64_t line);
    void look_at_censoring(int32_t trait, int64_t line);
    void look_at_absorption(int64_t line);
    void finish();

    Look& look_;
    DataFigures& figures_;
    std::optional<DataRecords> records_;
    UsabilityPlan usability_;
    std::vector<UsedReal> reals_;
    std::vector<Alike> alike_;
    std::vector<TraitPlan> traits_;
    std::vector<int32_t> absorbed_;  // columns
    std::vector<int32_t> last_group_;
    int32_t group_ = 0;  // place of the residual group, 0 none
    TraitPattern last_pattern_ = 0;
    int64_t* n_of_last_pattern_ = nullptr;
};

// ---- What the model asks for

void Pass::plan_classes() {
    std::map<int32_t, TraitPattern> columns;
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        for (const int32_t column : MODEL(i).ef_inp)
            if (column >= 1 && column <= DIRECTIVES.NI) columns[column] |= trait_bit(KVEINT.nt, i);
        for (const int32_t column : MODEL(i).a_ef_inp)
            if (std::ranges::count(absorbed_, column) == 0) absorbed_.push_back(column);
    }
    last_group_.resize(absorbed_.size());
    for (const auto& [column, traits] : columns) {
        figures_.classes.push_back({.column = column, .traits = traits});
        if (figures_.classes.back().levels.allocate() != 0) throw std::bad_alloc();
    }
    if (residual_of(RMAT).structure == Structure::GROUP)
        group_ = integer_place(residual_of(RMAT).grp_inp);
}

void Pass::plan_reals() {
    const auto use = [this](int32_t column) {
        if (column >= 1 && column <= DIRECTIVES.NR) figures_.reals[column];
    };
    for (const Model& m : MODEL) {
        use(m.trait_inp_no);
        use(m.wgt_inp_no);
        use(m.offset_inp);
        for (const int32_t column : m.reg_inp) use(column);
    }
    for (auto& [column, figures] : figures_.reals) reals_.push_back({column, &figures});
}

// All pairs: those that differ go with the first records.
void Pass::plan_alike() {
    constexpr std::size_t kMostColumns = 500;
    std::vector<ColumnRef> columns;
    for (const ClassColumn& column : figures_.classes) columns.push_back({false, column.column});
    for (const UsedReal& real : reals_) columns.push_back({true, real.column});
    if (columns.size() > kMostColumns) return;
    for (std::size_t k = 1; k < columns.size(); ++k)
        for (std::size_t l = 0; l < k; ++l) alike_.push_back({columns[l], columns[k]});
}

// Traits with the same fixed effects share a part; one with a single effect has nothing to look at.
void Pass::plan_fixed_parts() {
    struct Part {
        std::vector<int32_t> effects, covariables;
        TraitPattern traits;
    };
    std::vector<Part> parts;
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        const Model& m = MODEL(i);
        Part part{{}, {}, trait_bit(KVEINT.nt, i)};
        for (int32_t j = 1; j <= m.n_fixed; ++j)
            if (m.f_intercept(j) && m.f_ef_inp(j) >= 1 && m.f_ef_inp(j) <= DIRECTIVES.NI &&
                std::ranges::count(part.effects, m.f_ef_inp(j)) == 0)
                part.effects.push_back(m.f_ef_inp(j));
        for (int32_t l = 1; l <= m.n_reg; ++l)
            if (m.reg_type(l) == kGeneralRegression && m.reg_inp(l) <= DIRECTIVES.NR)
                part.covariables.push_back(m.reg_inp(l));
        if (part.effects.size() + part.covariables.size() < 2 || part.effects.empty()) continue;
        const auto same = std::ranges::find_if(parts, [&part](const Part& other) {
            return other.effects == part.effects && other.covariables == part.covariables;
        });
        if (same == parts.end())
            parts.push_back(std::move(part));
        else
            same->traits |= part.traits;
    }
    for (Part& part : parts)
        figures_.fixed_parts.emplace_back(part.traits, std::move(part.effects),
                                          std::move(part.covariables));
}

// By the first trait with the factor.
void Pass::plan_animal_groups() {
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k) {
        if (!has_pedigree(RMAT(k).structure)) continue;
        AnimalGroups groups{k, {}};
        for (int32_t i = 1; i <= KVEINT.nt && groups.cells.empty(); ++i) {
            const Model& m = MODEL(i);
            for (int32_t j = 1; j <= m.n_random && groups.cells.empty(); ++j) {
                if (m.r_ef_matno(j) != k) continue;
                for (const int32_t fixed : m.f_ef_inp)
                    if (fixed >= 1 && fixed <= DIRECTIVES.NI)
                        groups.cells.emplace_back(trait_bit(KVEINT.nt, i),
                                                  std::vector{fixed, m.r_ef_inp(j)},
                                                  std::vector<int32_t>());
            }
        }
        figures_.animal_groups.push_back(std::move(groups));
    }
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

void Pass::plan() {
    usability_ = plan_usability(kFirstPassRules, "kve check");
    plan_classes();
    plan_reals();
    plan_alike();
    plan_fixed_parts();
    plan_animal_groups();
    figures_.levels.emplace();
    figures_.traits.resize(static_cast<std::size_t>(KVEINT.nt));
    for (const Model& m : MODEL)
        traits_.push_back({.dependent = real_place(m.trait_inp_no),
                           .weight = has_weight(m) ? real_place(m.wgt_inp_no) : 0,
                           .bounds = bounds_of(m),
                           .censoring_code = m.l_cens ? integer_place(m.cens_inp) : -1,
                           .upper_limit = m.int_max_inp});
}

// ---- A record

// Of a framed file the extremes have the number of the record.
void Pass::note_reals(int64_t line) {
    if (line == 0) line = records_->number();
    for (const UsedReal& real : reals_) {
        const double value = static_cast<double>(RECORD.FINP(real.column));
        if (value > static_cast<double>(DIRECTIVES.RMISS) && value < kNoLimit)
            real.figures->add(value, line);
        else if (value <= static_cast<double>(DIRECTIVES.RMISS))
            real.figures->add_missing(value);
    }
}

double value_of(const ColumnRef& column) {
    return column.is_real ? static_cast<double>(RECORD.FINP(column.column))
                          : static_cast<double>(RECORD.IINP(column.column));
}

void Pass::note_alike() {
    std::erase_if(alike_,
                  [](const Alike& pair) { return value_of(pair.first) != value_of(pair.second); });
}

void Pass::look_at_values(int32_t trait, int64_t line) {
    const TraitPlan& plan = traits_[static_cast<std::size_t>(trait - 1)];
    const auto value = static_cast<double>(RECORD.FINP(plan.dependent));
    if (!is_within(plan.bounds, value))
        look_.findings.error(
            "trait-value", records_->place(true, line),
            records_->record_words() + fmt::format("{} is {:g}, and the trait has {}",
                                                   real_name(MODEL(trait).trait_inp_no).string(),
                                                   value, plan.bounds.words));
    if (plan.weight == 0) return;
    const auto weight = static_cast<double>(RECORD.FINP(plan.weight));
    if (weight > 0 || !(weight > static_cast<double>(DIRECTIVES.RMISS))) return;
    look_.findings.error(
        "weight-value", records_->place(true, line),
        records_->record_words() +
            fmt::format("the weight {} is {:g}, and residual variances are divided by it",
                        real_name(MODEL(trait).wgt_inp_no).string(), weight),
        "A record that does not count has a missing weight");
}

void Pass::look_at_censoring(int32_t trait, int64_t line) {
    const TraitPlan& plan = traits_[static_cast<std::size_t>(trait - 1)];
    const int32_t code = RECORD.IINP(plan.censoring_code);
    const Model& m = MODEL(trait);
    if (code < -1 || code > 2)
        look_.findings.warn(
            "censoring-code", records_->place(false, line),
            records_->record_words() +
                fmt::format("the censoring code {} is {}, and codes are -1 to 2; the "
                            "trait is dropped",
                            integer_name(m.cens_inp).string(), code));
    if (code != 2 || plan.upper_limit == 0) return;
    const float upper = RECORD.FINP(plan.upper_limit), lower = RECORD.FINP(plan.dependent);
    if (upper > DIRECTIVES.RMISS && upper >= lower) return;
    look_.findings.warn(
        "censoring-code", records_->place(true, line),
        records_->record_words() + fmt::format("the upper limit {} is missing or below the value",
                                               real_name(m.int_max_inp).string()));
}

// Each absorbed column by itself must not fall from record to record.
void Pass::look_at_absorption(int64_t line) {
    for (std::size_t k = 0; k < absorbed_.size(); ++k) {
        const int32_t group = RECORD.IINP(integer_place(absorbed_[k]));
        if (group < last_group_[k])
            look_.findings.error(
                "absorption-order", records_->place(false, line),
                records_->record_words() +
                    fmt::format("{} falls from {} to {}: the data are not sorted by "
                                "the absorbed effects",
                                integer_name(absorbed_[k]).string(), last_group_[k], group),
                "Sort them");
        last_group_[k] = std::max(last_group_[k], group);
    }
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

// Why records with a value are dropped.
void Pass::note_dropped(TraitPattern dropped, int64_t line) {
    if (line == 0) line = records_->number();
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        if ((dropped & trait_bit(KVEINT.nt, i)) == 0) continue;
        const TraitNeeds& needs = usability_.traits(i);
        std::set<int32_t> seen;
        for (int32_t k = needs.identities_begin; k < needs.identities_end; ++k)
            if (const int32_t place = usability_.identities(k);
                RECORD.IINP(place) < 1 && seen.insert(place).second)
                note_lack({false, place}, i, line);
        seen.clear();
        for (int32_t k = needs.values_begin; k < needs.values_end; ++k)
            if (const int32_t place = usability_.values(k);
                RECORD.L_FINP_MIS(place) == 0 && seen.insert(place).second)
                note_lack({true, place}, i, line);
        if (group_ > 0 && RECORD.IINP(group_) < 1) note_lack({false, group_}, i, line);
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
        const TraitPlan& plan = traits_[static_cast<std::size_t>(i - 1)];
        if (plan.bounds.words != nullptr || plan.weight > 0) look_at_values(i, line);
        if (plan.censoring_code >= 0) look_at_censoring(i, line);
    }
    if (usable != present) note_dropped(present & ~usable, line);
    return usable;
}

void Pass::enter_waiting(ClassColumn& column) {
    if (column.waiting == 0) return;
    ++column.n_records;
    LevelSlot* slot = column.levels.find(column.waiting);
    if (slot == nullptr) {
        if (column.levels.enter(column.waiting, 0) != 0) throw std::bad_alloc();
        slot = column.levels.find(column.waiting);
        ++column.n_levels;
    }
    ++slot->n;
    slot->traits |= column.of_waiting;
    column.waiting = 0;
}

// A level is entered when the next record has been read; what it needs is fetched meanwhile.
void Pass::note_classes(TraitPattern usable) {
    for (ClassColumn& column : figures_.classes) {
        enter_waiting(column);
        const int32_t identity = RECORD.IINP(column.column);
        if ((column.traits & usable) == 0 || identity < 1) continue;
        column.waiting = identity;
        column.of_waiting = usable;
        column.levels.expect(identity);
    }
}

void Pass::take_record(int64_t line) {
    note_reals(line);
    figures_.repeats.take_record(line > 0 ? line : records_->number());
    if (!alike_.empty()) note_alike();
    const TraitPattern usable = classify(line);
    if (n_of_last_pattern_ == nullptr || usable != last_pattern_) {
        last_pattern_ = usable;
        n_of_last_pattern_ = &figures_.patterns[usable];
    }
    ++*n_of_last_pattern_;
    note_classes(usable);
    figures_.levels->take_record(line > 0 ? line : records_->number(), usable);
    for (FixedCells& cells : figures_.fixed_parts)
        if ((cells.traits() & usable) != 0) cells.take_record();
    note_animals(usable);
    if (!absorbed_.empty() && usable != 0) look_at_absorption(line);
}

void Pass::finish() {
    for (ClassColumn& column : figures_.classes) enter_waiting(column);
    figures_.levels->finish();
    figures_.repeats.finish();
    choose_groups();
    for (const Alike& pair : alike_) figures_.copies.emplace_back(pair.first, pair.second);
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
        if (has_model) take_record(records_->line());
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

const ClassColumn* DataFigures::class_column(int32_t column) const {
    const auto found = std::ranges::find(classes, column, &ClassColumn::column);
    return found == classes.end() ? nullptr : &*found;
}

int64_t DataFigures::count_levels(int32_t column) const {
    const ClassColumn* found = class_column(column);
    return found == nullptr ? 0 : found->n_levels;
}

DataFigures read_data(Look& look) {
    DataFigures figures;
    if (look.reading.has_directives() && can_be_read())
        Pass(look, figures).run(look.reading.has_submodels());
    return figures;
}

}  // namespace kve::companion
