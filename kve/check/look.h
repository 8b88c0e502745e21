// What the looks of a check share. They run in the process in which KVE1's stages have run, after
// them: the tables in kve::state are what KVE1 has understood.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "kve/check/directive_text.h"
#include "kve/check/findings.h"
#include "kve/check/reading.h"

namespace kve::companion {

struct DataFigures;

struct Look {
    const DirectiveText& text;
    const Reading& reading;
    std::string inputs;   // folder in which they lie
    std::string outputs;  // folder in which a run would work
    bool fast;            // the first kFastLines of each file only
    Findings& findings;
    DataFigures* data = nullptr;  // what the pass over the data has found
};
inline constexpr int64_t kFastLines = 100'000;

// Where a line of the model, of $REDUCE or of the priors stands: in the directive file, or in the
// file that it names; with the column of a word.
Place place_in_model(const Look& look, int64_t line, std::string_view word = {});
Place place_in_reduce(const Look& look, int64_t line, std::string_view word = {});
Place place_in_priors(const Look& look, int64_t line, std::string_view word = {});

// Of an input by the name that the user gives it; 0 when that is not known.
uintmax_t bytes_of_input(const std::string& name);

// The first line of the directive file that has this name of a file.
Place place_of_name(const Look& look, std::string_view name);

// The $VAR_STR line of a factor.
Place place_of_structure(const Look& look, int64_t factor);

// A line of the priors as it stands, and how many there are.
std::string prior_line(const Look& look, int64_t line);
int64_t count_prior_lines();

// The words of KVE1 that told a fault, with the place and in better words where they are known. A
// step that has stopped gives an error at least. Up to the last step that is asked for.
void tell_what_was_said(Look& look, Step last);

// After a fault that ends the reading of the directive file ahead of its end: its text without that
// fault, so that the rest can be read. Nothing when there is no such fault, or no way to mend it.
std::optional<std::string> mend(const Look& look);

// Keywords that a tab in front makes text: told, and the text with blanks in place of the tabs.
std::string uncover_keywords(const DirectiveText& text, Findings& findings);

void look_for_unread_lines(Look& look);
void look_at_outputs(Look& look);     // that would not be made in the user's folder
void look_at_directives(Look& look);  // what the text says and the reader does not mind
void look_at_model(Look& look);       // counts, columns, names
void look_at_priors(Look& look);
void look_at_data(Look& look);     // columns and traits
void look_at_values(Look& look);   // of real columns, far from the others
void look_at_dropped(Look& look);  // records
void look_at_fixed_part(Look& look);
void look_at_classes(Look& look);        // of the data
void look_at_relationships(Look& look);  // pedigrees, matrices and genomic files

// What has stopped the first pass, where the check has not found it itself.
void tell_failed_first_pass(Look& look);
// What the row of a matrix belongs to.
std::string name_of_row(int32_t matrix, int32_t row);

// The model as KVE1 understands it: for people, one formula a trait and one line a random factor;
// for programs.
std::string model_as_text(const Look& look);
nlohmann::json model_as_json(const Look& look);

}  // namespace kve::companion
