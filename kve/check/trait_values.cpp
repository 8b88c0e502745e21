#include "kve/check/trait_values.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "base/state.h"
#include "data/raw_record.h"
#include "data/usability.h"
#include "directives/directives.h"
#include "kve/check/data_words.h"
#include "model/model_records.h"

namespace kve::companion {

READS(DIRECTIVES);
READS(MODEL);
READS(RECORD);

TraitValues::Bounds TraitValues::bounds_of(int32_t trait) {
    const Model& m = MODEL(trait);
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

bool TraitValues::Bounds::have(double value) const {
    return value >= lowest && value <= highest && !(above_lowest && value == lowest) &&
           !(whole && value != std::floor(value));
}

TraitValues::TraitValues(Look& look) : look_(look) {
    for (int32_t i = 1; i <= MODEL.size(); ++i) {
        const Model& m = MODEL(i);
        plans_.push_back({.dependent = real_place(m.trait_inp_no),
                          .weight = has_weight(m) ? real_place(m.wgt_inp_no) : 0,
                          .bounds = bounds_of(i),
                          .censoring_code = m.l_cens ? integer_place(m.cens_inp) : -1,
                          .upper_limit = m.int_max_inp});
        for (const int32_t column : m.a_ef_inp)
            if (std::ranges::count(absorbed_, column, &Absorbed::column) == 0)
                absorbed_.push_back({column});
    }
}

void TraitValues::look_at(int32_t trait, int64_t line) {
    const Plan& plan = plans_[static_cast<std::size_t>(trait - 1)];
    if (plan.bounds.words != nullptr) look_at_bounds(trait, plan, line);
    if (plan.weight > 0) look_at_weight(trait, plan, line);
    if (plan.censoring_code >= 0) look_at_censoring(trait, plan, line);
}

void TraitValues::look_at_bounds(int32_t trait, const Plan& plan, int64_t line) {
    const auto value = static_cast<double>(RECORD.FINP(plan.dependent));
    if (plan.bounds.have(value) || look_.findings.counts_only("trait-value", Severity::error))
        return;
    const ColumnRef column{true, MODEL(trait).trait_inp_no};
    look_.findings.error("trait-value", in_data(column, line),
                         fmt::format("{}{} is {:g}, and the trait has {}", record_words(line),
                                     name_of(column), value, plan.bounds.words));
}

void TraitValues::look_at_weight(int32_t trait, const Plan& plan, int64_t line) {
    const float weight = RECORD.FINP(plan.weight);
    if (weight > 0 || !(weight > DIRECTIVES.RMISS) ||
        look_.findings.counts_only("weight-value", Severity::error))
        return;
    const ColumnRef column{true, MODEL(trait).wgt_inp_no};
    look_.findings.error(
        "weight-value", in_data(column, line),
        fmt::format("{}the weight {} is {:g}, and residual variances are divided by it",
                    record_words(line), name_of(column), weight),
        "A record that does not count has a missing weight");
}

void TraitValues::look_at_censoring(int32_t trait, const Plan& plan, int64_t line) {
    const int32_t code = RECORD.IINP(plan.censoring_code);
    const ColumnRef codes{false, MODEL(trait).cens_inp}, limits{true, MODEL(trait).int_max_inp};
    if (code < -1 || code > 2)
        look_.findings.warn("censoring-code", in_data(codes, line),
                            fmt::format("{}the censoring code {} is {}, and codes are -1 to 2; the "
                                        "trait is dropped",
                                        record_words(line), name_of(codes), code));
    if (code != 2 || plan.upper_limit == 0) return;
    const float upper = RECORD.FINP(plan.upper_limit), lower = RECORD.FINP(plan.dependent);
    if (upper > DIRECTIVES.RMISS && upper >= lower) return;
    look_.findings.warn("censoring-code", in_data(limits, line),
                        fmt::format("{}the upper limit {} is missing or below the value",
                                    record_words(line), name_of(limits)));
}

void TraitValues::look_at_absorption(int64_t line) {
    for (Absorbed& absorbed : absorbed_) {
        const int32_t number = RECORD.IINP(integer_place(absorbed.column));
        if (number < absorbed.last && !std::exchange(absorbed.is_told, true))
            look_.findings.error(
                "absorption-order", in_data({false, absorbed.column}, line),
                fmt::format("{}{} falls from {} to {}: the data are not sorted by the absorbed "
                            "effects, and KVE1 stops",
                            record_words(line), integer_called(absorbed.column), absorbed.last,
                            number),
                fmt::format("Sort them by {}", integer_called(absorbed.column)));
        absorbed.last = number;
    }
}

}  // namespace kve::companion
