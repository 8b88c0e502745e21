// Records that have a value of a trait and lack something else of its model: one finding for what
// they lack.
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <string>
#include <vector>

#include "base/state.h"
#include "directives/directives.h"
#include "kve/check/data_figures.h"
#include "kve/check/data_words.h"
#include "kve/check/look.h"
#include "kve/check/thresholds.h"
#include "model/model_records.h"

namespace kve::companion {

READS(DIRECTIVES);
READS(KVEINT);
READS(MODEL);

namespace {

bool is_column(const ColumnRef& place) {
    return place.column <= (place.is_real ? DIRECTIVES.NR : DIRECTIVES.NI);
}

constexpr const char* kNoColumn = "a column that there is not";

std::string reasons_of(const DataFigures& data, std::size_t trait) {
    std::string words;
    for (const auto& [place, lack] : data.lacks)
        if (lack.n_of_trait[trait] > 0)
            add_item(words, fmt::format("{} in {}", is_column(place) ? name_of(place) : kNoColumn,
                                        lack.n_of_trait[trait]));
    return words;
}

std::string codes_of(const Lack& lack) {
    return lack.lowest_code == lack.highest_code
               ? std::to_string(lack.lowest_code)
               : fmt::format("{} to {}", lack.lowest_code, lack.highest_code);
}

// ", beside 1, 2", when there are few.
std::string levels_beside(const ClassColumn* column) {
    if (column == nullptr || column->n_levels == 0 || column->n_levels > kLevelsShown) return {};
    std::vector<int32_t> ids;
    for (const LevelSlot& slot : column->levels.slots())
        if (!slot.is_empty()) ids.push_back(slot.key);
    std::ranges::sort(ids);
    return fmt::format(", beside {}", fmt::join(ids, ", "));
}

// "25 of the 1912 with BIRTHWT, ..."; traits without any record left have told it themselves.
std::string traits_dropped(const DataFigures& data, const Lack& lack, bool& are_many) {
    std::string words;
    int n_traits = 0;
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        const TraitFigures& figures = data.traits[static_cast<std::size_t>(i - 1)];
        const int64_t n = lack.n_of_trait[static_cast<std::size_t>(i - 1)];
        if (n == 0 || figures.n_usable == 0) continue;
        const auto n_present = static_cast<double>(figures.n_present);
        if (static_cast<double>(figures.n_present - figures.n_usable) > kManyDropped * n_present &&
            static_cast<double>(n) > kShareOfCause * n_present)
            are_many = true;
        if (++n_traits > kTraitsShown) continue;
        add_item(words, fmt::format("{} of the {} with {}", n, figures.n_present,
                                    real_called(MODEL(i).trait_inp_no)));
    }
    return words + (n_traits > kTraitsShown ? ", ..." : "");
}

void tell_lack(Look& look, const ColumnRef& place, const Lack& lack) {
    bool are_many = false;
    const std::string traits = traits_dropped(*look.data, lack, are_many);
    if (traits.empty() || !is_column(place)) return;
    const std::string is = place.is_real ? "missing" : codes_of(lack);
    const std::string beside =
        place.is_real ? std::string() : levels_beside(look.data->class_column(place.column));
    const std::string words = fmt::format(
        "{}{} is {} {}{}; dropped are {}", record_words(lack.first), name_of(place), is,
        lack.n == 1 ? "here" : fmt::format("in {} records from here on", lack.n), beside, traits);
    const char* hint = place.is_real ? "" : "A class below 1 is missing";
    if (are_many)
        look.findings.warn("dropped-records", in_data(place, lack.first), words, hint);
    else if (!look.findings.has_error_in(DIRECTIVES.data_file[0].string()))
        look.findings.note("dropped-records", in_data(place, lack.first), words, hint);
}

}  // namespace

void look_at_dropped(Look& look) {
    const DataFigures& data = *look.data;
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        const TraitFigures& figures = data.traits[static_cast<std::size_t>(i - 1)];
        if (figures.n_present == 0 || figures.n_usable > 0) continue;
        const ColumnRef trait{true, MODEL(i).trait_inp_no};
        look.findings.error("dropped-records", place_of_use(look, trait),
                            fmt::format("all of the {} records with {} are dropped; missing are {}",
                                        figures.n_present, name_of(trait),
                                        reasons_of(data, static_cast<std::size_t>(i - 1))),
                            "A class below 1 is missing");
    }
    for (const auto& [place, lack] : data.lacks) tell_lack(look, place, lack);
}

}  // namespace kve::companion
